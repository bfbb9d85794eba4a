// Measures one folder with several workers, and collects what must stay in it.
#pragma once

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "core/base/quantities.h"
#include "core/model/inside_notes.h"
#include "core/model/repositories_inside.h"
#include "core/model/storage_use.h"
#include "core/platform/directory_reader.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"
#include "core/scan/folder_traversal.h"
#include "core/scan/kept_inside.h"
#include "core/scan/ranked_inside.h"
#include "core/scan/walk_filter.h"

namespace tidra {

/// Sums the logical sizes and the blocks of everything below a folder, and collects what must stay. Does not follow
/// symbolic links or enter mounts. The logical size counts a file once for each hard link, and the contents of bundle
/// packages only on request.
class Measurement {
 public:
  struct Options {
    bool enterBundles = false;
    bool isTrash = false;              // emptying removes everything in it except exclusions
    bool isPlace = false;              // outside projects: exclusions by name hold inside, as on a walk
    bool forRemoval = false;           // folders that the running user cannot empty must stay
    const RuleIndex* rules = nullptr;  // all rules, for inside(); null: tiers inside are not looked for
    const RuleIndex* namesOfPackages =
        nullptr;  // in a place of packages: folders that rules name are the packages' own
  };

  /// The filter contains mounts and exclusions; it must outlive this.
  explicit Measurement(const WalkFilter& filter) : Measurement(filter, Options()) {}
  Measurement(const WalkFilter& filter, Options options) : filter_(filter), options_(options) {}

  /// Saturating.
  std::uint64_t bytes() const { return bytes_; }

  /// Returns the figures of the disk, of all entries that were read. Call once, after the measurement.
  StorageUse takeUse() {
    const std::lock_guard lock(mutex_);
    return tally_.take(bytes_);
  }

  /// Whether a listing or a file's attributes could not be read, so that the size is unknown.
  bool hasFailed() const { return failed_; }
  void fail() { failed_ = true; }

  /// Whether the first folder was opened.
  bool hasBegun() const { return begun_; }

  /// For a folder that measure() never reads: sets its identity and owner, without which it fails.
  void identify(const Outcome<EntryFacts>& folder);

  /// Returns the identity of the first folder; absent if nothing was opened.
  std::optional<FileIdentity> identity() const { return identity_; }

  /// Returns the first path that must stay. Valid after the measurement.
  std::optional<KeptInside> kept() const {
    const std::lock_guard lock(mutex_);
    return kept_;
  }

  /// Returns the repositories, none in a trash. Valid after the measurement.
  RepositoriesInside repositories() const {
    const std::lock_guard lock(mutex_);
    RepositoriesInside sorted = repositories_;
    std::sort_heap(sorted.ofGit.begin(), sorted.ofGit.end());
    return sorted;
  }

  /// Returns what else was noted, nothing in a trash. Valid after the measurement.
  InsideNotes inside() const {
    const std::lock_guard lock(mutex_);
    return inside_;
  }

  /// A folder to measure.
  struct Position {
    const WalkFilter::Place* place = nullptr;  // in the filter's tree; null if the tree has nothing below it
    bool isCounted = true;                     // false in a bundle package, which is only searched for what must stay
    bool isOfTool = false;                     // in a place: in a folder that a tool made
  };

  /// Reads one folder, the first folder first; calls `descend(name, position)` for each subfolder to measure.
  template <class Descend>
  void measure(DirectoryReader& reader, const FolderNode& node, const Position& position, Descend descend) {
    const bool isFirst = !begun_.load(std::memory_order_relaxed);
    if (isFirst) begin(node);
    Listing seen(isFirst ? std::string_view() : node.name(), options_.rules, !options_.isPlace || position.isOfTool);
    list(reader, node, position, seen, descend);
    if (const auto failure = reader.failure(); failure && !isNoLongerThere(failure)) fail();
    meetSigns(node, seen);
    meetContents(reader, node, position, seen);
    addSizes(seen);
  }

  /// Handles a folder that could not be opened. A vanished one adds nothing. An unreadable one neither, but must stay:
  /// it may contain what must, and its owner's removal would open it. Any other failure makes the size unknown.
  void couldNotOpen(std::error_code failure, const UnopenedFolder& folder, const Position& position);

  /// Counts a finished or unopened folder; returns true for the last one.
  [[nodiscard]] bool finishFolder() {
    assert(pending_ > 0);
    return --pending_ == 0;
  }

 private:
  void begin(const FolderNode& first);

  /// What one pass over a folder's entries collects.
  struct Listing {
    Listing(std::string_view folder, const RuleIndex* rules, bool isOfTool)
        : foreign(folder), ranked(rules, isOfTool) {}

    void note(const DirectoryEntry& entry) {
      git.note(entry.name);
      foreign.note(entry);
      stores.note(entry);
      holdsKeepFile = holdsKeepFile || entry.name == KeptInside::keepFile;
    }

    GitSigns git;
    ForeignSigns foreign;
    StoreSigns stores;
    RankedInside ranked;
    bool holdsKeepFile = false;
    std::optional<std::string> ofOthers;  // the first counted file of another user
    std::uint64_t bytes = 0;              // logical, of the counted files
    StorageTally tally;
  };

