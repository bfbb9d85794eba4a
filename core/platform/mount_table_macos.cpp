// Compiled on Linux by scripts/check-macos; not yet run on a Mac.
#include <sys/mount.h>
#include <sys/param.h>

#include "core/platform/mount_table.h"

namespace tidra {

std::vector<MountPoint> mountPoints() {
  struct statfs* entries = nullptr;
  const int count = ::getmntinfo(&entries, MNT_NOWAIT);
  std::vector<MountPoint> mounts;
  for (int i = 0; i < count; ++i) {
    mounts.push_back({entries[i].f_mntonname, entries[i].f_fstypename, entries[i].f_mntfromname});
  }
  return mounts;
}

}  // namespace tidra
