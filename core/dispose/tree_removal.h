// Parallel removal of a tree.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <system_error>

#include "core/platform/directory_reader.h"

namespace tidra {

struct TreeRemoval {
  struct Options {
    unsigned workers = 0;                                  // 0: as many as a scan uses
    std::function<bool()> shouldCancel{};                  // polled on the caller's thread
    std::atomic<std::uint64_t>* removedEntries = nullptr;  // counts files and folders as they go; any thread
  };

  /// Result of a removal.
  struct [[nodiscard]] Result {
    bool complete = false;  // nothing is left, the folder itself included
    bool cancelled = false;
    bool changedAnything = false;  // something was removed, or made accessible for that
    std::string obstaclePath;  // path relative to the folder of what could not be removed; empty for the folder itself
    std::error_code obstacle;  // directory_not_empty when others keep adding entries
    bool meetsOtherVolume = false;  // the obstacle is a mounted file system, which stays
  };

  /// Removes the folder `name` of `parent` with its contents. Stays on its volume and never follows a symbolic link:
  /// every step is relative to an open descriptor, which prevents symlink races (TOCTOU). Makes the user's own folders
  /// accessible where needed. Entries that others add meanwhile are removed too, in a bounded number of rounds. A
  /// folder with another `identity` stays: no_such_file_or_directory.
  [[nodiscard]] static Result run(int parent, const std::string& name, const FileIdentity& identity,
                                  const Options& options);
};

}  // namespace tidra
