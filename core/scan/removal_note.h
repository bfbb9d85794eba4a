// Proof that a folder named as a RemovalLeftover is one: a note beside it, created before the rename.
//
// A note is a dangling symbolic link; its target contains device, inode and birth time of the folder and its former
// name. symlink() is atomic and the link never changes. A short target is stored in the inode, so it needs no block on
// a full disk. Journaling file systems recover operations in order: after a power loss no folder is renamed without its
// note, without any fsync.
#pragma once

#include <string>
#include <system_error>

#include "core/platform/directory_reader.h"

namespace tidra {

struct RemovalNote {
  /// Notes that an entry, named `formerName` so far, is about to be renamed to `leftover`. Returns file_exists if the
  /// note exists. `folder` is the open parent folder.
  [[nodiscard]] static std::error_code make(int folder, const std::string& leftover, const EntryFacts& facts,
                                            const std::string& formerName);

  [[nodiscard]] static std::error_code remove(int folder, const std::string& leftover);

  /// Whether a note of the running user identifies exactly this entry.
  [[nodiscard]] static bool covers(int folder, const std::string& leftover, const EntryFacts& facts);

  /// Whether an entry is left by a removal of the running user: a folder with its note, or a note without its folder.
  /// False unless RemovalLeftover::isEither(name).
  [[nodiscard]] static bool claims(int folder, const std::string& name);

  /// As above for an absolute path; false if it cannot be opened.
  [[nodiscard]] static bool claims(const std::string& path);
};

}  // namespace tidra
