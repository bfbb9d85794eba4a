// O_PATH opens any entry, symbolic links included, without read permission.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <climits>

#include "core/platform/held_folder.h"

namespace tidra {

Outcome<PathComponent> openPathComponent(int parent, const std::string& name) {
  FileDescriptor opened(::openat(parent, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  if (!opened || ::fstat(opened.get(), &status) != 0) return lastSystemError();
  if (S_ISDIR(status.st_mode)) return PathComponent{std::move(opened), {}, 0};
  if (!S_ISLNK(status.st_mode)) return std::make_error_code(std::errc::not_a_directory);
  std::array<char, PATH_MAX> target;
  const auto length = ::readlinkat(opened.get(), "", target.data(), target.size());
  if (length < 0) return lastSystemError();
  return PathComponent{{}, std::string(target.data(), static_cast<std::size_t>(length)), status.st_uid};
}

}  // namespace tidra
