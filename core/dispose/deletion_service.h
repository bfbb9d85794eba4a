// Removes items in order: to the trash, into quarantine, permanently, or with the owning tool. Each item yields a
// receipt or a failure; a failure does not stop the others.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "core/dispose/protected_places.h"
#include "core/dispose/quarantine.h"
#include "core/dispose/tool_targets.h"
#include "core/dispose/trash_disposer.h"
#include "core/model/disposal.h"
#include "core/model/repositories_inside.h"
#include "core/platform/lower_layer.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

class TidraDeletionService {
 public:
  /// Dependencies of the service; all are copied.
  struct Setting {
    TidraPathResolver resolver;  // the home folder and the environment
    std::string host;
    std::vector<MountPoint> mounts;
    std::vector<std::string> protectedFolders;  // Tidra's own, besides home and system folders
    unsigned workers = 0;                       // 0: as many as a scan uses
    std::function<TimePoint()> clock;
    std::function<bool()> shouldCancel;  // polled on the caller's thread; absent: never
    bool finishesItems = false;          // cancelling does not interrupt an item whose removal has begun
    ToolTargets tools = {};
    std::atomic<std::uint64_t>* removedEntries = nullptr;  // counts files and folders as they are deleted
    std::function<void()> whileRemoving = {};  // called on the caller's thread, often, while a folder is deleted
    std::optional<TimePoint> seenAt = {};      // when the user saw the trash: later entries stay in it
    bool includesUndated = false;              // emptying a trash also removes entries without a valid date
  };

  /// What is known about an item.
  struct Item {
    std::string path;                           // absolute, "~/…", or a tool-backed target
    std::optional<FileIdentity> identity = {};  // from the scan; any other file is refused
    // Likewise: a folder in which further ones appeared since is refused.
    std::optional<RepositoriesInside> repositories = {};
  };

  /// An item that was removed.
  struct Disposed {
    DisposalReceipt receipt;
    std::optional<std::int64_t> reclaimed = {};  // bytes reported by the item's tool; absent without such a figure
    std::int64_t freed = 0;                      // bytes that its volume gains; 0 for what moved, and for tools
    std::string remainder = {};                  // a sentence on what stays and why; empty when nothing stays
  };

  using Result = std::variant<Disposed, TidraDeletionFailure>;

  explicit TidraDeletionService(Setting setting);

  /// Disposes of one item. The folder "files" of a trash means the trash: its entries are deleted by every method,
  /// except those trashed since `seenAt` and undated ones that the setting excludes; it is a failure if none are due.
  /// A dry run changes nothing and refuses what the real run would refuse. Failures of the file system or a tool are
  /// returned, not thrown. `quarantine` configures that method.
  [[nodiscard]] Result dispose(const Item& item, DisposalMethod method, bool dryRun,
                               const QuarantineConfig& quarantine);

  /// Takes part in the removal of a list. Exceptions end it.
  struct ListHooks {
    /// Called before each item, by index; absent: every item goes. Returns the failure of an item that must stay.
    std::function<std::optional<std::string>(std::size_t)> refuse;
    std::function<void(std::size_t, const Result&)> finished;  // called after each item
  };

  /// Disposes of items in order. After cancelling, the remaining items are in neither list.
  DisposalOutcome dispose(const std::vector<Item>& items, DisposalMethod method, bool dryRun,
                          const QuarantineConfig& quarantine, const ListHooks& hooks = {});

  /// Returns the bytes that the last item's removal freed although it failed; absent unless it failed after it had
  /// begun to delete, 0 if what is left could not be measured in a few seconds.
  const std::optional<std::int64_t>& freedByFailure() const { return freedByFailure_; }

  /// Returns sentences on the volumes of what was removed so far, each once.
  const std::set<std::string>& notes() const { return notes_; }

 private:
  Disposed disposeTarget(const std::string& target, bool dryRun);
  Disposed disposePath(const Item& item, DisposalMethod method, bool dryRun, const QuarantineConfig& quarantine);
  std::vector<std::string> ownFolders(const QuarantineConfig& quarantine) const;
  struct Measured {
    std::optional<std::int64_t> bytes;  // absent when measuring timed out
    std::int64_t freeable = 0;
    bool isKeptInPart = false;  // by a lower layer of an overlay: that part is not freeable
  };
  void act(const HeldEntry& entry, const std::string& path, const Measured& measured, Disposed& disposed);
  void remove(const HeldEntry& entry, const Measured& measured, Disposed& disposed);
  void noteLowerLayer();
  void noteOpenStores();
  Measured measure(const HeldEntry& entry, const Item& item, DisposalMethod method) const;
  bool isCancelled() const { return setting_.shouldCancel && setting_.shouldCancel(); }
  /// Returns the cancellation check of a removal in progress; empty when items are finished.
  std::function<bool()> shouldBreakOff() const;

  Setting setting_;
  void requireOutsideStores(const HeldEntry& entry);
  Disposed emptyTrash(const Item& item, const HeldEntry& entry, bool dryRun);

  OverlayLayers layers_;
  TrashDisposer trash_;
  std::optional<QuarantineDisposer> quarantine_;  // reused for all items
  std::optional<StoreFinder> stores_;             // likewise
  std::optional<ProtectedPlaces> protected_;      // likewise
  std::set<std::string> notes_;
  std::optional<std::int64_t> freedByFailure_;
};

}  // namespace tidra
