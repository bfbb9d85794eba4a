#include "core/scan/covered_places.h"

#include <unordered_set>

#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/place_set.h"
#include "core/scan/probes/catalog_path_probe.h"

namespace tidra {

std::vector<CoveredPlace> coveredPlaces(const SystemProbeContext& context, const std::vector<FoundArtifact>& findings) {
  std::vector<CoveredPlace> covered;
  PlaceSet projects;
  PlaceSet system;
  std::unordered_set<std::string_view> ofTheirOwn;
  for (const FoundArtifact& found : findings) {
    if (found.place.empty()) continue;
    (found.isOfProject() ? projects : system).add(found.place);
    if (!found.isOfProject()) ofTheirOwn.insert(found.place);
  }
  const auto add = [&](CoveredPlace place) {
    place.place = realPathOrSame(place.place);
    if (place.tier == ArtifactSafetyTier::safe || ofTheirOwn.contains(place.place)) return;
    if (projects.covers(place.place) || system.covers(parentPath(place.place))) covered.push_back(std::move(place));
  };
  std::set<std::string> categories;
  for (const SystemPathRule& rule : context.catalog->systemRules) {
    if (rule.tier != ArtifactSafetyTier::safe) categories.insert(rule.category);
  }
  for (const std::string& category : categories) {
    if (findings.empty()) break;
    const auto found = CatalogPathProbe(category).candidates(context);
    for (const auto& candidate : found.taken) add({candidate.url, candidate.label, candidate.rule.tier});
    for (const CoveredPlace& place : found.covered) add(place);
  }
  return covered;
}

}  // namespace tidra
