// Figures of findings in the lower layers of overlays.
#pragma once

#include <vector>

#include "core/model/found_artifact.h"
#include "core/platform/mount_table.h"

namespace tidra {

/// Sets what removing frees to 0 for findings that come wholly from a lower layer, and the reason of the difference.
void settleLowerLayers(std::vector<FoundArtifact>& findings, const std::vector<MountPoint>& mounts);

}  // namespace tidra
