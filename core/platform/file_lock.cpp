#include "core/platform/file_lock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>

#include "core/base/errors.h"

namespace tidra {
namespace {

FileDescriptor openLockFile(const std::string& path) {
  return FileDescriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
}

bool lockFile(const FileDescriptor& file, int how) {
  while (::flock(file.get(), how) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

[[noreturn]] void fail(const std::string& path) {
  throw std::system_error(lastSystemError(), fmt::format("{} cannot be locked", path));
}

}  // namespace

FileLock::FileLock(const std::string& path) : file_(openLockFile(path)) {
  if (!file_ || !lockFile(file_, LOCK_EX)) fail(path);
}

std::optional<FileLock> FileLock::tryTake(const std::string& path) {
  FileDescriptor file = openLockFile(path);
  if (!file) fail(path);
  if (lockFile(file, LOCK_EX | LOCK_NB)) return FileLock(std::move(file));
  if (errno != EWOULDBLOCK) fail(path);
  return std::nullopt;
}

bool FileLock::isHeld(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  // A shared lock does not get in the way of others who ask.
  return file && !lockFile(file, LOCK_SH | LOCK_NB) && errno == EWOULDBLOCK;
}

}  // namespace tidra
