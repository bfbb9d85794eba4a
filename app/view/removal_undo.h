// The way back of what a removal moved away. Each item that the history names is looked up in the trash or the
// quarantine where it went: only an entry whose own record names the same original path is moved back.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/state/removal_history.h"
#include "app/view/stored_removals.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/dispose/quarantine.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// An item of a run, and what an undo does with it.
struct UndoItem {
  enum class State {
    stored,
    back,        // in its place already, brought there by another program or by an undo that was killed
    lost,        // it never comes back
    elsewhere,   // likewise by an undo, but it may still be there: with the Finder, on a volume that is not mounted
    unreadable,  // its store cannot be read now
  };
  /// Of an item that was deleted in part, where the rest is.
  enum class Rest { none, inTrash, inPlace };

  std::size_t index = 0;  // in the run
  State state = State::stored;
  Rest rest = Rest::none;
  std::string reason = {};             // why it does not come back, as the rest of a sentence after its path
  std::function<void()> check = {};    // of a stored one: throws the reason why restore() would
  std::function<void()> restore = {};  // of a stored one: moves it back; throws the reason why it stays

  bool isLost() const { return state == State::lost || state == State::elsewhere; }
};

/// All items, those beyond the kept ones included.
std::size_t itemCount(const RemovalRun& run);

/// What deleting it has freed or would have freed, as far as it is known; else its logical size.
std::optional<std::int64_t> listedSize(const RemovedItem& item);

/// Whether the run has items that are not marked as restored; no store is read. Purges end what earlier removals moved
/// away.
bool isUndoable(const RemovalRun& run);

/// Finds items in the stores; reads each store once. Must outlive the items.
class UndoFinder {
 public:
  UndoFinder(TidraPathResolver resolver, std::string host, std::vector<MountPoint> mounts, TimePoint now)
      : resolver_(std::move(resolver)), host_(std::move(host)), mounts_(std::move(mounts)), now_(now) {}

  /// What has not come back yet, last removed first.
  std::vector<UndoItem> itemsOf(const RemovalRun& run);
  /// Sentences about stores that could not be read, so far.
  const std::vector<std::string>& notes() const { return notes_; }

 private:
  UndoItem wayBack(const RemovedItem& item, std::size_t index, DisposalMethod methodOfRun);
  UndoItem fromTrash(const RemovedItem& item, std::size_t index);
  UndoItem fromQuarantine(const RemovedItem& item, std::size_t index);
  struct Quarantine {
    QuarantineDisposer disposer;
    std::vector<QuarantineDisposer::Entry> entries;
    std::vector<StoredEntry> names;  // of the entries
  };
  const Quarantine& quarantineOf(const RemovedItem& item);
  UndoItem missingItem(const RemovedItem& item, std::size_t index, const std::vector<StoredEntry>& names,
                       const char* place);

  TidraPathResolver resolver_;
  std::string host_;
  std::vector<MountPoint> mounts_;
  TimePoint now_;
  std::vector<std::string> notes_;
  std::optional<std::vector<FreedesktopTrash::Entry>> trash_;
  std::vector<StoredEntry> trashNames_;
  std::map<std::string, Quarantine> quarantines_;  // by folder
};

/// What an undo without a choice is of.
struct UndoChoice {
  std::optional<std::size_t> run;  // absent: nothing can come back
  std::vector<UndoItem> items;     // of the run
  std::size_t passedOver = 0;      // newer removals of which nothing can come back
};

/// The newest removal of which something can come back, or all is back already though not marked so.
UndoChoice newestUndo(const std::vector<RemovalRun>& runs, UndoFinder& finder);

}  // namespace tidra
