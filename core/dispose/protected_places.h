// Paths that are never removed.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/held_folder.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

class ProtectedPlaces {
 public:
  /// Protects the home folder and `ownFolders`, which need not exist, with all their ancestors.
  ProtectedPlaces(const TidraPathResolver& resolver, std::vector<MountPoint> mounts,
                  const std::vector<std::string>& ownFolders);

  /// Throws DisposalError for "/" and its direct children, the home folder, Tidra's own folders, all their ancestors,
  /// pseudo file systems such as proc, mount points, and folders that contain one.
  void check(const HeldEntry& entry) const;

  /// Returns why mounts keep a folder in its place, as the rest of a sentence after its path; nullopt if none does.
  static std::optional<std::string> reasonOfMount(const std::string& realPath, const std::vector<MountPoint>& mounts);

 private:
  struct Place {
    std::string path;  // symbolic links resolved as far as it exists
    std::string what;  // for display
  };

  void add(const std::string& path, const std::string& what);

  std::vector<Place> places_;
  std::vector<FileIdentity> identities_;  // of the home folder and its ancestors, to match them under any path
  std::vector<MountPoint> mounts_;
};

}  // namespace tidra
