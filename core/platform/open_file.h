// Regular files of which parts are read or written. A link in the place of the file is never followed, and nothing
// waits at a pipe. Nothing throws: the answers are values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

#include "core/base/errors.h"
#include "core/platform/directory_reader.h"
#include "core/platform/file_descriptor.h"

namespace tidra {

enum class FileAccess {
  read,
  append,   // every write goes to the end
  replace,  // writes go where they say; reading too
};

struct OpenFile {
  FileDescriptor descriptor;
  EntryFacts facts;  // when it was opened
};

/// Opens what is there. invalid_argument for anything but a regular file.
Outcome<OpenFile> openFile(const std::string& path, FileAccess access);

struct GrowingFile {
  FileDescriptor descriptor;
  std::uint64_t sizeBytes = 0;
};

/// Opens a file to append to, for the least that this costs: nothing is looked at but its size. For files that are
/// known, in folders that nobody else changes.
Outcome<GrowingFile> openGrowingFile(const std::string& path);

/// Makes a file for its owner only, whatever the process's mask, to append to. file_exists when the name is taken.
Outcome<FileDescriptor> makeFile(const std::string& path);

/// Reads from an offset until the buffer is full or the file ends; gives how much that was.
Outcome<std::size_t> readAt(const FileDescriptor& file, std::uint64_t offset, char* buffer, std::size_t size);

/// Writes everything.
[[nodiscard]] std::error_code writeAll(const FileDescriptor& file, std::string_view bytes);

/// Writes everything to the end of a file of `formerSize` bytes. After a failure the file is cut back to that size, so
/// that no part of it stays; where even that fails, part of it may.
[[nodiscard]] std::error_code appendWhole(const FileDescriptor& file, std::string_view bytes, std::uint64_t formerSize);

/// Has the file system set room aside for as many bytes behind the end of a file of that size, whose content and size
/// stay. Without a failure it may all the same not have done so where it cannot, and on systems other than Linux.
[[nodiscard]] std::error_code reserveBehind(const FileDescriptor& file, std::uint64_t sizeBytes, std::uint64_t bytes);

/// Puts bytes in the place of all that follows an offset, and flushes the file to disk. The file grows, if it does,
/// before it loses anything.
[[nodiscard]] std::error_code replaceTail(const FileDescriptor& file, std::uint64_t offset, std::string_view bytes);

/// Flushes an open file to disk.
[[nodiscard]] std::error_code flushFile(const FileDescriptor& file);

/// Removes the file at `path` if it is the open one; gives false when something else is there by now, or nothing. Of
/// several processes that try it with the same file at a time, one looks and removes before the next looks.
Outcome<bool> removeIfSame(const std::string& path, const FileDescriptor& file);

}  // namespace tidra
