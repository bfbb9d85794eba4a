// Paths of system rules inside findings: removing the finding removes them, too, also when they were not asked for.
#pragma once

#include <vector>

#include "core/model/found_artifact.h"
#include "core/scan/probes/system_probe.h"

namespace tidra {

/// Returns the paths of all system rules above tier safe that lie in a finding or are a finding of the walk, and are no
/// findings outside projects. Does not depend on the categories of a scan or on its exclusions: neither makes a place
/// safe.
std::vector<CoveredPlace> coveredPlaces(const SystemProbeContext& context, const std::vector<FoundArtifact>& findings);

}  // namespace tidra
