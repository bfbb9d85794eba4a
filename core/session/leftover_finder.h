// Interrupted removals beside the paths of system rules, which project walks do not visit.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "core/model/found_artifact.h"
#include "core/platform/path_resolver.h"
#include "core/platform/platform.h"
#include "core/rules/rule_catalog.h"
#include "core/scan/directory_size.h"
#include "core/scan/kept_inside.h"

namespace tidra {

struct SystemLeftovers {
  std::vector<FoundArtifact> findings;  // in byte order of their paths, not measured
  std::vector<std::string> unclaimed;   // named like leftovers, but without a note of the running user
};

/// Finds those in the parent folders of these categories' paths.
SystemLeftovers leftoversBesideSystemPlaces(const RuleCatalog& catalog, TidraPlatform platform,
                                            const std::set<std::string>& categories, const TidraPathResolver& resolver);

/// Measures leftovers; removes and returns those that contain something to keep.
std::vector<WithheldFinding> measureLeftovers(std::vector<FoundArtifact>& leftovers,
                                              const TidraDirectorySizeReader::Options& options);

}  // namespace tidra
