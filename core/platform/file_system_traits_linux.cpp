#include "core/platform/file_system_traits.h"

#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

namespace tidra {
namespace {

// The kernel's magic numbers; headers of older systems lack some of them.
constexpr std::uint32_t overlayMagic = 0x794c7630;
constexpr std::array<std::uint32_t, 11> sharedModeMagics{
    0x4d44,      // msdos, vfat
    0x2011bab0,  // exfat
    0x5346544e,  // ntfs
    0x7366746e,  // ntfs3
    0x65735546,  // fuse: ntfs-3g, exfat-fuse and many others
    0x01021997,  // 9p: shares of virtual machines
    0x517b,      // smb
    0xff534d42,  // cifs
    0xfe534d42,  // smb2 and later
    0x786f4256,  // vboxsf
    0x4244,      // hfs
};

std::optional<std::uint32_t> magicOf(int folder) {
  struct statfs status {};
  if (::fstatfs(folder, &status) != 0) return std::nullopt;
  return static_cast<std::uint32_t>(status.f_type);
}

}  // namespace

bool mayLackPermissions(int folder) {
  const auto magic = magicOf(folder);
  return magic && std::find(sharedModeMagics.begin(), sharedModeMagics.end(), *magic) != sharedModeMagics.end();
}

bool isOnOverlay(int folder) { return magicOf(folder) == overlayMagic; }

}  // namespace tidra
