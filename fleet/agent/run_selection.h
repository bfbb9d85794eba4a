// The items that a run may remove: the policy's decision without those protected for other reasons.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/session/cleanup_session.h"
#include "fleet/agent/evaluation/policy_evaluator.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

/// A selected item that is kept for a reason outside the policy.
struct KeptItem {
  ScanReportItem item;
  std::string reason;  // completes a sentence that begins with its path

  bool operator==(const KeptItem&) const = default;
};

struct RunSelection {
  PolicyDecision decision;
  std::vector<CleanupCandidate> candidates;  // the decision's selected items; refer to the findings of the outcome
  std::vector<KeptItem> kept;                // by a keep file, by use or by contents; not in `decision`

  /// Kept items, and items inside a selected one, use no budget. An item is also kept when its contents must stay,
  /// regardless of their budget. Once `shouldCancel` returns true, the candidates are incomplete.
  /// `report` is that of the outcome, which must outlive the selection.
  static RunSelection make(const ScanOutcome& outcome, const ScanReport& report, const FleetPolicy& policy,
                           const TidraPathResolver& resolver, const std::function<bool()>& shouldCancel);
};

}  // namespace tidra
