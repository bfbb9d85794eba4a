#include "core/session/contents_checks.h"

#include <string_view>
#include <unordered_set>

#include "core/model/removal_leftover.h"
#include "core/platform/path_text.h"

namespace tidra {

std::vector<CoveredPlace> rankedPlaces(const std::vector<FoundArtifact>& findings) {
  std::unordered_set<std::string_view> known;
  for (const FoundArtifact& found : findings) known.insert(found.place);
  std::vector<CoveredPlace> places;
  for (const FoundArtifact& found : findings) {
    const auto& ranked = found.inside.ranked;
    if (!ranked || found.place.empty()) continue;
    std::string place = joinedPath(found.place, ranked->path);
    if (!known.contains(place)) places.push_back({std::move(place), ranked->label, ranked->tier});
  }
  return places;
}

void raiseOfOthers(std::vector<FoundArtifact>& findings) {
  for (FoundArtifact& found : findings) {
    ScanArtifactFinding& finding = found.finding;
    if (!found.inside.ofOthers || finding.safetyTier >= ArtifactSafetyTier::caution) continue;
    // The user agreed to this one before its removal began.
    if (RemovalLeftover::isEither(lastPathComponent(finding.path))) continue;
    finding.safetyTier = ArtifactSafetyTier::caution;
    finding.restoreHint = "Holds files of other users: " + *found.inside.ofOthers;
  }
}

}  // namespace tidra
