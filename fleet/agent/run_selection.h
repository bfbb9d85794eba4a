// The items that a run may remove: the policy's decision without those protected for other reasons.
#pragma once

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
  std::vector<KeptItem> kept;                // by a RemovalGuard or by contents; not in `decision`

  /// Kept items, and items inside a selected one, use no budget. An item is also kept when its contents must stay,
  /// regardless of their budget. Once the request is cancelled, the candidates are incomplete.
  /// `request` and `report` are those of the outcome, which must outlive the selection.
  static RunSelection make(const ScanOutcome& outcome, const ScanReport& report, const FleetPolicy& policy,
                           const ScanRequest& request);
};

}  // namespace tidra
