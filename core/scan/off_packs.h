// The rule packs that are off, and how often a walk meets what they would find. Bits are those of RuleIndex.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/scan/rule_index.h"

namespace tidra {

/// What the listing of one folder shows.
struct OffPacksInFolder {
  std::uint64_t markers = 0;
  std::uint64_t inside = 0;
  std::uint64_t folders = 0;  // of subfolders that are walked into

  /// Call for each entry that the index knows.
  void noteEntry(const NameFacts& facts) {
    markers |= facts.markerOfPacks;
    inside |= facts.insideOfPacks;
  }

  /// Returns the packs that would find a subfolder of the folder of this name, or the folder itself.
  std::uint64_t met(const RuleIndex& rules, std::string_view folderName) const {
    const std::uint64_t itself = inside == 0 ? 0 : inside & rules.packsOfHolder(folderName);
    return (markers & folders) | itself;
  }
};

/// Counts folders by pack. Thread-safe.
class OffPackCounts {
 public:
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
