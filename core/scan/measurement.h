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

/// Sums the apparent sizes of all regular files below a folder. Does not follow symbolic links, counts hard links once
/// each, counts the contents of bundle packages only on request, and enters mounts never.
class Measurement {
 public:
  struct Options {
    bool enterBundles = false;
    bool isTrash = false;              // everything in it is removed on emptying, but for exclusions
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

  /// Call with the owner of the first folder before it is measured.
  void setOwner(std::uint32_t owner) { owner_ = owner; }

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
    const int descriptor = node.descriptor();
    const WalkFilter::Place* const place = position.place;
    const bool isFirst = !begun_.load(std::memory_order_relaxed);
    if (isFirst) {
      first_ = &node;
      begun_ = true;
    }
    const FolderFilter filter(filter_, place, node);
    const bool mayKeep = filter.mayKeep();
    std::optional<FolderFilter> kept;
    if (const WalkFilter* patterns = filter_.kept()) kept.emplace(*patterns, nullptr, node);
    StoreSigns signs;
    const bool isOfTool = !options_.isPlace || position.isOfTool;
    RankedInside ranked(options_.rules, isOfTool);
    std::optional<std::string> ofOthers;
    std::uint64_t bytes = 0;
    StorageTally tally;
    tally.add(0, allocatedBy(descriptor));
    GitSigns gitSigns;
    ForeignSigns foreign(isFirst ? std::string_view() : node.name());
    bool holdsKeepFile = false;
    reader.start(descriptor);
    for (DirectoryEntry entry; reader.next(entry);) {
      gitSigns.note(entry.name);
      foreign.note(entry);
      holdsKeepFile = holdsKeepFile || entry.name == KeptInside::keepFile;
      signs.note(entry);
      if (mayKeep && filter.keeps(entry.name)) meet({joinedPath(node.path(), entry.name), KeptInside::Why::excluded});
      if (options_.isPlace && filter.barsByName(entry.name) && !isPackagesOwn(entry.name))
        meetExcluded(node, entry.name);
      if (kept && kept->bars(entry.name)) meet({joinedPath(node.path(), entry.name), KeptInside::Why::neverRemoved});
      if (entry.type == EntryType::regularFile || entry.type == EntryType::symbolicLink) {
        const auto size = entrySize(descriptor, entry.name.data());
        if (size) addTo(tally, *size);
        const bool isCounted = position.isCounted && entry.type == EntryType::regularFile;
        if (!isCounted) continue;
        if (size) {
          bytes = saturatedSum(bytes, size->bytes);
          if (isOfOthers(size->owner) && (!ofOthers || entry.name < *ofOthers)) ofOthers = entry.name;
        } else if (!isNoLongerThere(size.failure())) {
          fail();
        }
      } else if (entry.type == EntryType::directory) {
        const auto* subplace = WalkFilter::childPlace(place, entry.name);
        if (subplace != nullptr && subplace->mounted) continue;
        lookForStore(entry.name, node, subplace);
        const bool isToolsInside = ranked.note(entry.name);
        ++pending_;
        descend(entry.name, Position{subplace, position.isCounted && belongs(entry.name), isToolsInside});
      }
    }
    if (const auto failure = reader.failure(); failure && !isNoLongerThere(failure)) fail();
    if (const auto kind = signs.kind(descriptor)) meetStore(node.path(), *kind);
    if (auto highest = ranked.highest(*first_, node, reader)) meetRanked(std::move(*highest));
    if (ofOthers || (!position.isCounted && isOfOthers(node))) meetOfOthers(node, ofOthers.value_or(""));
    const bool holdsGit = gitSigns.holdsGit() || (gitSigns.isBare() && !isInsideGit(node));
    if (holdsGit || foreign.around() != nullptr) meetRepository(node, holdsGit, foreign.around());
    if (foreign.ofFolder() != nullptr) meetRepository(*node.parent(), false, foreign.ofFolder());
    if (options_.forRemoval && holdsEntriesThatStay(descriptor)) meetClosed(node.path(), descriptorFacts(descriptor));
    // Whoever removes asks about the first folder's own keep file, which --force lifts.
    if (holdsKeepFile && !isFirst) meetKeepFile(node);
    {
      const std::lock_guard lock(mutex_);
      tally_.add(tally);
    }
    std::uint64_t before = bytes_;
    while (!bytes_.compare_exchange_weak(before, saturatedSum(before, bytes))) {
    }
  }

  /// Handles a folder that could not be opened. A vanished one adds nothing. An unreadable one neither, but must stay:
  /// it may contain what must, and its owner's removal would open it. Any other failure makes the size unknown.
  void couldNotOpen(std::error_code failure, const UnopenedFolder& folder, const Position& position) {
    if (isNoLongerThere(failure)) return;
    const bool leadsToKept = position.place != nullptr && position.place->leadsToKept;
    if (!isForbidden(failure) || (options_.isTrash && leadsToKept)) return fail();
    if (options_.forRemoval) meetClosed(folder.path(), pathFacts(folder.path()));
    if (!options_.isTrash) meet({folder.path(), KeptInside::Why::unreadable});
  }

