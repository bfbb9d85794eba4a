// Compiled on Linux by scripts/check-macos; not yet run on a Mac.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <climits>

#include "core/platform/held_folder.h"

namespace tidra {

Outcome<PathComponent> openPathComponent(int parent, const std::string& name) {
  FileDescriptor opened(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (opened) return PathComponent{std::move(opened), {}, 0};
  const auto reason = lastSystemError();
  // macOS has no atomic read of a link with its owner: compare status before and after readlinkat().
  struct stat before {};
  struct stat after {};
  std::array<char, PATH_MAX> target;
  if (::fstatat(parent, name.c_str(), &before, AT_SYMLINK_NOFOLLOW) != 0) return lastSystemError();
  if (!S_ISLNK(before.st_mode)) return reason;
  const auto length = ::readlinkat(parent, name.c_str(), target.data(), target.size());
  if (length < 0 || ::fstatat(parent, name.c_str(), &after, AT_SYMLINK_NOFOLLOW) != 0) return lastSystemError();
  const bool same = before.st_ino == after.st_ino && before.st_uid == after.st_uid &&
                    before.st_ctimespec.tv_sec == after.st_ctimespec.tv_sec &&
                    before.st_ctimespec.tv_nsec == after.st_ctimespec.tv_nsec;
  if (!same) return std::make_error_code(std::errc::resource_unavailable_try_again);
  return PathComponent{{}, std::string(target.data(), static_cast<std::size_t>(length)), before.st_uid};
}

}  // namespace tidra
