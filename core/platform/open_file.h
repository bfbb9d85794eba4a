// Reads and writes parts of regular files. Opens with O_NOFOLLOW and never blocks on a FIFO. Failures are returned, not
// thrown.
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
  append,   // O_APPEND
  replace,  // read and write at given offsets
};

struct OpenFile {
  FileDescriptor descriptor;
  EntryFacts facts;  // taken when it was opened
};

/// Opens an existing file. Fails with invalid_argument for anything but a regular file.
Outcome<OpenFile> openFile(const std::string& path, FileAccess access);

struct GrowingFile {
  FileDescriptor descriptor;
  std::uint64_t sizeBytes = 0;
};

/// Opens a file for appending and returns its size, skipping the check of its type. For known files in folders that
/// nobody else can change.
Outcome<GrowingFile> openGrowingFile(const std::string& path);

/// Creates a file with mode 0600, independent of the umask, for appending. Fails with file_exists if the name is taken.
Outcome<FileDescriptor> makeFile(const std::string& path);

/// Reads from an offset until the buffer is full or the file ends; returns the number of bytes read.
Outcome<std::size_t> readAt(const FileDescriptor& file, std::uint64_t offset, char* buffer, std::size_t size);

/// Writes everything; retries short writes.
[[nodiscard]] std::error_code writeAll(const FileDescriptor& file, std::string_view bytes);

/// Appends to a file of `formerSize` bytes. On failure truncates back to that size, best effort, so that no partial
/// write stays.
[[nodiscard]] std::error_code appendWhole(const FileDescriptor& file, std::string_view bytes, std::uint64_t formerSize);

/// Preallocates `bytes` behind the end of the file (fallocate with FALLOC_FL_KEEP_SIZE): content and size stay. Returns
/// an error only for lack of space or I/O errors; without support it does nothing.
[[nodiscard]] std::error_code reserveBehind(const FileDescriptor& file, std::uint64_t sizeBytes, std::uint64_t bytes);

/// Replaces everything from an offset on and fsyncs. Truncates only after the new bytes are written.
[[nodiscard]] std::error_code replaceTail(const FileDescriptor& file, std::uint64_t offset, std::string_view bytes);

/// fsyncs an open file.
[[nodiscard]] std::error_code flushFile(const FileDescriptor& file);

/// Removes the file at `path` if it is still the open one; returns false if it is gone or another file. Serialised
/// between processes with flock() on the file.
Outcome<bool> removeIfSame(const std::string& path, const FileDescriptor& file);

}  // namespace tidra
