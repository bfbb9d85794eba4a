// Preparation of a walk: can its root be walked, and what must it not enter.
#pragma once

#include <optional>
#include <string>

#include "core/scan/artifact_scanner.h"
#include "core/scan/walk_filter.h"

namespace tidra {

/// Returns a sentence on why the root yields no findings (a skipped folder, a pseudo file system…); nullopt otherwise.
std::optional<std::string> obstacleOfRoot(const FilesystemArtifactScanner::Request& request);

/// Whether the root is itself what a project's tool made, as a whole: a dependency folder, or what has an artefact's
/// name and evidence.
bool isWholeArtefact(const FilesystemArtifactScanner::Request& request);

/// Returns skip list, exclusions and barred mounts as paths below the root in the walk's spelling.
WalkFilter makeWalkFilter(const FilesystemArtifactScanner::Request& request);

}  // namespace tidra
