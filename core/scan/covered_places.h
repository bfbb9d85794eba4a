// Paths of system rules inside findings: removing the finding removes them, too, also when they were not asked for.
#pragma once

#include <vector>

#include "core/model/found_artifact.h"
#include "core/scan/probes/system_probe.h"

namespace tidra {

/// Returns the paths of system rules above tier safe that lie in a finding, or are a finding of the walk, unless they
/// are findings outside projects. Categories and exclusions of the scan do not matter: neither makes a place safe.
std::vector<CoveredPlace> coveredPlaces(const SystemProbeContext& context, const std::vector<FoundArtifact>& findings);

}  // namespace tidra
