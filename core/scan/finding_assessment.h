// What the surroundings of a project's findings say about them, after the walk: whether they belong to an installed
// program or are a package of source, and by what it is known that a tool made them.
#pragma once

#include <functional>
#include <vector>

#include "core/model/scan_artifact_finding.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// Raises the tier of findings of the walk that nothing makes again, with the reason as their hint, and sets the
/// evidence of the others. Works with several threads. `shouldStop` is polled on the calling one; findings that were
/// not reached by then have no evidence.
void assessFindings(std::vector<ScanArtifactFinding>& findings, const TidraPathResolver& resolver,
                    const std::function<bool()>& shouldStop);

}  // namespace tidra
