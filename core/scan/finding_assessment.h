// Assesses findings of the walk by their surroundings: do they belong to an installed program, are they source
// packages, what shows that a tool generated them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/model/found_artifact.h"
#include "core/platform/path_resolver.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

/// Chooses the restore hint of each finding among those of its rule. Raises the tier of findings that cannot be
/// recreated, with the reason as restore hint, and sets the evidence of the others. Uses several threads; polls
/// `shouldStop` on the calling one. Findings not reached by then have no evidence. Returns notes on what was not read.
[[nodiscard]] std::vector<std::string> assessFindings(std::vector<FoundArtifact>& findings, const RuleCatalog& catalog,
                                                      TidraPlatform platform, const TidraPathResolver& resolver,
                                                      const std::function<bool()>& shouldStop);

}  // namespace tidra
