// Deleting one entry of a folder for good.
#pragma once

#include <functional>
#include <string>

#include "core/platform/held_folder.h"

namespace tidra {

struct ItemRemoval {
  struct Options {
    unsigned workers = 0;                  // 0: as many as a scan takes
    std::function<bool()> shouldCancel{};  // polled on the caller's thread
  };

  /// Removes the file, the link, or the folder with everything in it. A folder is first given a hidden name in its
  /// folder, so that it is gone at once for everyone; a removal that was cut short leaves it under that name with a
  /// RemovalNote, and is finished by a call for that. Throws StrayedError for something else that was renamed and could
  /// not be renamed back, and DisposalError when something is left, with a sentence that says what and why.
  static void run(const HeldEntry& entry, const Options& options);
};

}  // namespace tidra
