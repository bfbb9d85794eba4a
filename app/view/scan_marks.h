// Which items of a scan a removal takes, and why it leaves the others.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/model/scan_report.h"
#include "core/session/removal_guard.h"
#include "core/session/scan_session.h"

namespace tidra {

struct ItemMark {
  enum class Kind {
    goes,
    part,     // goes with the item that it lies in
    review,   // left to the user: its tier, or no evidence that a tool made it
    kept,     // stays even if it is selected
    unknown,  // the scan was interrupted before the checks
  };

  Kind kind = Kind::goes;
  std::string reason = {};  // why it does not go, for display

  /// Whether a user may choose to remove such an item.
  static constexpr bool isSelectable(Kind kind) { return kind == Kind::goes || kind == Kind::review; }

  bool operator==(const ItemMark&) const = default;
};

using ChosenTiers = std::optional<std::set<ArtifactSafetyTier>>;

/// The marks of the items of a report, in its order, as far as it shows them: nothing is kept. `tiers` are those that
/// were named; absent: only safe items go. Those of a partial report are unknown.
std::vector<ItemMark> marksOf(const ScanReport& report, const ChosenTiers& tiers);

/// As above, and what keep files, processes, mounts and nested findings keep now. `report` is that of the outcome.
std::vector<ItemMark> marksOf(const ScanReport& report, const ScanOutcome& outcome, const ScanRequest& request,
                              RemovalGuard& guard, const std::function<bool()>& shouldCancel);

}  // namespace tidra
