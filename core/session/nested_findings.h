// Findings inside other findings. Removing the outer one takes the inner one along, whatever that one's tier is.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "core/model/scan_artifact_finding.h"
#include "core/platform/path_resolver.h"
#include "core/scan/system_scanner.h"

namespace tidra {

/// A finding of a scan that lies in another one, which is outside projects.
struct NestedFinding {
  std::string outer;  // paths
  std::string inner;
  ArtifactSafetyTier innerTier = ArtifactSafetyTier::safe;

  bool operator==(const NestedFinding&) const = default;
};

/// The places of findings on disk, links resolved, in the order of the findings; empty for those of tools. `known` has
/// the places of some by path.
std::vector<std::string> placesOf(const std::vector<ScanArtifactFinding>& findings,
                                  const std::map<std::string, std::string>& known);

/// Raises the tier of each finding that holds a place which is no finding of its own but of a higher tier, and says so
/// in its hint.
void raiseHolders(std::vector<ScanArtifactFinding>& findings, const std::vector<std::string>& places,
                  const std::vector<CoveredPlace>& covered, const TidraPathResolver& resolver);

/// Every pair, the innermost outer findings first.
std::vector<NestedFinding> nestedFindings(const std::vector<ScanArtifactFinding>& findings,
                                          const std::vector<std::string>& places);

/// Drops the findings of projects that are part of one outside projects for which `isShown`, unless their tier is the
/// higher one, and with them their pairs.
void dropPartsOfPlaces(std::vector<ScanArtifactFinding>& findings, std::vector<NestedFinding>& nested,
                       const std::function<bool(const ScanArtifactFinding&)>& isShown);

}  // namespace tidra
