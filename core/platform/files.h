// Whole files: reading them, and replacing them atomically, so that readers and crashes see the old or the new content.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/errors.h"

namespace tidra {

/// Returns the bytes of a file, pipe or device. Fails with file_too_large above `mostBytes`.
Outcome<std::string> readFile(const std::string& path, std::size_t mostBytes = std::numeric_limits<std::size_t>::max());

/// As readFile(), for regular files only: never blocks on a FIFO.
Outcome<std::string> readRegularFile(const std::string& path, std::size_t mostBytes);

/// Returns the sentence about a file that somebody named and that readRegularFile() could not read. `subject` begins
/// it: "Policy 'p.json'"; `contents` is what should be in the file: "policy".
std::string unreadableText(std::string_view subject, std::string_view contents, const std::string& path,
                           std::error_code failure);

/// Contents of a secret file, and who else could read or change it.
struct SecretFile {
  std::string bytes;
  bool isForeign = false;  // owned by neither the running user nor root
  bool isExposed = false;  // accessible to others; a file of root may be readable by its group
};

/// Reads a regular file of at most `mostBytes`; owner and permissions are taken from the same descriptor.
Outcome<SecretFile> readSecretFile(const std::string& path, std::size_t mostBytes);

/// Whether the path is owned by the running user or root and not world-writable. Does not follow a symbolic link.
bool isOwnedAndPrivate(const std::string& path);

/// What writing does when `path` is a symbolic link. In a folder where others may plant one it is replaced.
enum class AtLink { follow, replace };

/// Replaces a file atomically: writes a temporary file beside `path` (or beside the target of a symbolic link there),
/// fsyncs it, renames it over `path` and fsyncs the folder. On failure `path` keeps its content. Without a `mode` the
/// file keeps its permissions; a new one is subject to the umask. Throws std::system_error that names the path.
void replaceFile(const std::string& path, std::string_view bytes, std::optional<unsigned> mode = {},
                 AtLink atLink = AtLink::follow);

/// Writes a world-readable file for other users' programs: as replaceFile() with mode 0644 and AtLink::replace,
/// creating missing folders with mode 0755, both independent of the umask. The temporary file is `path` + ".tmp-" + the
/// process id; a stale one of a killed process with that id is removed first. Throws std::system_error that names the
/// path.
void publishFile(const std::string& path, std::string_view bytes);

/// Creates a folder and its missing parents with mode 0700; does nothing if it exists. Throws std::system_error that
/// names the path.
void makePrivateFolders(const std::string& path);

/// Renames an entry, of any kind, within its folder without overwriting: adds a number until the name is free. Returns
/// the new path; throws std::system_error.
std::string setAside(const std::string& path, const std::string& suffix);

/// Renames a flushed file over `to`, atomically, and fsyncs the folder. Throws std::system_error that names `from`.
void renameOver(const std::string& from, const std::string& to);

/// Removes a file; does nothing if there is none. Throws std::system_error.
void removeFile(const std::string& path);

/// fsyncs a folder, so that entries created, renamed or removed in it survive a power loss. Throws std::system_error
/// that names the folder.
void flushFolder(const std::string& folder);

/// Whether `path` is a regular file that the running user may execute.
bool isExecutableFile(const std::string& path);

/// Returns the absolute path with symbolic links, "." and ".." resolved. Fails if it does not exist.
Outcome<std::string> realPath(const std::string& path);

/// Returns the literal target of a symbolic link; nullopt if `path` is none or unreadable.
std::optional<std::string> linkTarget(const std::string& path);

/// As realPath(), but returns `path` itself if it does not exist.
std::string realPathOrSame(const std::string& path);

}  // namespace tidra
