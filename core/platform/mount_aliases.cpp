#include "core/platform/mount_aliases.h"

#include <string_view>
#include <utility>

#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Replaces `from` at the beginning of `path` by `to`.
std::string rebased(std::string_view path, std::string_view from, const std::string& to) {
  const std::string_view below = pathBelow(path, from);
  return below.empty() ? to : joinedPath(to, below);
}

}  // namespace

MountAliases::MountAliases(const std::vector<MountPoint>& theirs, const std::vector<MountPoint>& ours) {
  constexpr std::size_t mostPairs = 20'000;
  std::multimap<std::string_view, const MountPoint*> byDevice;
  for (const MountPoint& mount : ours) {
    if (!mount.root.empty() && !isPseudoFileSystem(mount.fileSystem)) byDevice.emplace(mount.device, &mount);
  }
  for (const MountPoint& their : theirs) {
    const auto [first, last] = byDevice.equal_range(their.device);
    for (auto entry = first; entry != last && moved_.size() < mostPairs; ++entry) {
      const MountPoint& our = *entry->second;
      std::string from = their.path;
      std::string to = our.path;
      if (isSameOrInside(their.root, our.root)) {
        to = rebased(their.root, our.root, to);
      } else if (isSameOrInside(our.root, their.root)) {
        from = rebased(our.root, their.root, from);
      } else {
        continue;
      }
      if (from != to) moved_.emplace(std::move(from), std::move(to));
    }
  }
}

std::vector<std::string> MountAliases::of(const std::string& path) const {
  std::vector<std::string> paths;
  if (moved_.empty()) return paths;
  for (std::string folder = path;; folder = parentPath(folder)) {
    const auto [first, last] = moved_.equal_range(folder);
    for (auto entry = first; entry != last; ++entry) paths.push_back(rebased(path, folder, entry->second));
    if (folder == "/") return paths;
  }
}

}  // namespace tidra
