// Emptying a folder that is held open, with several workers.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <system_error>

#include "core/platform/directory_reader.h"

namespace tidra {

struct TreeRemoval {
  struct Options {
    unsigned workers = 0;                  // 0: as many as a scan takes
    std::function<bool()> shouldCancel{};  // polled on the caller's thread
  };

  /// What became of the tree.
  struct Result {
    bool complete = false;  // nothing is left, the folder itself is gone
    bool cancelled = false;
    std::string obstaclePath;       // relative to the folder, what could not be removed; empty for the folder itself
    std::error_code obstacle;       // why; directory_not_empty where others keep adding entries
    bool meetsOtherVolume = false;  // the obstacle is a mounted file system, which is left alone
  };

  /// Removes everything in the folder `name` of `parent`, and the folder. Stays on its volume and follows no link;
  /// every step is relative to an open folder, so it does not matter what others put in the place of a name meanwhile.
  /// Folders of the running user that forbid changes are opened up. What others add meanwhile is removed too, a bounded
  /// number of times. `identity` is the folder's: another one in its place is left alone and gives
  /// no_such_file_or_directory.
  [[nodiscard]] static Result run(int parent, const std::string& name, const FileIdentity& identity,
                                  const Options& options);
};

}  // namespace tidra
