// What one run takes of what its scan has found: the policy's decision, less what is protected for another reason.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/session/cleanup_session.h"
#include "fleet/agent/evaluation/policy_evaluator.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

/// A selected item that stays for a reason which the policy does not know.
struct KeptItem {
  ScanReportItem item;
  std::string reason;  // the rest of a sentence that begins with its path

  bool operator==(const KeptItem&) const = default;
};

struct RunSelection {
  PolicyDecision decision;
  std::vector<CleanupCandidate> candidates;  // the decision's selected items
  std::vector<KeptItem> kept;                // protected by a keep file, their use or what they hold; not in `decision`

  /// What is kept, and what goes along with a selected item that holds it, uses up no budget of the policy. An item is
  /// kept, too, when what it holds must stay, whether or not the budget reaches that. Once `shouldCancel` is true, the
  /// candidates are incomplete.
  static RunSelection make(const ScanOutcome& outcome, const FleetPolicy& policy, const TidraPathResolver& resolver,
                           const std::function<bool()>& shouldCancel);
};

}  // namespace tidra
