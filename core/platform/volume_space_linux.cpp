#include <sys/statvfs.h>

#include "core/platform/volume_space.h"

namespace tidra {

std::optional<TidraVolumeSpaceReader::Space> TidraVolumeSpaceReader::read(const std::string& path) {
  struct statvfs volume {};
  if (::statvfs(path.c_str(), &volume) != 0) return std::nullopt;
  const auto fragment = static_cast<std::int64_t>(volume.f_frsize);
  return choose({.total = static_cast<std::int64_t>(volume.f_blocks) * fragment,
                 .availableForImportantUsage = std::nullopt,
                 .available = static_cast<std::int64_t>(volume.f_bavail) * fragment});
}

}  // namespace tidra
