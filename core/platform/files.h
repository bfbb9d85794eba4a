// Whole files: reading them, and replacing them so that a reader or a crash meets the old file or the new one, whole.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/errors.h"

namespace tidra {

/// The bytes of a file, a pipe or a device; one of more than `mostBytes` is a failure.
Outcome<std::string> readFile(const std::string& path, std::size_t mostBytes = std::numeric_limits<std::size_t>::max());

/// The bytes of a regular file of at most `mostBytes`. Anything else, such as a pipe on which a reader would hang, is a
/// failure.
Outcome<std::string> readRegularFile(const std::string& path, std::size_t mostBytes);

/// A file that ought to be nobody else's business.
struct SecretFile {
  std::string bytes;
  bool isForeign = false;  // it belongs neither to the running user nor to root, who could know or change it
  bool isExposed = false;  // others may read or write it; reading by the group is allowed where root owns the file
};

/// The bytes of a regular file of at most `mostBytes`, with who else could get at them at that moment.
Outcome<SecretFile> readSecretFile(const std::string& path, std::size_t mostBytes);

/// True when the path belongs to the running user or to root and not everybody may write to it. Links are not followed.
bool isOwnedAndPrivate(const std::string& path);

/// Writes a temporary file beside `path` (or beside the file that a link there points to), flushes it to disk, renames
/// it over `path` and flushes the folder. `path` keeps its former content when anything fails. Without a `mode` the
/// file keeps the permissions that it has, and a new one gets those that the process gives. Throws std::system_error
/// whose what() names the path.
void replaceFile(const std::string& path, std::string_view bytes, std::optional<unsigned> mode = {});

/// As replaceFile, but a link at `path` is replaced instead of followed: for a folder in which others may plant one.
void replaceEntry(const std::string& path, std::string_view bytes, unsigned mode);

/// Writes a file for other users' programs to read: as replaceFile, but the file and the folders that are missing,
/// which are made, are readable for everybody whatever the process's mask, and a link at `path` is replaced instead of
/// followed. The temporary file is `path` + ".tmp-" + the process id; one that a killed process with that id left
/// behind is removed first. Throws std::system_error whose what() names the path.
void publishFile(const std::string& path, std::string_view bytes);

/// Makes a folder and those above it that are missing, for the owner only. Nothing happens when it is there. Throws
/// std::system_error whose what() names the path.
void makePrivateFolders(const std::string& path);

/// Gives a file another name in its folder, never over another file: a number is added until the name is free. Gives
/// the new path; throws std::system_error.
std::string setAside(const std::string& path, const std::string& suffix);

/// Removes a file; nothing happens when there is none. Throws std::system_error.
void removeFile(const std::string& path);

/// Flushes a folder to disk, so that a loss of power does not undo that something in it was made, replaced or removed.
/// Throws std::system_error whose what() names the folder.
void flushFolder(const std::string& folder);

/// True when `path` names a regular file that the running user may execute.
bool isExecutableFile(const std::string& path);

/// The absolute path without links, "." or ".."; none when it does not exist.
Outcome<std::string> realPath(const std::string& path);

}  // namespace tidra
