#include "core/platform/file_lock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>

#include "core/base/errors.h"

namespace tidra {

FileLock::FileLock(const std::string& path)
    : file_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600)) {
  bool locked = static_cast<bool>(file_);
  while (locked && ::flock(file_.get(), LOCK_EX) != 0) locked = errno == EINTR;
  if (!locked) throw std::system_error(lastSystemError(), fmt::format("{} cannot be locked", path));
}

}  // namespace tidra
