// Decides which findings an unattended run may remove.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "core/base/json_codec.h"
#include "core/model/cleanup_plan.h"
#include "core/model/scan_report.h"
#include "core/platform/path_resolver.h"
#include "fleet/agent/policy/fleet_policy.h"
#include "fleet/agent/policy/skip_reason.h"

namespace tidra {

struct [[nodiscard]] PolicyDecision {
  struct Skipped {
    ScanReportItem item;
    SkipReason reason = SkipReason::tierNeverRemoved;

    bool operator==(const Skipped&) const = default;
  };

  CleanupPlan plan;                      // of the selected items
  std::vector<ScanReportItem> selected;  // in report order
  std::vector<Skipped> skipped;          // in report order

  bool operator==(const PolicyDecision&) const = default;
};

extern template struct RecordCodec<PolicyDecision::Skipped>;
template <>
struct JsonCodec<PolicyDecision::Skipped> : RecordCodec<PolicyDecision::Skipped> {};

struct PolicyEvaluator {
  /// By index of the report's items: why the policy keeps the item, budgets aside; none for one that it lets go.
  using Faults = std::vector<std::optional<SkipReason>>;

  /// A second opinion on an item that the policy lets go and that fits into the budgets. Returns none for an item that
  /// must stay, else the indices of the items that go along with it.
  using Consent = std::function<std::optional<std::vector<std::size_t>>(std::size_t index, const Faults& faults)>;

  /// Selects or skips every item in report order, each skipped one with the first reason that applies; budgets are
  /// filled greedily in that order. Pure: the plan takes date and host from the report. `resolver` expands "~" and
  /// variables in protected paths. Moves the items out of the report. The rest of an interrupted removal was decided on
  /// before: only its tier and protected paths keep it, and it uses up no budget.
  ///
  /// `consent` is asked at most once about each item, in report order. An item that it keeps, or that goes along with a
  /// selected one, is in neither list and uses up no budget; what was selected before the item that takes it along
  /// leaves the selection.
  static PolicyDecision evaluate(ScanReport report, const FleetPolicy& policy, const TidraPathResolver& resolver,
                                 const Consent& consent = {});
};

}  // namespace tidra
