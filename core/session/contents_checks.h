// Tiers of findings by what measuring noted in them.
#pragma once

#include <vector>

#include "core/model/found_artifact.h"
#include "core/scan/probes/system_probe.h"

namespace tidra {

/// Returns the places inside findings that rules put above tier safe and that are no findings, whichever options of the
/// scan are the reason.
std::vector<CoveredPlace> rankedPlaces(const std::vector<FoundArtifact>& findings);

/// Raises findings that hold files of other users to caution: whoever owns a folder can rename somebody else's, so that
/// it looks like an artefact, and have it removed by its owner.
void raiseOfOthers(std::vector<FoundArtifact>& findings);

}  // namespace tidra
