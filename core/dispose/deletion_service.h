// Removing what was selected, one item after another: to the trash, into quarantine, for good, or by the tool that owns
// it. Each item gives a receipt or a failure; one item's failure never stops the others.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "core/dispose/protected_places.h"
#include "core/dispose/quarantine.h"
#include "core/dispose/tool_targets.h"
#include "core/dispose/trash_disposer.h"
#include "core/model/disposal.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

class TidraDeletionService {
 public:
  /// What the service takes from outside. All of it is copied.
  struct Setting {
    TidraPathResolver resolver;  // the home folder and the environment
    std::string host;
    std::vector<MountPoint> mounts;
    std::vector<std::string> protectedFolders;  // besides the home folder and the system's: Tidra's own
    unsigned workers = 0;                       // 0: as many as a scan takes
    std::function<TimePoint()> clock;
    std::function<bool()> shouldCancel;  // polled on the caller's thread; absent: never
    bool finishesItems = false;          // a path whose removal has begun is carried through all the same
    ToolTargets tools = {};
    std::optional<TimePoint> seenAt = {};  // when people saw what is in the trash: what was trashed since stays in it
    bool includesUnlisted = false;         // emptying a trash also removes what nothing dates
  };

  /// What is known of an item besides its path.
  struct Item {
    std::string path;                           // absolute, "~/…", or a tool-backed target
    std::optional<FileIdentity> identity = {};  // seen by the scan; anything else in its place is refused
  };

  /// An item that is gone from its place.
  struct Disposed {
    DisposalReceipt receipt;
    std::optional<std::int64_t> reclaimed = {};  // bytes, as the item's tool reports; absent when it does not say
    std::string remainder = {};                  // a sentence on what of it stays and why; empty when nothing stays
  };

  using Result = std::variant<Disposed, TidraDeletionFailure>;

  explicit TidraDeletionService(Setting setting);

  /// One item. The folder "files" of a trash stands for the trash, which is emptied whatever the method: what is in it
  /// goes for good, but for what was trashed since `seenAt` and what the setting does not include. Where nothing would
  /// go, that is a failure. A dry run changes nothing and refuses what the real run would refuse. Never throws for what
  /// the file system or a tool answers. `quarantine` is used when that is the method.
  [[nodiscard]] Result dispose(const Item& item, DisposalMethod method, bool dryRun,
                               const QuarantineConfig& quarantine);

  /// A list of items, in order. `onItem` is called before each item and once at the end, with the number of items done.
  /// Items that cancelling leaves are in neither list of the outcome.
  [[nodiscard]] DisposalOutcome dispose(const std::vector<Item>& items, DisposalMethod method, bool dryRun,
                                        const QuarantineConfig& quarantine,
                                        const std::function<void(std::size_t)>& onItem = {});

 private:
  Disposed disposeTarget(const std::string& target, bool dryRun);
  Disposed disposePath(const Item& item, DisposalMethod method, bool dryRun, const QuarantineConfig& quarantine);
  void act(const HeldEntry& entry, const std::string& path, QuarantineDisposer& quarantine, DisposalReceipt& receipt);
  std::optional<std::int64_t> measure(const HeldEntry& entry) const;
  bool isCancelled() const { return setting_.shouldCancel && setting_.shouldCancel(); }
  /// Whether to break off the path at hand.
  std::function<bool()> shouldBreakOff() const;

  Setting setting_;
  void requireOutsideStores(const HeldEntry& entry);
  Disposed emptyTrash(const Item& item, const HeldEntry& entry, bool dryRun);

  TrashDisposer trash_;
  std::optional<QuarantineDisposer> quarantine_;  // kept from item to item
  std::optional<StoreFinder> stores_;             // the same
};

}  // namespace tidra
