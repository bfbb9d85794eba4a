#include "core/session/nested_findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <unordered_map>

#include "core/base/text.h"
#include "core/platform/path_text.h"

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

Indices indicesOf(const std::vector<FoundArtifact>& findings, bool withProjects) {
  Indices byPlace;
  for (std::size_t i = 0; i < findings.size(); ++i) {
    const FoundArtifact& found = findings[i];
    if (!found.place.empty() && (withProjects || !found.isOfProject())) byPlace.emplace(found.place, i);
  }
  return byPlace;
}

}  // namespace

Refusal NestedFinding::refusalOfOuter(const Refusal& ofInner) const {
  return {ofInner.why, fmt::format("holds {}, which {}", escapedForTerminal(inner), ofInner.text), true};
}

Refusal NestedFinding::refusalOfUnselectedInner() const {
  return {
      Refusal::Why::unselected,
      fmt::format("holds {} of tier {}, which is not selected", escapedForTerminal(inner), rawValue(innerTier)),
      true,
  };
}

void raiseHolders(std::vector<FoundArtifact>& findings, const std::vector<CoveredPlace>& covered,
                  const TidraPathResolver& resolver) {
  if (covered.empty()) return;
  const Indices byPlace = indicesOf(findings, true);
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
      raise(findings[same->second].finding, inner.hint.value_or(held));
    }
    forEachHolder(byPlace, inner.place, [&](std::size_t holder) { raise(findings[holder].finding, held); });
  }
}

std::vector<NestedFinding> nestedFindings(std::vector<FoundArtifact>& findings) {
  const Indices outside = indicesOf(findings, false);
  std::vector<std::pair<std::size_t, std::size_t>> pairs;  // outer and inner
  for (std::size_t i = 0; i < findings.size(); ++i) {
    forEachHolder(outside, findings[i].place, [&](std::size_t outer) { pairs.emplace_back(outer, i); });
  }
  std::stable_sort(pairs.begin(), pairs.end(), [&](const auto& a, const auto& b) {
    return findings[a.first].place.size() > findings[b.first].place.size();
  });
  std::vector<NestedFinding> nested;
  for (const auto& [outer, inner] : pairs) {
    const ScanArtifactFinding& part = findings[inner].finding;
    ScanArtifactFinding& whole = findings[outer].finding;
    whole.lastActivityDate = std::max(whole.lastActivityDate, part.lastActivityDate);
    nested.push_back({whole.path, part.path, part.safetyTier, findings[inner].project()});
  }
  return nested;
}

void dropPartsOfPlaces(std::vector<FoundArtifact>& findings, const std::vector<NestedFinding>& nested,
                       const std::function<bool(const FoundArtifact&)>& isShown) {
  if (nested.empty()) return;
  std::unordered_map<std::string_view, const FoundArtifact*> byPath;
  for (const FoundArtifact& found : findings) byPath.emplace(found.finding.path, &found);
  std::set<std::string> dropped;
  for (const NestedFinding& pair : nested) {
    const FoundArtifact& outer = *byPath.at(pair.outer);
    const bool isCovered = byPath.at(pair.inner)->isOfProject() && pair.innerTier <= outer.finding.safetyTier;
    if (isCovered && isShown(outer)) dropped.insert(pair.inner);
  }
  std::erase_if(findings, [&](const FoundArtifact& found) { return dropped.contains(found.finding.path); });
}

}  // namespace tidra
