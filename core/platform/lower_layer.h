// Lower layers of overlays, such as those of a container's image: they keep what is removed from the overlay.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/held_folder.h"
#include "core/platform/mount_table.h"

namespace tidra {

/// When the upper layers of the mounted overlays were made. An entry older than the upper layer lies in a lower one: a
/// change to it, or in it if it is a folder, would have caused a copy-up, which sets a new birth time. A lower layer
/// that is younger than the upper one, as over a folder in use, is not recognised: figures of overlays are upper
/// bounds.
class OverlayLayers {
 public:
  OverlayLayers() = default;
  explicit OverlayLayers(const std::vector<MountPoint>& mounts);

  /// Returns the birth time of the upper layer, in ns since 1970. Absent for other file systems, and where unknown.
  std::optional<std::int64_t> upperBornNanos(std::uint64_t device) const;

  /// Whether the entry at a path, which has this identity, lies in a lower layer. False if unknown.
  bool keeps(const std::string& path, const FileIdentity& entry) const;

 private:
  std::map<std::uint64_t, std::int64_t> bornByDevice_;
};

/// Whether its overlay cannot rename a folder, because the folder, or a part of it, comes from a lower layer. False if
/// unknown.
[[nodiscard]] bool isKeptInPlace(const HeldEntry& entry, const std::vector<MountPoint>& mounts);

}  // namespace tidra