  /// Counts a finished or unopened folder; returns true for the last one.
  [[nodiscard]] bool finishFolder() {
    assert(pending_ > 0);
    return --pending_ == 0;
  }

 private:
  bool belongs(std::string_view folderName) const;
  /// Published packages have folders such as "dist", so an exclusion of that name does not mean theirs.
  bool isPackagesOwn(std::string_view name) const;

  static void addTo(StorageTally& tally, const EntrySize& size) {
    if (size.links <= 1) return tally.add(size.bytes, size.allocated);
    tally.addLink({size.device, size.inode, size.allocated, 1, size.links});
  }

  void lookForStore(std::string_view name, const FolderNode& parent, const WalkFilter::Place* place) {
    const auto kind = place != nullptr && place->store ? place->store : StoreNames::kindOf(name, parent);
    if (kind) meetStore(joinedPath(parent.path(), name), *kind);
  }

  void meetStore(std::string path, StoreKind kind) {
    if (!options_.isTrash) meet(KeptInside::store(std::move(path), kind));
  }

  bool isOfOthers(std::uint32_t owner) const { return owner_ && owner != *owner_ && owner != 0; }
  /// Files in bundle packages are not asked for anything, so their folders are.
  bool isOfOthers(const FolderNode& folder) const {
    const auto facts = descriptorFacts(folder.descriptor());
    return facts && isOfOthers(facts->owner);
  }

  void meetExcluded(const FolderNode& folder, std::string_view name) {
    if (!options_.isTrash) meet({joinedPath(folder.path(), name), KeptInside::Why::excluded});
  }

  void meetOfOthers(const FolderNode& folder, const std::string& name) {
    if (options_.isTrash) return;
    std::string path = pathInside(*first_, folder, name);
    const std::lock_guard lock(mutex_);
    if (!inside_.ofOthers || path < *inside_.ofOthers) inside_.ofOthers = std::move(path);
  }

  /// Own folders are opened for a removal.
  void meetClosed(std::string path, const Outcome<EntryFacts>& folder) {
    if (!folder || folder->owner == runningUser()) return;
    meet({std::move(path), folder->owner == 0 ? KeptInside::Why::ofRoot : KeptInside::Why::ofOthers});
  }

  void meetRanked(InsideNotes::Ranked found) {
    const std::lock_guard lock(mutex_);
    if (!inside_.ranked || RankedInside::outranks(found, *inside_.ranked)) inside_.ranked = std::move(found);
  }

  /// Bounds the memory: at most the first repositories in byte order, a heap until all are known.
  void meetRepository(const FolderNode& folder, bool isOfGit, const char* foreign) {
    if (options_.isTrash) return;
    std::size_t length = 0;
    for (const auto* node = &folder; node != nullptr && length <= RepositoriesInside::longestPath;
         node = node->parent())
      length += node->name().size() + 1;
    const bool isTooLong = length > RepositoriesInside::longestPath;
    std::string path = isTooLong ? std::string() : folder.path();
    const std::lock_guard lock(mutex_);
    repositories_.hasMore = repositories_.hasMore || isTooLong;
    if (isTooLong) return;
    if (foreign != nullptr && (!repositories_.foreign || path < repositories_.foreign->folder)) {
      repositories_.foreign = {path, foreign};
    }
    if (!isOfGit) return;
    auto& known = repositories_.ofGit;
    known.push_back(std::move(path));
    std::push_heap(known.begin(), known.end());
    if (known.size() <= RepositoriesInside::mostOfGit) return;
    std::pop_heap(known.begin(), known.end());
    known.pop_back();
    repositories_.hasMore = true;
  }

  /// Git folders below a ".git" belong to the repository around it, as those of submodules do.
  static bool isInsideGit(const FolderNode& folder) {
    const FolderNode* node = &folder;
    while (node != nullptr && node->name() != ".git") node = node->parent();
    return node != nullptr;
  }

  void meetKeepFile(const FolderNode& folder) {
    if (options_.isTrash) return;
    const auto file = entryFacts(folder.descriptor(), KeptInside::keepFile);
    const auto holder = file ? descriptorFacts(folder.descriptor()) : file.failure();
    if (!holder || isPlanted(*file, *holder)) return;
    meet({joinedPath(folder.path(), KeptInside::keepFile), KeptInside::Why::keepFile});
  }

  /// Workers race; keeping the smallest path makes the result deterministic.
  void meet(KeptInside kept) {
    const std::lock_guard lock(mutex_);
    if (!kept_ || kept.path < kept_->path) kept_ = std::move(kept);
  }

  const WalkFilter& filter_;
  const Options options_;
  std::atomic<std::uint64_t> bytes_{0};
  std::atomic<std::int64_t> pending_{1};  // 1: the measured folder itself
  std::atomic<bool> begun_{false};
  std::atomic<bool> failed_{false};
  std::optional<std::uint32_t> owner_;  // written before the first visit
  const FolderNode* first_ = nullptr;   // written by the first visit; those below keep it alive
  mutable std::mutex mutex_;            // guards what follows
  std::optional<KeptInside> kept_;
  RepositoriesInside repositories_;
  InsideNotes inside_;
  StorageTally tally_;
};

}  // namespace tidra
