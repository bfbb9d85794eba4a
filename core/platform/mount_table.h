// The mounted file systems, so that a walk knows without asking the kernel about each folder where another one begins.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tidra {

struct MountPoint {
  std::string path;        // absolute, without links
  std::string fileSystem;  // type as the kernel names it, such as "ext4" or "proc"
  std::string device;      // equal for two mounts of one volume

  bool operator==(const MountPoint&) const = default;
};

/// The mounts of this process's view, in the order in which they were made; a later one at the same path covers the
/// earlier. Empty when the table cannot be read.
std::vector<MountPoint> mountPoints();

/// The kernel's mountinfo text as mounts. Lines of another shape are passed over.
std::vector<MountPoint> parseMountInfo(std::string_view text);

/// True for file systems that hold no files of anyone but the kernel: proc, sysfs, cgroup and their like.
bool isPseudoFileSystem(std::string_view type);

}  // namespace tidra
