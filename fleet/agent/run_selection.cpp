#include "fleet/agent/run_selection.h"

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

}  // namespace

RunSelection RunSelection::make(const ScanOutcome& outcome, const FleetPolicy& policy,
                                const TidraPathResolver& resolver) {
  RunSelection selection;
  std::set<std::string> keptIDs;
  for (;;) {
    ScanReport considered = outcome.report;
    std::erase_if(considered.items, [&](const ScanReportItem& item) { return keptIDs.contains(item.id); });
    selection.decision = PolicyEvaluator::evaluate(std::move(considered), policy, resolver);
    selectLeftovers(selection.decision);
    selection.candidates = candidatesOf(selection.decision.selected, outcome, resolver, {});
    const std::size_t known = keptIDs.size();
    for (const CleanupCandidate& candidate : selection.candidates) {
      if (!candidate.refusal || !keptIDs.insert(candidate.item.id).second) continue;
      selection.kept.push_back({*candidate.reported, *candidate.refusal});
    }
    if (keptIDs.size() == known) return selection;
  }
}

}  // namespace tidra
