// What a walk could not read and which exclusions were idle, as notes.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "core/scan/artifact_scanner.h"
#include "core/scan/exclusion_use.h"
#include "core/scan/kept_inside.h"

namespace tidra {

/// Returns a sentence for each kind of failure; `root` is the walk's root for display.
[[nodiscard]] std::vector<std::string> notesOfUnread(const FilesystemArtifactScanner::Result& result,
                                                     const std::string& root);

/// Returns a sentence for each finding that is left out because of what it holds.
[[nodiscard]] std::vector<std::string> notesOfWithheld(const std::map<std::string, KeptInside>& withheld,
                                                       const TidraPathResolver& resolver);

/// Returns a sentence for each exclusion that kept nothing out, neither below the roots nor a root itself.
[[nodiscard]] std::vector<std::string> notesOfIdleExclusions(ExclusionUse& use, const std::vector<std::string>& roots);

}  // namespace tidra
