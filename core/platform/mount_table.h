// The mounted file systems, so that a walk detects mount boundaries without a system call per folder.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tidra {

struct MountPoint {
  std::string path;        // absolute, symbolic links resolved
  std::string fileSystem;  // as the kernel names it, such as "ext4" or "proc"
  std::string device;      // equal for two mounts of one volume
  std::string root = {};   // folder of the volume that is mounted, "/" for all of it; empty on macOS
  bool redirects = false;  // an overlay with the option to rename folders of lower layers

  bool operator==(const MountPoint&) const = default;
};

/// Returns the mounts of this process's namespace in mount order; a later one at the same path hides the earlier. Empty
/// if the table cannot be read.
std::vector<MountPoint> mountPoints();

/// Parses /proc/self/mountinfo. Skips malformed lines.
std::vector<MountPoint> parseMountInfo(std::string_view text);

/// Returns the mount that contains a path, whose symbolic links must be resolved; null if unknown.
const MountPoint* mountHolding(const std::vector<MountPoint>& mounts, std::string_view realPath);

/// Whether a file system holds only kernel objects: proc, sysfs, cgroup and their like.
bool isPseudoFileSystem(std::string_view type);

/// Whether removing a file may free less than it occupies: files of the file system share extents (copies, snapshots),
/// or may lie in a lower layer that keeps them.
bool mayFreeLess(std::string_view type);

}  // namespace tidra
