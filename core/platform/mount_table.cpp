#include "core/platform/mount_table.h"

#include <algorithm>
#include <array>

#include "core/base/text.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr std::array pseudoTypes{
    std::string_view{"binfmt_misc"}, std::string_view{"bpf"},         std::string_view{"cgroup"},
    std::string_view{"cgroup2"},     std::string_view{"configfs"},    std::string_view{"cpuset"},
    std::string_view{"debugfs"},     std::string_view{"devfs"},       std::string_view{"devpts"},
    std::string_view{"devtmpfs"},    std::string_view{"efivarfs"},    std::string_view{"fuse.gvfsd-fuse"},
    std::string_view{"fuse.lxcfs"},  std::string_view{"fuse.portal"}, std::string_view{"fusectl"},
    std::string_view{"hugetlbfs"},   std::string_view{"mqueue"},      std::string_view{"nsfs"},
    std::string_view{"proc"},        std::string_view{"pstore"},      std::string_view{"rpc_pipefs"},
    std::string_view{"securityfs"},  std::string_view{"selinuxfs"},   std::string_view{"sysfs"},
    std::string_view{"tracefs"},
};

/// The kernel escapes blanks, tabs, line feeds and backslashes as three octal digits.
std::string unescapedMountPath(std::string_view text) {
  std::string path;
  const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && isOctal(text[i + 1]) && isOctal(text[i + 2]) &&
        isOctal(text[i + 3])) {
      path += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
      i += 3;
    } else {
      path += text[i];
    }
  }
  return path;
}

}  // namespace

const MountPoint* mountHolding(const std::vector<MountPoint>& mounts, std::string_view realPath) {
  const MountPoint* holder = nullptr;
  for (const MountPoint& mount : mounts) {
    if (!isSameOrInside(realPath, mount.path)) continue;
    // A later mount at the same path hides the earlier.
    if (holder == nullptr || mount.path.size() >= holder->path.size()) holder = &mount;
  }
  return holder;
}

bool isPseudoFileSystem(std::string_view type) {
  return std::find(pseudoTypes.begin(), pseudoTypes.end(), type) != pseudoTypes.end();
}

bool mayFreeLess(std::string_view type) {
  constexpr std::array types{
      std::string_view{"apfs"},  std::string_view{"aufs"},    std::string_view{"bcachefs"},
      std::string_view{"btrfs"}, std::string_view{"ocfs2"},   std::string_view{"fuse.fuse-overlayfs"},
      std::string_view{"xfs"},   std::string_view{"overlay"}, std::string_view{"zfs"},
  };
  return std::find(types.begin(), types.end(), type) != types.end();
}

std::vector<MountPoint> parseMountInfo(std::string_view text) {
  std::vector<MountPoint> mounts;
  for (const std::string_view line : splitNonEmpty(text, '\n')) {
    const auto separator = line.find(" - ");
    if (separator == std::string_view::npos) continue;
    const auto fields = split(line.substr(0, separator), ' ');
    const auto tail = split(line.substr(separator + 3), ' ');
    constexpr std::size_t deviceField = 2;
    constexpr std::size_t rootField = 3;
    constexpr std::size_t pathField = 4;
    if (fields.size() <= pathField || tail.empty()) continue;
    const bool redirects = tail[0] == "overlay" && tail.back().find("redirect_dir=on") != std::string_view::npos;
    mounts.push_back({unescapedMountPath(fields[pathField]), std::string(tail[0]), std::string(fields[deviceField]),
                      unescapedMountPath(fields[rootField]), redirects});
  }
  return mounts;
}

}  // namespace tidra
