// The trash of the present desktop.
#pragma once

#include <cstddef>
#include <functional>
#include <set>
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

  /// Throws if the item could not be trashed now. Changes nothing.
  void check(const HeldEntry& entry) const;

  /// Moves an item to the trash and returns its new path. Throws DisposalError, UnsafePathError or std::system_error:
  /// nothing has moved then, except after a lost race (TOCTOU), when what() names where the other file is.
  std::string trash(const HeldEntry& entry, const std::string& originalPath, TimePoint date);

  /// As FreedesktopTrash::openStores(); none on macOS.
  const std::set<std::string>& openStores() const { return freedesktop_.openStores(); }

  /// Result of emptying the trash.
  struct Emptied {
    FreedesktopTrash::Purged purged;               // its notes: trashes skipped and why
    std::vector<FreedesktopTrash::Entry> due;      // what was to go, measured; empty on macOS
    std::vector<FreedesktopTrash::Entry> undated;  // kept: no valid deletion date
    std::size_t later = 0;                         // kept: not meant
  };

  /// Empties the trash. On macOS through the Finder, which reports nothing; elsewhere everything trashed until `now`,
  /// plus entries without a valid date if `includesUndated`, of those that are meant. Polls `shouldCancel` between and
  /// within entries. The listener is not called for the Finder's trash.
  [[nodiscard]] Emptied emptyTrash(TimePoint now, bool includesUndated,
                                   const std::function<bool(const FreedesktopTrash::Entry&)>& isMeant,
                                   const std::function<bool()>& shouldCancel,
                                   const FreedesktopTrash::Listener& listener);

  /// Returns the home trash, which removal must protect.
  static std::string folder(const TidraPathResolver& resolver);

 private:
  FreedesktopTrash freedesktop_;
};

}  // namespace tidra
