#include "core/session/nested_findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <unordered_map>

#include "core/base/text.h"
#include "core/platform/path_text.h"
#include "core/scan/place_set.h"

namespace tidra {
namespace {

using Indices = std::unordered_map<std::string_view, std::size_t>;

/// Calls `use` with the index of each finding whose path is an ancestor, nearest first.
template <class Use>
void forEachHolder(const Indices& byPlace, std::string_view place, Use use) {
  for (auto slash = place.rfind('/'); slash != std::string_view::npos && slash > 0; slash = place.rfind('/')) {
    place = place.substr(0, slash);
    if (const auto holder = byPlace.find(place); holder != byPlace.end()) use(holder->second);
  }
}

Indices indicesOf(const std::vector<ScanArtifactFinding>& findings, const std::vector<std::string>& places,
                  bool withProjects) {
  Indices byPlace;
  for (std::size_t i = 0; i < findings.size(); ++i) {
    const bool isProject = findings[i].source == ArtifactSource::projectWalk;
    if (!places[i].empty() && (withProjects || !isProject)) byPlace.emplace(places[i], i);
  }
  return byPlace;
}

}  // namespace

std::string NestedFinding::reasonToKeepOuter(const std::string& innerReason) const {
  return fmt::format("holds {}, which {}", escapedForTerminal(inner), innerReason);
}

std::string NestedFinding::reasonOfUnselectedInner() const {
  return fmt::format("holds {} of tier {}, which is not selected", escapedForTerminal(inner), rawValue(innerTier));
}

std::vector<std::string> placesOf(const std::vector<ScanArtifactFinding>& findings,
                                  const std::map<std::string, std::string>& known) {
  RealPlaces real;
  std::vector<std::string> places;
  places.reserve(findings.size());
  for (const ScanArtifactFinding& finding : findings) {
    const auto place = known.find(finding.path);
    if (place != known.end()) {
      places.push_back(place->second);
    } else {
      places.push_back(isToolBackedTarget(finding.path) ? std::string{} : real.of(finding.path));
    }
  }
  return places;
}

void raiseHolders(std::vector<ScanArtifactFinding>& findings, const std::vector<std::string>& places,
                  const std::vector<CoveredPlace>& covered, const TidraPathResolver& resolver) {
  if (covered.empty()) return;
  const Indices byPlace = indicesOf(findings, places, true);
  for (const CoveredPlace& inner : covered) {
    const auto raise = [&](ScanArtifactFinding& finding, std::string hint) {
      if (finding.safetyTier >= inner.tier) return;
      finding.safetyTier = inner.tier;
      finding.restoreHint = std::move(hint);
    };
    const std::string held =
        fmt::format("Holds {} ({}), which is of this tier", inner.label, resolver.displayPath(inner.place));
    // The walk and a probe found the same folder: the probe's data is more specific.
    if (const auto same = byPlace.find(inner.place); same != byPlace.end()) {
      raise(findings[same->second], inner.hint.value_or(held));
    }
    forEachHolder(byPlace, inner.place, [&](std::size_t holder) { raise(findings[holder], held); });
  }
}

std::vector<NestedFinding> nestedFindings(const std::vector<ScanArtifactFinding>& findings,
                                          const std::vector<std::string>& places) {
  const Indices outside = indicesOf(findings, places, false);
  std::vector<std::pair<std::size_t, std::size_t>> pairs;  // outer and inner
  for (std::size_t i = 0; i < findings.size(); ++i) {
    forEachHolder(outside, places[i], [&](std::size_t outer) { pairs.emplace_back(outer, i); });
  }
  std::stable_sort(pairs.begin(), pairs.end(),
                   [&](const auto& a, const auto& b) { return places[a.first].size() > places[b.first].size(); });
  std::vector<NestedFinding> nested;
  for (const auto& [outer, inner] : pairs) {
    nested.push_back({findings[outer].path, findings[inner].path, findings[inner].safetyTier});
  }
  return nested;
}

void dropPartsOfPlaces(std::vector<ScanArtifactFinding>& findings, std::vector<NestedFinding>& nested,
                       const std::function<bool(const ScanArtifactFinding&)>& isShown) {
  if (nested.empty()) return;
  std::map<std::string_view, const ScanArtifactFinding*> byPath;
  for (const ScanArtifactFinding& finding : findings) byPath.emplace(finding.path, &finding);
  std::set<std::string> dropped;
  for (const NestedFinding& pair : nested) {
    const bool isProject = byPath.at(pair.inner)->source == ArtifactSource::projectWalk;
    const ScanArtifactFinding& outer = *byPath.at(pair.outer);
    if (isProject && isShown(outer) && pair.innerTier <= outer.safetyTier) dropped.insert(pair.inner);
  }
  std::erase_if(nested, [&](const NestedFinding& pair) { return dropped.contains(pair.inner); });
  std::erase_if(findings, [&](const ScanArtifactFinding& finding) { return dropped.contains(finding.path); });
}

}  // namespace tidra
