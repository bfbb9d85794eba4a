// Lower layers of overlays, such as those of a container's image: they keep what is removed from the overlay.
#pragma once

#include <string_view>
#include <vector>

#include "core/platform/directory_reader.h"
#include "core/platform/mount_table.h"

namespace tidra {

/// Whether what lies at a real path comes wholly from lower layers: it is older than the upper layer, in which any
/// change to it or in it would have made a newer one. False if unknown.
[[nodiscard]] bool liesInLowerLayer(std::string_view realPath, const FileIdentity& identity,
                                    const std::vector<MountPoint>& mounts);

/// Whether a folder of which that holds cannot be renamed. False if unknown.
[[nodiscard]] bool keepsFoldersInPlace(std::string_view realPath, const std::vector<MountPoint>& mounts);

}  // namespace tidra
