// Which exclusions kept anything out of a scan: a mistyped one keeps nothing, and nobody would notice.
#pragma once

#include <atomic>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "core/scan/exclusion_filter.h"

namespace tidra {

class ExclusionUse {
 public:
  /// Watches an exclusion. Call before the scan.
  void add(std::string text, TidraScanExclusionFilter filter);

  /// Adds exclusions that nobody asks about. Call before the scan.
  void addUnwatched(TidraScanExclusionFilter filter) { unwatched_.push_back(withLinksResolved(std::move(filter))); }

  /// Records a path that was kept out. Thread-safe.
  void note(const std::string& path);

  /// Whether an exclusion has not kept anything out yet. Thread-safe.
  bool isPending() const { return pending_.load(std::memory_order_relaxed) > 0; }

  /// Returns the exclusions that matched nothing, in the order of add(), except those inside what another one excluded.
  std::vector<std::string> idle() const;

 private:
  struct Watched {
    std::string text;
    TidraScanExclusionFilter filter;
    std::atomic<bool> isUsed{false};
  };

  bool isCovered(const Watched& watched) const;

  std::deque<Watched> watched_;
  std::vector<TidraScanExclusionFilter> unwatched_;
  std::atomic<std::size_t> pending_{0};
};

}  // namespace tidra
