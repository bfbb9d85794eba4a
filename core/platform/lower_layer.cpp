#include "core/platform/lower_layer.h"

#include "core/platform/files.h"

namespace tidra {

// An overlay shows the birth time of the file in the layer that it takes it from. Its root comes from the upper layer,
// in which every file was made later, also by copying it up. A change in a folder copies up that folder and all above
// it.
bool liesInLowerLayer(std::string_view realPath, const FileIdentity& identity, const std::vector<MountPoint>& mounts) {
  const MountPoint* mount = mountHolding(mounts, realPath);
  if (mount == nullptr || mount->fileSystem != "overlay" || !identity.bornNanos) return false;
  // A bind mount shows a folder of the overlay as its root, which may be younger than what was moved into it.
  if (mount->root != "/") return false;
  const auto root = pathFacts(mount->path);
  return root && root->identity.bornNanos && *identity.bornNanos < *root->identity.bornNanos;
}

bool keepsFoldersInPlace(std::string_view realPath, const std::vector<MountPoint>& mounts) {
  const MountPoint* mount = mountHolding(mounts, realPath);
  if (mount == nullptr || mount->fileSystem != "overlay" || mount->redirects) return false;
  const auto redirectsByDefault = readFile("/sys/module/overlay/parameters/redirect_dir");
  return redirectsByDefault && redirectsByDefault->starts_with('N');
}

}  // namespace tidra
