#include "fleet/agent/run_selection.h"

#include <fmt/format.h>

#include <map>
#include <set>

#include "core/model/removal_leftover.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

void selectLeftovers(PolicyDecision& decision) {
  std::erase_if(decision.skipped, [&](const PolicyDecision::Skipped& skipped) {
    using enum SkipReason;
    if (skipped.reason == tierNeverRemoved || skipped.reason == tierNotAutoCleaned || skipped.reason == pathProtected ||
        !RemovalLeftover::isEither(lastPathComponent(skipped.item.path))) {
      return false;
    }
    decision.selected.push_back(skipped.item);
    decision.plan.items.push_back(CleanupPlan::Item::make(skipped.item));
    return true;
  });
}

/// Why the items stay that the policy forbids; what is only too small or beyond a budget may go with what holds it.
std::map<std::string, std::string> forbiddenBy(const PolicyDecision& decision) {
  std::map<std::string, std::string> reasons;
  for (const PolicyDecision::Skipped& skipped : decision.skipped) {
    using enum SkipReason;
    if (skipped.reason == tooSmall || skipped.reason == overBudget) continue;
    reasons.emplace(skipped.item.path, fmt::format("the policy keeps ({})", rawValue(skipped.reason)));
  }
  return reasons;
}

}  // namespace

RunSelection RunSelection::make(const ScanOutcome& outcome, const FleetPolicy& policy,
                                const TidraPathResolver& resolver, const std::function<bool()>& shouldCancel) {
  RunSelection selection;
  std::set<std::string> keptIDs;
  std::set<std::string> parts;  // paths of what goes with a selected item that holds it
  for (;;) {
    ScanReport considered = outcome.report;
    std::erase_if(considered.items,
                  [&](const ScanReportItem& item) { return keptIDs.contains(item.id) || parts.contains(item.path); });
    selection.decision = PolicyEvaluator::evaluate(std::move(considered), policy, resolver);
    selectLeftovers(selection.decision);
    selection.candidates = candidatesOf(selection.decision.selected, outcome, resolver, {.shouldCancel = shouldCancel});
    std::map<std::string, std::string> spared;
    if (!outcome.nested.empty()) spared = forbiddenBy(selection.decision);
    for (const KeptItem& kept : selection.kept) spared.emplace(kept.item.path, kept.reason);
    const auto newParts = settleNested(selection.candidates, outcome.nested, std::move(spared), parts);
    const std::size_t known = keptIDs.size();
    for (const CleanupCandidate& candidate : selection.candidates) {
      if (!candidate.refusal || !keptIDs.insert(candidate.item.id).second) continue;
      selection.kept.push_back({*candidate.reported, *candidate.refusal});
    }
    if (keptIDs.size() != known) {
      parts.clear();
    } else if (newParts.empty()) {
      return selection;
    } else {
      parts.insert(newParts.begin(), newParts.end());
    }
  }
}

}  // namespace tidra
