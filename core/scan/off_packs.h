// How often a walk meets what rule packs that are off would find.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

#include "core/scan/rule_index.h"

namespace tidra {

/// Counts folders by pack. Thread-safe.
class OffPackCounts {
 public:
  /// A bit each, as RuleIndex::offPacksMet() returns them.
  void add(std::uint64_t packs) {
    for (std::size_t i = 0; packs != 0; ++i, packs >>= 1U) {
      if ((packs & 1U) != 0) ++counts_[i];
    }
  }

  /// Returns the counts of the first packs.
  std::vector<std::uint64_t> ofFirst(std::size_t packs) const {
    return {counts_.begin(), counts_.begin() + static_cast<std::ptrdiff_t>(packs)};
  }

 private:
  std::array<std::atomic<std::uint64_t>, RuleIndex::mostPacks> counts_{};
};

}  // namespace tidra
