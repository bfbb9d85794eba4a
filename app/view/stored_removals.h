// Finds the items of the history in trash and quarantine: by place, origin and date, since another program may have put
// something else into the same place.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/state/removal_history.h"
#include "core/base/time_point.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/dispose/quarantine.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// How an entry of a store can be named.
struct StoredEntry {
  std::string name;          // in the store
  std::string path;          // where it lies
  std::string originalPath;  // where it came from; empty when that is not known
  TimePoint date{};          // when it was moved there, if that is known
};

std::vector<StoredEntry> namesOf(const std::vector<FreedesktopTrash::Entry>& entries);
std::vector<StoredEntry> namesOf(const std::vector<QuarantineDisposer::Entry>& entries);

/// Purges end what earlier removals moved away; they are no removals to undo by themselves.
bool isPurge(const RemovalRun& run);

/// Returns the index of the entry that the item is; absent when the store does not hold it.
std::optional<std::size_t> entryOf(const RemovedItem& item, const std::vector<StoredEntry>& entries);

/// Returns a sentence if another entry lies where the item went.
std::optional<std::string> takenByOther(const RemovedItem& item, const std::vector<StoredEntry>& entries,
                                        const TidraPathResolver& resolver);

/// Returns the index of each entry that the newest removal of `runs` moved there by `method` and that is still there;
/// none if that removal moved nothing there. A note names each other entry in the place of one.
std::vector<std::size_t> entriesOfLastRemoval(const std::vector<StoredEntry>& entries, DisposalMethod method,
                                              const std::vector<RemovalRun>& runs, const TidraPathResolver& resolver,
                                              std::vector<std::string>& notes);

/// "trash", "quarantine"; "deleted", "removed by docker".
std::string whereTo(const RemovedItem& item);

/// What the stores hold by now of what the history names; reads each store once.
class StoredRemovals {
 public:
  StoredRemovals(TidraPathResolver resolver, std::string host, std::vector<MountPoint> mounts, TimePoint now)
      : resolver_(std::move(resolver)), host_(std::move(host)), mounts_(std::move(mounts)), now_(now) {}

  /// Where an item is now: as whereTo(), or "restored" or "purged". An item that is no longer in its store was restored
  /// if its place exists, else purged, possibly by another program. If the store itself is missing (volume not
  /// mounted): as recorded.
  std::string nowOf(const RemovedItem& item);

 private:
  bool isGone(const RemovedItem& item);
  const std::vector<StoredEntry>& entriesIn(const std::string& folder, DisposalMethod method);

  TidraPathResolver resolver_;
  std::string host_;
  std::vector<MountPoint> mounts_;
  TimePoint now_;
  std::map<std::string, std::vector<StoredEntry>> entries_;  // by the folder that holds them
};

}  // namespace tidra
