// Changes entries of open folders: always relative to a descriptor, never following a symbolic link, never replacing
// anything. Failures are returned, not thrown.
#pragma once

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "core/base/errors.h"
#include "core/platform/file_descriptor.h"

namespace tidra {

/// Moves or renames an entry; both names are one path component. Returns file_exists if the name is taken,
/// cross_device_link between volumes.
[[nodiscard]] std::error_code moveEntry(int fromFolder, const std::string& from, int toFolder, const std::string& to);

/// Removes a file or symbolic link.
[[nodiscard]] std::error_code removeFileEntry(int folder, const char* name);

/// Removes an empty folder.
[[nodiscard]] std::error_code removeFolderEntry(int folder, const char* name);

/// Creates a folder with these permissions less the umask. Returns file_exists if the name is taken.
[[nodiscard]] std::error_code makeFolderEntry(int folder, const char* name, unsigned permissions);

/// Creates a file with mode 0600, open for writing. Fails with file_exists if the name is taken.
Outcome<FileDescriptor> makeFileEntry(int folder, const char* name);

/// Creates a symbolic link. Returns file_exists if the name is taken.
[[nodiscard]] std::error_code makeLinkEntry(int folder, const char* name, const std::string& target);

/// Reads a regular file of at most `mostBytes`, without following a symbolic link or blocking on a FIFO.
Outcome<std::string> readFileEntry(int folder, const char* name, std::size_t mostBytes);

/// Reads to the end of an open file, or until more than `mostBytes` have been read.
Outcome<std::string> readToEnd(const FileDescriptor& file, std::size_t mostBytes);

/// Writes everything and fsyncs.
[[nodiscard]] std::error_code writeDurably(const FileDescriptor& file, std::string_view bytes);

/// fsyncs a folder.
[[nodiscard]] std::error_code flushEntries(int folder);

/// Adds rwx for the owner to a folder; `name` may be "" for the open folder itself. Returns operation_not_permitted for
/// folders of other users.
[[nodiscard]] std::error_code grantOwnerAccess(int folder, const char* name);

/// Returns why the running user cannot add or remove entries in a folder; no error if they can.
[[nodiscard]] std::error_code reasonEntriesStay(int folder);

/// Sets the permission bits of an open folder.
[[nodiscard]] std::error_code setPermissions(int folder, unsigned permissions);

/// Keeps the modification time of an open folder while entries are moved out of it or into it: the destructor sets the
/// time that the constructor read. Best effort, as only the owner and root may set it. The descriptor must outlive it.
class [[nodiscard]] KeptFolderDate {
 public:
  explicit KeptFolderDate(int folder);
  ~KeptFolderDate();
  KeptFolderDate(const KeptFolderDate&) = delete;
  KeptFolderDate& operator=(const KeptFolderDate&) = delete;

 private:
  int folder_;
  std::optional<timespec> modifiedAt_;  // absent: could not be read
};

}  // namespace tidra
