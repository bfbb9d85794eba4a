// The size of one folder while several workers add it up, and what they meet in it that must stay.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>

#include "core/base/quantities.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/scan/kept_inside.h"
#include "core/scan/walk_filter.h"

namespace tidra {

/// Adds the logical sizes of all regular files below a folder. Links are never followed, a file counts once for each of
/// its hard links, bundle packages are not entered unless asked for, and what is mounted inside never is.
class Measurement {
 public:
  struct Options {
    bool enterBundles = false;
    bool isTrash = false;  // whatever lies in it, other stores included, goes when it is emptied
  };

  /// The filter tells where other file systems begin and what is excluded; it must outlive this.
  explicit Measurement(const WalkFilter& filter) : Measurement(filter, Options()) {}
  Measurement(const WalkFilter& filter, Options options) : filter_(filter), options_(options) {}

  /// At its largest where the files claim more than 64 bits hold.
  std::uint64_t bytes() const { return bytes_; }

  /// True when a listing or the attributes of some file could not be read, which leaves the size unknown.
  bool hasFailed() const { return failed_; }
  void fail() { failed_ = true; }

  /// What must stay in it, the first by its path. Complete once the measurement is.
  std::optional<KeptInside> kept() const {
    const std::lock_guard lock(mutex_);
    return kept_;
  }

  /// Reads one folder; `descend(name, subplace)` is called for each subfolder that belongs to the measurement. `place`
  /// is the folder's place in the filter's tree, null when nothing is known below it.
  /// True when the folder holds ".git", be it a folder or, as in a linked worktree, a file.
  template <class Descend>
  bool measure(DirectoryReader& reader, const FolderNode& node, const WalkFilter::Place* place, Descend descend) {
    const int descriptor = node.descriptor();
    const FolderFilter filter(filter_, place, node);
    const bool mayKeep = filter.mayKeep();
    std::optional<FolderFilter> kept;
    if (const WalkFilter* patterns = filter_.kept()) kept.emplace(*patterns, nullptr, node);
    StoreSigns signs;
    std::uint64_t bytes = 0;
    bool holdsGit = false;
    reader.start(descriptor);
    for (DirectoryEntry entry; reader.next(entry);) {
      holdsGit = holdsGit || entry.name == ".git";
      signs.note(entry);
      if (mayKeep && filter.keeps(entry.name)) meet({joinedPath(node.path(), entry.name), KeptInside::Why::excluded});
      if (kept && kept->bars(entry.name)) meet({joinedPath(node.path(), entry.name), KeptInside::Why::neverRemoved});
      if (entry.type == EntryType::regularFile) {
        const auto size = fileSize(descriptor, entry.name.data());
        if (size) {
          bytes = saturatedSum(bytes, *size);
        } else if (!isNoLongerThere(size.failure())) {
          fail();
        }
      } else if (entry.type == EntryType::directory) {
        const auto* subplace = WalkFilter::childPlace(place, entry.name);
        if (subplace != nullptr && subplace->mounted) continue;
        lookForStore(entry.name, node, subplace);
        if (!belongs(entry.name) && (subplace == nullptr || !subplace->leadsToKept)) continue;
        ++pending_;
        descend(entry.name, subplace);
      }
    }
    if (const auto kind = signs.kind(descriptor)) meetStore(node.path(), *kind);
    if (const auto failure = reader.failure(); failure && !isNoLongerThere(failure)) fail();
    std::uint64_t before = bytes_;
    while (!bytes_.compare_exchange_weak(before, saturatedSum(before, bytes))) {
    }
    return holdsGit;
  }

  /// A folder that belongs to the measurement could not be opened. One that is gone adds nothing, nor does one that
  /// must not be read unless something below it is known to stay. Any other failure leaves the size unknown.
  void couldNotOpen(std::error_code failure, const WalkFilter::Place* place) {
    if (isNoLongerThere(failure)) return;
    if (!isForbidden(failure) || (place != nullptr && place->leadsToKept)) fail();
  }

  /// One folder is done, or could not be opened. True for the last one: the measurement is complete.
  bool finishFolder() { return --pending_ == 0; }

 private:
  bool belongs(std::string_view folderName) const;

  void lookForStore(std::string_view name, const FolderNode& parent, const WalkFilter::Place* place) {
    const auto kind = place != nullptr && place->store ? place->store : StoreNames::kindOf(name, parent);
    if (kind) meetStore(joinedPath(parent.path(), name), *kind);
  }

  void meetStore(std::string path, StoreKind kind) {
    if (!options_.isTrash) meet(KeptInside::store(std::move(path), kind));
  }

  /// Which worker meets what first is luck; the result is not.
  void meet(KeptInside kept) {
    const std::lock_guard lock(mutex_);
    if (!kept_ || kept.path < kept_->path) kept_ = std::move(kept);
  }

  const WalkFilter& filter_;
  const Options options_;
  std::atomic<std::uint64_t> bytes_{0};
  std::atomic<std::int64_t> pending_{1};  // the measured folder itself
  std::atomic<bool> failed_{false};
  mutable std::mutex mutex_;  // guards the next one
  std::optional<KeptInside> kept_;
};

}  // namespace tidra
