// Nested findings: removing the outer one also removes the inner one, regardless of its tier.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/model/found_artifact.h"
#include "core/platform/path_resolver.h"
#include "core/scan/system_scanner.h"
#include "core/session/refusal.h"

namespace tidra {

/// A pair of findings, the outer one outside projects.
struct NestedFinding {
  std::string outer;  // paths
  std::string inner;
  ArtifactSafetyTier innerTier = ArtifactSafetyTier::safe;
  std::optional<std::string> innerProject = {};  // absent outside projects

  /// Returns why the outer one stays when the inner one does.
  Refusal refusalOfOuter(const Refusal& ofInner) const;
  /// As above, for an inner one of a higher tier that is not selected.
  Refusal refusalOfUnselectedInner() const;

  bool operator==(const NestedFinding&) const = default;
};

/// Raises the tier of findings that contain a path of a higher tier which is no finding itself; notes it in their hint.
void raiseHolders(std::vector<FoundArtifact>& findings, const std::vector<CoveredPlace>& covered,
                  const TidraPathResolver& resolver);

/// Returns every pair, innermost outer findings first. An outer finding becomes as recent as those inside it.
std::vector<NestedFinding> nestedFindings(std::vector<FoundArtifact>& findings);

/// Drops findings of projects that lie in a finding outside projects for which `isShown`, unless their tier is higher.
/// Their pairs stay: what protects them protects what contains them.
void dropPartsOfPlaces(std::vector<FoundArtifact>& findings, const std::vector<NestedFinding>& nested,
                       const std::function<bool(const FoundArtifact&)>& isShown);

}  // namespace tidra
