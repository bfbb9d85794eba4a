// Other paths of one file: bind mounts show a folder at several places, and in other mount namespaces (containers,
// sandboxes) it may be at another one.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "core/platform/mount_table.h"

namespace tidra {

class MountAliases {
 public:
  MountAliases() = default;

  /// For paths in the namespace of `theirs`. Bounded to 20,000 pairs of mounts; the rest is missing.
  MountAliases(const std::vector<MountPoint>& theirs, const std::vector<MountPoint>& ours);

  /// Returns the other paths of a file in the namespace of `ours`, also those that a later mount hides. Does not touch
  /// the disk; `path` must be standardised.
  std::vector<std::string> of(const std::string& path) const;

 private:
  std::multimap<std::string, std::string, std::less<>> moved_;  // folder in their namespace to the same folder in ours
};

}  // namespace tidra
