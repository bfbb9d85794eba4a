#include "core/platform/files.h"
#include "core/platform/mount_table.h"

namespace tidra {

std::vector<MountPoint> mountPoints() {
  const auto text = readFile("/proc/self/mountinfo");
  return text ? parseMountInfo(*text) : std::vector<MountPoint>{};
}

}  // namespace tidra
