// The sizes that a person sees: what removing an item frees, or with --apparent-size its logical size. Sums of what is
// freed count hard links between their items once.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/model/scan_report.h"
#include "core/model/storage_use.h"
#include "core/session/cleanup_session.h"

namespace tidra {

class ShownSizes {
 public:
  /// Of the items of a report. `findings` are those that it was made of, in its order; without them, as for a stored
  /// scan, sums are simple.
  ShownSizes(const ScanReport& report, const std::vector<FoundArtifact>* findings, bool apparent);
  /// Of candidates.
  ShownSizes(const std::vector<CleanupCandidate>& candidates, bool apparent);

  bool areApparent() const { return apparent_; }
  std::int64_t of(std::size_t item) const { return each_[item]; }

  static constexpr std::size_t noPart = CombinedUse::noPart;
  /// Returns the sum of each of the `parts`, saturating. `partOf` is the part of each item, or noPart.
  std::vector<std::int64_t> ofParts(const std::vector<std::size_t>& partOf, std::size_t parts) const;
  /// Returns the sum of the items for which `isCounted`.
  template <class Predicate>
  std::int64_t ofThose(const Predicate& isCounted) const {
    std::vector<std::size_t> partOf(each_.size(), noPart);
    for (std::size_t i = 0; i < partOf.size(); ++i) {
      if (isCounted(i)) partOf[i] = 0;
    }
    return ofParts(partOf, 1).front();
  }

 private:
  bool apparent_;
  std::vector<std::int64_t> each_;
  std::optional<CombinedUse> use_;       // absent: sums are simple
  std::vector<std::size_t> placeInUse_;  // of each item; noPart for one that use_ lacks
};

}  // namespace tidra
