// Tiers of findings by what measuring noted in them.
#pragma once

#include <vector>

#include "core/model/found_artifact.h"
#include "core/scan/probes/system_probe.h"

namespace tidra {

/// Returns the places inside findings that a rule ranks above safe and that are no findings themselves, whether their
/// rule, category or root was left out of the scan.
std::vector<CoveredPlace> rankedPlaces(const std::vector<FoundArtifact>& findings);

/// Raises findings that hold files of other users to caution: the owner of a folder can rename other users' folders in
/// it to an artefact's name and have them removed.
void raiseOfOthers(std::vector<FoundArtifact>& findings);

}  // namespace tidra
