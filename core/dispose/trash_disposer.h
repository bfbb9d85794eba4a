// The trash of the desktop that the program runs on.
#pragma once

#include <functional>
#include <string>

#include "core/base/time_point.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/platform/held_folder.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

class TrashDisposer {
 public:
  TrashDisposer(const TidraPathResolver& resolver, const std::vector<MountPoint>& mounts);

  /// Throws when the item could not be trashed now. Changes nothing.
  void check(const HeldEntry& entry) const;

  /// Moves one item to the trash and gives where it landed. Throws DisposalError, UnsafePathError or
  /// std::system_error; the item is in its place then.
  std::string trash(const HeldEntry& entry, const std::string& originalPath, TimePoint date);

  /// What emptying removed and what it left.
  struct Emptied {
    FreedesktopTrash::Purged purged;                // with the trashes that were passed over and why as notes
    std::vector<FreedesktopTrash::Entry> unlisted;  // these stay, because nothing says when they were trashed
  };

  /// Empties the trash, whoever filled it: macOS through the Finder, which does not report what it removed or left;
  /// elsewhere everything that was trashed until now, and with `includesUnlisted` what nothing dates. `shouldCancel` is
  /// polled between and within entries.
  [[nodiscard]] Emptied emptyTrash(TimePoint now, bool includesUnlisted, const std::function<bool()>& shouldCancel);

  /// Tidra's share in what must not be removed: the trash folder of the home folder.
  static std::string folder(const TidraPathResolver& resolver);

 private:
  FreedesktopTrash freedesktop_;
};

}  // namespace tidra
