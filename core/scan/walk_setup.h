// What a walk must know before it begins: whether its root can be walked at all, and what it must not enter.
#pragma once

#include <optional>
#include <string>

#include "core/scan/artifact_scanner.h"
#include "core/scan/walk_filter.h"

namespace tidra {

/// A sentence that tells why the root gives no findings: it lies in a skipped folder, or on a pseudo file system.
std::optional<std::string> obstacleOfRoot(const FilesystemArtifactScanner::Request& request);

/// Skip list, exclusions and mounts that must not be entered, as paths below the root the way the walk spells them.
WalkFilter makeWalkFilter(const FilesystemArtifactScanner::Request& request);

}  // namespace tidra
