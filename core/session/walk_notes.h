// What a walk could not read, as notes.
#pragma once

#include <string>
#include <vector>

#include "core/scan/artifact_scanner.h"

namespace tidra {

/// Returns a sentence for each kind of failure; `root` is the walk's root for display.
[[nodiscard]] std::vector<std::string> notesOfUnread(const FilesystemArtifactScanner::Result& result,
                                                     const std::string& root);

}  // namespace tidra