  struct FolderExclusions {
    FolderExclusions(const WalkFilter& all, const WalkFilter::Place* place, const FolderNode& node)
        : filter(all, place, node), mayKeep(filter.mayKeep()) {
      if (const WalkFilter* patterns = all.kept()) never.emplace(*patterns, nullptr, node);
    }
    FolderFilter filter;
    bool mayKeep;
    std::optional<FolderFilter> never;
  };

  template <class Descend>
  void list(DirectoryReader& reader, const FolderNode& node, const Position& position, Listing& seen,
            Descend& descend) {
    const int descriptor = node.descriptor();
    const FolderExclusions exclusions(filter_, position.place, node);
    addFolder(descriptor, seen.tally);
    reader.start(descriptor);
    for (DirectoryEntry entry; reader.next(entry);) {
      seen.note(entry);
      meetExclusions(exclusions, node, entry.name);
      if (entry.type == EntryType::regularFile || entry.type == EntryType::symbolicLink) {
        addFile(descriptor, entry, position.isCounted, seen);
      } else if (entry.type == EntryType::directory) {
        const auto* place = WalkFilter::childPlace(position.place, entry.name);
        // Removing the folder would not free a mount's space.
        if (place != nullptr && place->mounted) continue;
        lookForStore(entry.name, node, place);
        const bool isOfTool = seen.ranked.note(entry.name);
        ++pending_;
        descend(entry.name, Position{place, position.isCounted && belongs(entry.name), isOfTool});
      }
    }
  }

  /// Symbolic links occupy blocks, but have no logical size here.
  void addFile(int folder, const DirectoryEntry& entry, bool isCounted, Listing& seen) {
    const auto size = entrySize(folder, entry.name.data(), upperBornNanos_);
    if (size) addTo(seen.tally, *size);
    if (!isCounted || entry.type != EntryType::regularFile) return;
    if (!size) {
      if (!isNoLongerThere(size.failure())) fail();
      return;
    }
    seen.bytes = saturatedSum(seen.bytes, size->bytes);
    if (isOfOthers(size->owner) && (!seen.ofOthers || entry.name < *seen.ofOthers)) seen.ofOthers = entry.name;
  }

  static void addTo(StorageTally& tally, const EntrySize& size) {
    if (size.links > 1) {
      const SharedInode link{size.device, size.inode, size.allocated, 1, size.links};
      return size.isOlder ? tally.addKeptLink(link) : tally.addLink(link);
    }
    size.isOlder ? tally.addKept(size.allocated) : tally.add(size.bytes, size.allocated);
  }
  void addFolder(int folder, StorageTally& tally) const;

  void addSizes(const Listing& seen);
  bool belongs(std::string_view folderName) const;
  /// Published packages have folders such as "dist", so an exclusion of that name does not mean theirs.
  bool isPackagesOwn(std::string_view name) const;

  bool isOfOthers(std::uint32_t owner) const { return owner_ && owner != *owner_ && owner != 0; }
  bool isOfOthers(const FolderNode& folder) const;

  void meetExclusions(const FolderExclusions& exclusions, const FolderNode& node, std::string_view name) {
    if (exclusions.mayKeep && exclusions.filter.keeps(name)) meetEntry(node, name, KeptInside::Why::excluded);
    if (options_.isPlace && exclusions.filter.barsByName(name) && !isPackagesOwn(name)) {
      meetEntry(node, name, KeptInside::Why::excluded);
    }
    if (exclusions.never && exclusions.never->bars(name)) meetEntry(node, name, KeptInside::Why::neverRemoved);
  }

  void lookForStore(std::string_view name, const FolderNode& parent, const WalkFilter::Place* place) {
    const auto kind = place != nullptr && place->store ? place->store : StoreNames::kindOf(name, parent);
    if (kind) meetStore(joinedPath(parent.path(), name), *kind);
  }

  void meetSigns(const FolderNode& node, const Listing& seen);
  void meetContents(DirectoryReader& reader, const FolderNode& node, const Position& position, const Listing& seen);
  void meetStore(std::string path, StoreKind kind);
  void meetOfOthers(const FolderNode& folder, const std::string& name);
  void meetClosed(std::string path, const Outcome<EntryFacts>& folder);
  void meetRepository(const FolderNode& folder, bool isOfGit, const char* foreign);
  void meetKeepFile(const FolderNode& folder);
  void meetEntry(const FolderNode& folder, std::string_view name, KeptInside::Why why) {
    meet({joinedPath(folder.path(), name), why});
  }
  /// Workers race; keeping the smallest path makes the result deterministic.
  void meet(KeptInside kept);

  const WalkFilter& filter_;
  const Options options_;
  std::atomic<std::uint64_t> bytes_{0};
  std::atomic<std::int64_t> pending_{1};  // 1: the measured folder itself
  std::atomic<bool> begun_{false};
  std::atomic<bool> failed_{false};
  // Written before any subfolder is visited; these keep the first folder alive.
  std::optional<FileIdentity> identity_;
  std::optional<std::uint32_t> owner_;
  std::optional<std::int64_t> upperBornNanos_;  // of the overlay that holds it: what is older, a lower layer keeps
  const FolderNode* first_ = nullptr;
  mutable std::mutex mutex_;  // guards what follows
  std::optional<KeptInside> kept_;
  RepositoriesInside repositories_;
  InsideNotes inside_;
  StorageTally tally_;
};

}  // namespace tidra
