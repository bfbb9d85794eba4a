#include "core/session/raised_findings.h"

#include <string_view>
#include <unordered_map>

#include "core/base/quantities.h"
#include "core/scan/place_set.h"

namespace tidra {

RaisedFindings raisedBeyond(const std::set<ArtifactSafetyTier>& tiers, const std::vector<FoundArtifact>& findings,
                            const RuleCatalog& catalog, const std::function<bool(const FoundArtifact&)>& isCounted) {
  std::unordered_map<std::string_view, ArtifactSafetyTier> tierOfRule;
  for (const auto& rule : catalog.projectRules) tierOfRule.emplace(rule.id, rule.tier);
  for (const auto& rule : catalog.systemRules) tierOfRule.emplace(rule.id, rule.tier);
  std::vector<const FoundArtifact*> raised;
  PlaceSet places;
  for (const FoundArtifact& found : findings) {
    if (!found.finding.ruleID || tiers.contains(found.finding.safetyTier)) continue;
    const auto rule = tierOfRule.find(*found.finding.ruleID);
    if (rule == tierOfRule.end() || !tiers.contains(rule->second) || !isCounted(found)) continue;
    raised.push_back(&found);
    if (!found.place.empty()) places.add(found.place);
  }
  RaisedFindings counted;
  std::vector<const FoundArtifact*> outermost;
  for (const FoundArtifact* found : raised) {
    if (!found->place.empty() && !places.contains(found->place)) continue;
    outermost.push_back(found);
    ++counted.count;
    counted.bytes = saturatedSum(counted.bytes, signedBytes(found->finding.sizeBytes));
    const bool isCaution = found->finding.safetyTier == ArtifactSafetyTier::caution;
    counted.hasCaution = counted.hasCaution || (isCaution && !lacksEvidence(found->finding));
  }
  counted.freeableBytes = signedBytes(CombinedUse(outermost).freeableBytes());
  return counted;
}

}  // namespace tidra
