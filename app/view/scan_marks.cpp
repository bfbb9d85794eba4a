#include "app/view/scan_marks.h"

#include <fmt/format.h>

#include <string_view>
#include <unordered_map>

#include "core/session/cleanup_session.h"

namespace tidra {
namespace {

std::set<ArtifactSafetyTier> takenTiers(const ChosenTiers& tiers) {
  return tiers.value_or(std::set{ArtifactSafetyTier::safe});
}

/// The hint of an item above tier safe is a warning: that of its rule, or of the check that raised it.
std::string reasonToReview(const ScanReportItem& item) {
  const bool isSafe = item.tier == ArtifactSafetyTier::safe;
  if (isSafe && item.noEvidence) return *item.noEvidence;
  if (item.restoreHint) return *item.restoreHint;
  return isSafe ? "nothing shows that a tool made it" : fmt::format("of tier {}", rawValue(item.tier));
}

}  // namespace

std::vector<ItemMark> marksOf(const ScanReport& report, const ChosenTiers& tiers) {
  // An interrupted scan has not looked for evidence and for work of the user everywhere.
  if (report.partial) return {report.items.size(), ItemMark{ItemMark::Kind::unknown}};
  const auto taken = takenTiers(tiers);
  std::vector<ItemMark> marks;
  marks.reserve(report.items.size());
  for (const ScanReportItem& item : report.items) {
    const bool goes = taken.contains(item.tier) && !lacksEvidence(item);
    marks.push_back(goes ? ItemMark{} : ItemMark{ItemMark::Kind::review, reasonToReview(item)});
  }
  return marks;
}

std::vector<ItemMark> marksOf(const ScanReport& report, const ScanOutcome& outcome, const ScanRequest& request,
                              RemovalGuard& guard, const std::function<bool()>& shouldCancel) {
  auto marks = marksOf(report, request.tiers);
  if (report.partial) return marks;
  const auto candidates =
      selectForCleanup(outcome, guard, {.tiers = takenTiers(request.tiers), .shouldCancel = shouldCancel});
  if (shouldCancel()) return marks;
  std::unordered_map<std::string_view, const CleanupCandidate*> byPath;
  for (const CleanupCandidate& candidate : candidates) byPath.emplace(candidate.item.path, &candidate);
  for (std::size_t i = 0; i < marks.size(); ++i) {
    const FoundArtifact& found = outcome.findings[i];
    const auto candidate = byPath.find(found.finding.path);
    if (candidate != byPath.end()) {
      if (candidate->second->refusal) marks[i] = {ItemMark::Kind::kept, candidate->second->refusal->text};
    } else if (marks[i].kind == ItemMark::Kind::goes) {
      marks[i] = {ItemMark::Kind::part, {}};
    } else if (const auto reason = guard.reasonToKeep(found.finding.path, found.project())) {
      marks[i] = {ItemMark::Kind::kept, reason->text};
    }
  }
  return marks;
}

}  // namespace tidra
