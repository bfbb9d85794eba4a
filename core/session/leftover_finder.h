// Removals that were cut short beside the places of the system rules, where no project walk comes by.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "core/model/scan_artifact_finding.h"
#include "core/platform/path_resolver.h"
#include "core/platform/platform.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

struct SystemLeftovers {
  std::vector<ScanArtifactFinding> findings;  // in byte order of their paths, not measured yet
  std::vector<std::string> unclaimed;         // named like leftovers, but not the running user's
};

/// Those in the folders that hold what the rules of these categories name.
SystemLeftovers leftoversBesideSystemPlaces(const RuleCatalog& catalog, TidraPlatform platform,
                                            const std::set<std::string>& categories, const TidraPathResolver& resolver);

}  // namespace tidra
