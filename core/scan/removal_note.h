// The proof that a folder of a RemovalLeftover's name is one: a note beside it, made before the folder got that name.
//
// A note is a symbolic link that leads nowhere. Its target holds device, inode and time of birth of the folder, and the
// folder's former name. A link is made in one call, complete or not at all, and is never changed afterwards. Where it
// fits into its inode it needs no block of its own, so that it can be made on a full disk, and a journaling file system
// recovers it in the order of the calls: after a power cut there is no renamed folder without its note, although
// nothing is flushed.
#pragma once

#include <string>
#include <system_error>

#include "core/platform/directory_reader.h"

namespace tidra {

struct RemovalNote {
  /// Notes that the entry with these facts, called `formerName` so far, is about to become `leftover`. file_exists when
  /// there is such a note. `folder` is the open folder that holds both.
  [[nodiscard]] static std::error_code make(int folder, const std::string& leftover, const EntryFacts& facts,
                                            const std::string& formerName);

  [[nodiscard]] static std::error_code remove(int folder, const std::string& leftover);

  /// True when a note that belongs to the running user names just what these facts are of.
  [[nodiscard]] static bool covers(int folder, const std::string& leftover, const EntryFacts& facts);

  /// True when the entry is what a removal of the running user has left: a folder that its note covers, or a note whose
  /// folder is gone. False for every name that is not RemovalLeftover::isEither().
  [[nodiscard]] static bool claims(int folder, const std::string& name);

  /// The same for an absolute path; false when it cannot be looked at.
  [[nodiscard]] static bool claims(const std::string& path);
};

}  // namespace tidra
