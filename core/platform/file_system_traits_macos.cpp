// Compiled on Linux by scripts/check-macos; not yet run on a Mac.
#include "core/platform/file_system_traits.h"

#include <sys/mount.h>
#include <sys/param.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace tidra {

bool mayLackPermissions(int folder) {
  constexpr std::array types{std::string_view{"msdos"}, std::string_view{"exfat"},  std::string_view{"ntfs"},
                             std::string_view{"smbfs"}, std::string_view{"webdav"}, std::string_view{"macfuse"}};
  struct statfs status {};
  if (::fstatfs(folder, &status) != 0) return false;
  return std::find(types.begin(), types.end(), std::string_view(status.f_fstypename)) != types.end();
}

bool isOnOverlay(int) { return false; }

}  // namespace tidra
