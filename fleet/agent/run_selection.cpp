#include "fleet/agent/run_selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <cassert>
#include <string_view>
#include <unordered_map>

#include "core/session/removal_guard.h"

namespace tidra {
namespace {

/// Reasons outside the policy to keep an item: those of the guard, or contents that stay.
class Selector {
 public:
  using Faults = PolicyEvaluator::Faults;

  Selector(const ScanOutcome& outcome, const ScanReport& report, const ScanRequest& request)
      : findings_(outcome.findings),
        items_(report.items),
        shouldCancel_(request.shouldCancel),
        guard_(request.resolver, request.mounts) {
    assert(findings_.size() == items_.size());
    if (outcome.nested.empty()) return;
    for (std::size_t i = 0; i < items_.size(); ++i) byPath_.emplace(items_[i].path, i);
    for (const NestedFinding& pair : outcome.nested) {
      if (const auto outer = byPath_.find(pair.outer); outer != byPath_.end()) held_[outer->second].push_back(&pair);
    }
  }

  /// The indices of items removed along with this one; none when it stays.
  std::optional<std::vector<std::size_t>> consent(std::size_t index, const Faults& faults) {
    if (shouldCancel_ && shouldCancel_()) return std::nullopt;
    if (const auto& reason = reasonToKeep(index, faults)) {
      kept_.push_back({items_[index], reason->text});
      return std::nullopt;
    }
    std::vector<std::size_t> parts;
    for (const NestedFinding* pair : heldBy(index)) {
      const auto inner = byPath_.find(pair->inner);
      if (inner != byPath_.end() && !faults[inner->second]) parts.push_back(inner->second);
    }
    return parts;
  }

  std::vector<KeptItem> takeKept() { return std::move(kept_); }

 private:
  const std::vector<const NestedFinding*>& heldBy(std::size_t index) const {
    static const std::vector<const NestedFinding*> nothing;
    const auto held = held_.find(index);
    return held == held_.end() ? nothing : held->second;
  }

  /// Also asked for small and over-budget items: they may be removed as part of an item that contains them.
  const std::optional<Refusal>& reasonToKeep(std::size_t index, const Faults& faults) {
    if (const auto known = reasons_.find(index); known != reasons_.end()) return known->second;
    const ScanReportItem& item = items_[index];
    auto reason = guard_.reasonToKeep(item.path, findings_[index].project());
    for (const NestedFinding* pair : heldBy(index)) {
      if (reason) break;
      reason = reasonFrom(*pair, item.tier, faults);
    }
    return reasons_.emplace(index, std::move(reason)).first->second;
  }

  std::optional<Refusal> reasonFrom(const NestedFinding& pair, ArtifactSafetyTier outerTier, const Faults& faults) {
    if (const auto inner = byPath_.find(pair.inner); inner != byPath_.end()) {
      const auto& fault = faults[inner->second];
      if (fault && fault != SkipReason::tooSmall) {
        return pair.refusalOfOuter({Refusal::Why::unselected, fmt::format("the policy keeps ({})", rawValue(*fault))});
      }
      if (const auto& reason = reasonToKeep(inner->second, faults)) return pair.refusalOfOuter(*reason);
      if (!fault) return std::nullopt;
    }
    if (pair.innerTier > outerTier) return pair.refusalOfUnselectedInner();
    const auto refusal = guard_.reasonToKeep(pair.inner, pair.innerProject);
    return refusal ? std::optional(pair.refusalOfOuter(*refusal)) : std::nullopt;
  }

  const std::vector<FoundArtifact>& findings_;
  const std::vector<ScanReportItem>& items_;  // of the findings, in their order
  const std::function<bool()>& shouldCancel_;
  RemovalGuard guard_;
  std::unordered_map<std::string_view, std::size_t> byPath_;                 // filled if findings are nested
  std::unordered_map<std::size_t, std::vector<const NestedFinding*>> held_;  // by index of the outer one
  std::unordered_map<std::size_t, std::optional<Refusal>> reasons_;          // by index; none: may be removed
  std::vector<KeptItem> kept_;
};

}  // namespace

RunSelection RunSelection::make(const ScanOutcome& outcome, const ScanReport& report, const FleetPolicy& policy,
                                const ScanRequest& request) {
  Selector selector(outcome, report, request);
  RunSelection selection;
  selection.decision =
      PolicyEvaluator::evaluate(report, policy, request.resolver,
                                [&](std::size_t index, const auto& faults) { return selector.consent(index, faults); });
  // Selected items are in the order of the report, which is that of the findings.
  auto found = outcome.findings.begin();
  for (const CleanupPlan::Item& item : selection.decision.plan.items) {
    found = std::find_if(found, outcome.findings.end(), [&](const auto& one) { return one.finding.path == item.path; });
    assert(found != outcome.findings.end());
    selection.candidates.push_back({.item = item, .found = &*found, .refusal = std::nullopt});
  }
  selection.kept = selector.takeKept();
  return selection;
}

}  // namespace tidra
