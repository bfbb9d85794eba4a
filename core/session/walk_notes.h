// What a walk could not read and which exclusions were idle, as notes.
#pragma once

#include <string>
#include <vector>

#include "core/scan/artifact_scanner.h"
#include "core/scan/exclusion_use.h"

namespace tidra {

/// Returns a sentence for each kind of failure; `root` is the walk's root for display.
[[nodiscard]] std::vector<std::string> notesOfUnread(const FilesystemArtifactScanner::Result& result,
                                                     const std::string& root);

/// Returns a sentence for each exclusion that kept nothing out, neither below the roots nor a root itself.
[[nodiscard]] std::vector<std::string> notesOfIdleExclusions(ExclusionUse& use, const std::vector<std::string>& roots);

}  // namespace tidra
