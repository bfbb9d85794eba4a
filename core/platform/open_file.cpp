#include "core/platform/open_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace tidra {
namespace {

/// Never follows a symbolic link, blocks on a FIFO or acquires a controlling terminal.
constexpr int careful = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

int flagsFor(FileAccess access) {
  switch (access) {
    case FileAccess::read:
      return O_RDONLY;
    case FileAccess::append:
      return O_WRONLY | O_APPEND;
    case FileAccess::replace:
      return O_RDWR;
  }
  return O_RDONLY;
}

}  // namespace

Outcome<OpenFile> openFile(const std::string& path, FileAccess access) {
  FileDescriptor file(::open(path.c_str(), flagsFor(access) | careful));
  if (!file) return lastSystemError();
  const auto facts = descriptorFacts(file.get());
  if (!facts) return facts.failure();
  if (facts->type != EntryType::regularFile) return std::make_error_code(std::errc::invalid_argument);
  return OpenFile{std::move(file), *facts};
}

Outcome<GrowingFile> openGrowingFile(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), flagsFor(FileAccess::append) | careful));
  const off_t end = file ? ::lseek(file.get(), 0, SEEK_END) : -1;
  if (end < 0) return lastSystemError();
  return GrowingFile{std::move(file), static_cast<std::uint64_t>(end)};
}

Outcome<FileDescriptor> makeFile(const std::string& path) {
  constexpr mode_t ownerOnly = 0600;
  FileDescriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownerOnly));
  if (!file || ::fchmod(file.get(), ownerOnly) != 0) return lastSystemError();
  return file;
}

Outcome<std::size_t> readAt(const FileDescriptor& file, std::uint64_t offset, char* buffer, std::size_t size) {
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t got = ::pread(file.get(), buffer + filled, size - filled, static_cast<off_t>(offset + filled));
    if (got == 0) break;
    if (got < 0 && errno != EINTR) return lastSystemError();
    if (got > 0) filled += static_cast<std::size_t>(got);
  }
  return filled;
}

std::error_code writeAll(const FileDescriptor& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return lastSystemError();
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

std::error_code appendWhole(const FileDescriptor& file, std::string_view bytes, std::uint64_t formerSize) {
  const auto failure = writeAll(file, bytes);
  if (failure) [[maybe_unused]]
    const int cut = ::ftruncate(file.get(), static_cast<off_t>(formerSize));
  return failure;
}

std::error_code reserveBehind([[maybe_unused]] const FileDescriptor& file, [[maybe_unused]] std::uint64_t sizeBytes,
                              [[maybe_unused]] std::uint64_t bytes) {
#ifdef __linux__
  int result = 0;
  do {
    result = ::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, static_cast<off_t>(sizeBytes), static_cast<off_t>(bytes));
  } while (result != 0 && errno == EINTR);
  if (result != 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG || errno == EIO)) return lastSystemError();
#endif
  return {};
}

std::error_code replaceTail(const FileDescriptor& file, std::uint64_t offset, std::string_view bytes) {
  const off_t end = static_cast<off_t>(offset + bytes.size());
  if (::lseek(file.get(), static_cast<off_t>(offset), SEEK_SET) < 0) return lastSystemError();
  if (const auto failure = writeAll(file, bytes)) return failure;
  if (::ftruncate(file.get(), end) != 0) return lastSystemError();
  return flushFile(file);
}

std::error_code flushFile(const FileDescriptor& file) {
  return ::fsync(file.get()) == 0 ? std::error_code{} : lastSystemError();
}

Outcome<bool> removeIfSame(const std::string& path, const FileDescriptor& file) {
  // flock() serialises concurrent removers, and the open descriptor keeps the inode number from being reused. On file
  // systems without flock() only the comparison right before unlink() remains.
  while (::flock(file.get(), LOCK_EX) != 0 && errno == EINTR) {
  }
  struct stat opened {};
  struct stat present {};
  if (::fstat(file.get(), &opened) != 0) return lastSystemError();
  if (::lstat(path.c_str(), &present) != 0) return errno == ENOENT ? Outcome<bool>(false) : lastSystemError();
  if (opened.st_dev != present.st_dev || opened.st_ino != present.st_ino) return false;
  if (::unlink(path.c_str()) != 0) return lastSystemError();
  return true;
}

}  // namespace tidra
