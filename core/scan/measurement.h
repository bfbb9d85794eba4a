// Measures one folder with several workers, and collects what must stay in it.
#pragma once

#include <atomic>
#include <cassert>
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

/// Sums the apparent sizes of all regular files below a folder. Does not follow symbolic links, counts hard links once
/// each, enters bundle packages only on request and mounts never.
class Measurement {
 public:
  struct Options {
    bool enterBundles = false;
    bool isTrash = false;  // everything in it is removed on emptying, nested stores included
  };

  /// The filter contains mounts and exclusions; it must outlive this.
  explicit Measurement(const WalkFilter& filter) : Measurement(filter, Options()) {}
  Measurement(const WalkFilter& filter, Options options) : filter_(filter), options_(options) {}

  /// Saturating.
  std::uint64_t bytes() const { return bytes_; }

  /// Whether a listing or a file's attributes could not be read, so that the size is unknown.
  bool hasFailed() const { return failed_; }
  void fail() { failed_ = true; }

  /// Returns the first path that must stay. Valid after the measurement.
  std::optional<KeptInside> kept() const {
    const std::lock_guard lock(mutex_);
    return kept_;
  }

  /// Reads one folder; calls `descend(name, subplace)` for each subfolder to measure. `place` is the folder in the
  /// filter's tree, null if the tree has nothing below it. Returns whether the folder contains ".git", a folder or the
  /// file of a linked worktree.
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

  /// Handles a folder that could not be opened. A vanished one adds nothing; an unreadable one neither, unless
  /// something below it must stay. Any other failure makes the size unknown.
  void couldNotOpen(std::error_code failure, const WalkFilter::Place* place) {
    if (isNoLongerThere(failure)) return;
    if (!isForbidden(failure) || (place != nullptr && place->leadsToKept)) fail();
  }

  /// Counts a finished or unopened folder; returns true for the last one.
  [[nodiscard]] bool finishFolder() {
    assert(pending_ > 0);
    return --pending_ == 0;
  }

 private:
  bool belongs(std::string_view folderName) const;

  void lookForStore(std::string_view name, const FolderNode& parent, const WalkFilter::Place* place) {
    const auto kind = place != nullptr && place->store ? place->store : StoreNames::kindOf(name, parent);
    if (kind) meetStore(joinedPath(parent.path(), name), *kind);
  }

  void meetStore(std::string path, StoreKind kind) {
    if (!options_.isTrash) meet(KeptInside::store(std::move(path), kind));
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
  std::atomic<bool> failed_{false};
  mutable std::mutex mutex_;  // guards kept_
  std::optional<KeptInside> kept_;
};

}  // namespace tidra
