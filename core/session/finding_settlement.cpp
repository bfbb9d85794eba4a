#include "core/session/finding_settlement.h"

#include <utility>

#include "core/model/scan_activity_classification.h"
#include "core/session/contents_checks.h"
#include "core/session/nested_findings.h"
#include "core/session/raised_findings.h"
#include "core/session/size_bounds.h"
#include "core/session/system_reach.h"

namespace tidra {

FindingSettlement::FindingSettlement(const ScanRequest& request, ScanOutcome& outcome,
                                     std::function<bool()> shouldCancel)
    : request_(request), outcome_(outcome), shouldCancel_(std::move(shouldCancel)) {}

std::set<std::string> FindingSettlement::projectsOfAge(const Age& age) const {
  std::set<std::string> projects;
  for (const FoundArtifact& found : outcome_.findings) {
    const bool isMeant = found.isOfProject() && isWanted(found) && isOlderThan(found.finding, age);
    if (isMeant) projects.insert(*found.finding.groupRoot);
  }
  return projects;
}

void FindingSettlement::run(const std::vector<CoveredPlace>& probed) {
  settleNested(probed);
  if (request_.tiers) {
    outcome_.raised = raisedBeyond(*request_.tiers, outcome_.findings, request_.rulesOfAll(),
                                   [this](const auto& found) { return isWantedInAnyTier(found); });
  }
  for (const FoundArtifact& found : outcome_.findings) countLeftOut(found);
  std::erase_if(outcome_.findings, [this](const auto& found) { return !isWanted(found); });
  if (auto excess = boundSizes(outcome_.findings, request_.resolver)) outcome_.notes.push_back(std::move(*excess));
}

/// Before filtering, and also without a scan outside projects: unselected findings must not be removed with what
/// contains them.
void FindingSettlement::settleNested(const std::vector<CoveredPlace>& probed) {
  raiseOfOthers(outcome_.findings);
  auto context = probeContextOf(request_);
  context.catalog = &request_.rulesOfAll();
  context.shouldCancel = shouldCancel_;
  auto covered = coveredPlaces(context, outcome_.findings);
  for (const auto& more : {probed, rankedPlaces(outcome_.findings)}) {
    covered.insert(covered.end(), more.begin(), more.end());
  }
  raiseHolders(outcome_.findings, covered, request_.resolver);
  outcome_.nested = nestedFindings(outcome_.findings);
  // Items of a plan are looked up by their own paths.
  if (request_.isRecheck()) return;
  dropPartsOfPlaces(outcome_.findings, outcome_.nested, [this](const auto& outer) { return isWanted(outer); });
}

void FindingSettlement::countLeftOut(const FoundArtifact& found) {
  const ScanArtifactFinding& finding = found.finding;
  LeftOutFindings& counts = outcome_.leftOut;
  if (!isOfWantedEcosystem(found)) ++counts.ofEcosystem;
  if (request_.tiers && !request_.tiers->contains(finding.safetyTier)) ++counts.ofTier;
  if (finding.sizeBytes < request_.minimumBytes) ++counts.ofSize;
  if (request_.olderThan && !isOlderThan(finding, *request_.olderThan)) ++counts.ofAge;
}

bool FindingSettlement::isWanted(const FoundArtifact& found) const {
  return (!request_.tiers || request_.tiers->contains(found.finding.safetyTier)) && isWantedInAnyTier(found);
}

bool FindingSettlement::isWantedInAnyTier(const FoundArtifact& found) const {
  const ScanArtifactFinding& finding = found.finding;
  if (!request_.asksFor(finding.path) || finding.sizeBytes < request_.minimumBytes) return false;
  if (!isOfWantedEcosystem(found)) return false;
  return !request_.olderThan || isOlderThan(finding, *request_.olderThan);
}

/// The walk leaves out projects of other ecosystems itself.
bool FindingSettlement::isOfWantedEcosystem(const FoundArtifact& found) const {
  return found.isOfProject() || !request_.ecosystems || request_.ecosystems->contains(found.finding.ecosystemTag);
}

bool FindingSettlement::isOlderThan(const ScanArtifactFinding& finding, const Age& age) const {
  return finding.lastActivityDate && ScanActivityClassification::isAtLeastThisOld(*finding.lastActivityDate, age,
                                                                                  outcome_.circumstances.generatedAt);
}

}  // namespace tidra
