#include "core/platform/lower_layer.h"

#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Whether an overlay renames folders of lower layers. True if unknown.
bool mayRedirect(const MountPoint& overlay) {
  if (overlay.redirects) return true;
  const auto byDefault = readFile("/sys/module/overlay/parameters/redirect_dir");
  return !byDefault || !byDefault->starts_with('N');
}

/// Whether a folder unites several layers, or lies in a lower one, as far as its own entries show it.
bool showsLowerLayer(const HeldEntry& entry, std::optional<std::int64_t> upperBornNanos) {
  const int parent = entry.folder.descriptor.get();
  const auto own = entrySize(parent, entry.name.c_str(), upperBornNanos);
  const auto folder = openSubdirectory(parent, entry.name.c_str());
  if (!own || !folder) return false;
  if (own->isOlder) return true;
  // An overlay shows one link of a folder that unites layers; some file systems, such as btrfs, one of every folder.
  bool countsLinks = false;
  DirectoryReader reader;
  reader.start(folder->get());
  for (DirectoryEntry inner; reader.next(inner);) {
    const auto size = entrySize(folder->get(), inner.name.data(), upperBornNanos);
    if (size && size->isOlder) return true;
    countsLinks = countsLinks || (size && inner.type == EntryType::directory && size->links > 1);
  }
  return countsLinks && own->links == 1;
}

}  // namespace

// The root of an overlay comes from the upper layer, in which every file was made later, also by copying it up.
OverlayLayers::OverlayLayers(const std::vector<MountPoint>& mounts) {
  for (const MountPoint& mount : mounts) {
    // A bind mount shows a folder of the overlay as its root, which may be younger than what was moved into it.
    if (mount.fileSystem != "overlay" || mount.root != "/" || mountHolding(mounts, mount.path) != &mount) continue;
    const auto root = pathFacts(mount.path);
    if (root && root->identity.bornNanos) bornByDevice_.emplace(root->identity.device, *root->identity.bornNanos);
  }
}

std::optional<std::int64_t> OverlayLayers::upperBornNanos(std::uint64_t device) const {
  const auto overlay = bornByDevice_.find(device);
  return overlay == bornByDevice_.end() ? std::nullopt : std::optional(overlay->second);
}

// Files may show the device of their layer, folders show that of the overlay.
bool OverlayLayers::keeps(const std::string& path, const FileIdentity& entry) const {
  if (bornByDevice_.empty() || !entry.bornNanos) return false;
  const auto folder = pathFacts(parentPath(path));
  const auto upperBorn = folder ? upperBornNanos(folder->identity.device) : std::nullopt;
  return upperBorn && *entry.bornNanos < *upperBorn;
}

bool isKeptInPlace(const HeldEntry& entry, const std::vector<MountPoint>& mounts) {
  const MountPoint* mount = mountHolding(mounts, entry.path());
  if (mount == nullptr || mount->fileSystem != "overlay") return false;
  if (entry.facts.type != EntryType::directory || mayRedirect(*mount)) return false;
  return showsLowerLayer(entry, OverlayLayers(mounts).upperBornNanos(entry.facts.identity.device));
}

}  // namespace tidra
