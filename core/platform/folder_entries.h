// Changing the entries of open folders. Everything is relative to a descriptor, links in the place of a name are never
// followed, and nothing is ever replaced. Nothing throws: the answers are values.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

#include "core/base/errors.h"
#include "core/platform/file_descriptor.h"

namespace tidra {

/// Gives an entry another folder, another name, or both. file_exists when the name is taken, cross_device_link when the
/// folders lie on different volumes. Both names are one component.
[[nodiscard]] std::error_code moveEntry(int fromFolder, const std::string& from, int toFolder, const std::string& to);

/// Removes a file or a link.
[[nodiscard]] std::error_code removeFileEntry(int folder, const char* name);

/// Removes an empty folder.
[[nodiscard]] std::error_code removeFolderEntry(int folder, const char* name);

/// Makes a folder with these permissions, less the process's mask. file_exists when the name is taken.
[[nodiscard]] std::error_code makeFolderEntry(int folder, const char* name, unsigned permissions);

/// Makes a file for its owner only, open for writing. file_exists when the name is taken.
Outcome<FileDescriptor> makeFileEntry(int folder, const char* name);

/// Makes a symbolic link. file_exists when the name is taken.
[[nodiscard]] std::error_code makeLinkEntry(int folder, const char* name, const std::string& target);

/// The bytes of a regular file of at most `mostBytes`.
Outcome<std::string> readFileEntry(int folder, const char* name, std::size_t mostBytes);

/// Everything up to the end of an open file; somewhat more than `mostBytes` at most.
Outcome<std::string> readToEnd(const FileDescriptor& file, std::size_t mostBytes);

/// Writes everything and flushes it to disk.
[[nodiscard]] std::error_code writeDurably(const FileDescriptor& file, std::string_view bytes);

/// Flushes the entries of a folder to disk.
[[nodiscard]] std::error_code flushEntries(int folder);

/// Lets the owner read, change and search a folder; `name` may be "" for the open folder itself. Only for folders of
/// the running user: operation_not_permitted otherwise.
[[nodiscard]] std::error_code grantOwnerAccess(int folder, const char* name);

/// Why entries of a folder cannot be added or removed by the running user; none when they can.
[[nodiscard]] std::error_code reasonEntriesStay(int folder);

/// Sets the permission bits of an open folder.
[[nodiscard]] std::error_code setPermissions(int folder, unsigned permissions);

}  // namespace tidra
