// What is never removed, whoever asks.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/platform/held_folder.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

class ProtectedPlaces {
 public:
  /// The home folder and Tidra's own folders, with everything that holds them. `ownFolders` need not exist.
  ProtectedPlaces(const TidraPathResolver& resolver, std::vector<MountPoint> mounts,
                  const std::vector<std::string>& ownFolders);

  /// Throws DisposalError for "/" and the folders directly in it, the home folder, Tidra's own folders, whatever holds
  /// one of these, what lies on a file system of the kernel's such as proc, a mount point, and a folder in which
  /// something is mounted.
  void check(const HeldEntry& entry) const;

 private:
  struct Place {
    std::string path;  // without links as far as it exists
    std::string what;  // for people
  };

  void add(const std::string& path, const std::string& what);
  std::string_view fileSystemOf(const std::string& path) const;

  std::vector<Place> places_;
  std::vector<FileIdentity> identities_;  // of the home folder and what holds it, by whatever path they are reached
  std::vector<MountPoint> mounts_;
};

}  // namespace tidra
