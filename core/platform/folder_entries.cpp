#include "core/platform/folder_entries.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "core/base/byte_units.h"
#include "core/platform/directory_reader.h"
#include "core/platform/open_file.h"

namespace tidra {
namespace {

int renameWithoutReplacing(int fromFolder, const char* from, int toFolder, const char* to) {
#ifdef __APPLE__
  return ::renameatx_np(fromFolder, from, toFolder, to, RENAME_EXCL);
#else
  return ::renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE);
#endif
}

/// How file systems refuse calls and flags that they do not have.
bool isUnsupported(std::error_code reason) {
  return reason == std::errc::invalid_argument || reason == std::errc::function_not_supported ||
         reason == std::errc::not_supported;
}

/// Fallback for file systems without RENAME_NOREPLACE. Not atomic for folders, but rename() replaces at most an empty
/// folder; for files link() fails if the name is taken, except where there are no hard links (FAT, exFAT).
[[nodiscard]] std::error_code moveInTwoSteps(int fromFolder, const char* from, int toFolder, const char* to) {
  const auto moved = entryFacts(fromFolder, from);
  if (!moved) return moved.failure();
  if (entryFacts(toFolder, to)) return std::make_error_code(std::errc::file_exists);
  if (moved->type == EntryType::directory) return errorOf(::renameat(fromFolder, from, toFolder, to));
  if (::linkat(fromFolder, from, toFolder, to, 0) == 0) return errorOf(::unlinkat(fromFolder, from, 0));
  const auto reason = lastSystemError();
  const bool hasNoLinks = reason == std::errc::operation_not_permitted || isUnsupported(reason);
  return hasNoLinks ? errorOf(::renameat(fromFolder, from, toFolder, to)) : reason;
}

/// Changes permissions through an O_PATH descriptor, which fchmod() refuses.
[[nodiscard]] std::error_code changePermissions(int held, unsigned permissions) {
#ifdef __APPLE__
  return errorOf(::fchmod(held, static_cast<mode_t>(permissions)));
#else
  return errorOf(::chmod(fmt::format("/proc/self/fd/{}", held).c_str(), permissions));
#endif
}

FileDescriptor openForNaming(int folder, const char* name) {
#ifdef __APPLE__
  return FileDescriptor(::openat(folder, name, O_SYMLINK | O_EVTONLY | O_CLOEXEC));
#else
  return FileDescriptor(::openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
#endif
}

}  // namespace

std::error_code moveEntry(int fromFolder, const std::string& from, int toFolder, const std::string& to) {
  if (renameWithoutReplacing(fromFolder, from.c_str(), toFolder, to.c_str()) == 0) return {};
  const auto reason = lastSystemError();
  return isUnsupported(reason) ? moveInTwoSteps(fromFolder, from.c_str(), toFolder, to.c_str()) : reason;
}

std::error_code removeFileEntry(int folder, const char* name) { return errorOf(::unlinkat(folder, name, 0)); }

std::error_code removeFolderEntry(int folder, const char* name) {
  const auto reason = errorOf(::unlinkat(folder, name, AT_REMOVEDIR));
  // POSIX allows EEXIST for a folder that is not empty.
  return reason == std::errc::file_exists ? std::make_error_code(std::errc::directory_not_empty) : reason;
}

std::error_code makeFolderEntry(int folder, const char* name, unsigned permissions) {
  return errorOf(::mkdirat(folder, name, static_cast<mode_t>(permissions)));
}

Outcome<FileDescriptor> makeFileEntry(int folder, const char* name) {
  FileDescriptor file(::openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return lastSystemError();
  return file;
}

std::error_code makeLinkEntry(int folder, const char* name, const std::string& target) {
  return errorOf(::symlinkat(target.c_str(), folder, name));
}

Outcome<std::string> readFileEntry(int folder, const char* name, std::size_t mostBytes) {
  FileDescriptor file(::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file) return lastSystemError();
  const auto facts = descriptorFacts(file.get());
  if (!facts) return facts.failure();
  if (facts->type != EntryType::regularFile) return std::make_error_code(std::errc::invalid_argument);
  auto bytes = readToEnd(file, mostBytes);
  if (bytes && bytes->size() > mostBytes) return std::make_error_code(std::errc::file_too_large);
  return bytes;
}

Outcome<std::string> readToEnd(const FileDescriptor& file, std::size_t mostBytes) {
  std::string bytes;
  constexpr std::size_t chunk = 64_KiB;
  for (;;) {
    const std::size_t size = bytes.size();
    bytes.resize(size + chunk);
    const auto count = ::read(file.get(), bytes.data() + size, chunk);
    if (count < 0 && errno != EINTR) return lastSystemError();
    bytes.resize(size + static_cast<std::size_t>(count > 0 ? count : 0));
    if (count == 0 || bytes.size() > mostBytes) return bytes;
  }
}

std::error_code writeDurably(const FileDescriptor& file, std::string_view bytes) {
  const auto failure = writeAll(file, bytes);
  return failure ? failure : flushFile(file);
}

std::error_code flushEntries(int folder) {
  // `folder` may be an O_PATH descriptor, which fsync() refuses.
  const FileDescriptor readable(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!readable) return lastSystemError();
  // File systems that cannot fsync a folder return EINVAL.
  return ::fsync(readable.get()) == 0 || errno == EINVAL ? std::error_code{} : lastSystemError();
}

std::error_code grantOwnerAccess(int folder, const char* name) {
  FileDescriptor opened;
  if (*name != '\0') {
    opened = openForNaming(folder, name);
    if (!opened) return lastSystemError();
  }
  const int held = opened ? opened.get() : folder;
  const auto facts = descriptorFacts(held);
  if (!facts) return facts.failure();
  if (facts->type != EntryType::directory || facts->owner != ::geteuid()) {
    return std::make_error_code(std::errc::operation_not_permitted);
  }
  return changePermissions(held, facts->permissions | S_IRWXU);
}

std::error_code reasonEntriesStay(int folder) { return errorOf(::faccessat(folder, ".", W_OK | X_OK, AT_EACCESS)); }

std::error_code setPermissions(int folder, unsigned permissions) { return changePermissions(folder, permissions); }

KeptFolderDate::KeptFolderDate(int folder) : folder_(folder) {
  struct stat facts {};
  if (::fstat(folder, &facts) != 0) return;
#ifdef __APPLE__
  modifiedAt_ = facts.st_mtimespec;
#else
  modifiedAt_ = facts.st_mtim;
#endif
}

KeptFolderDate::~KeptFolderDate() {
  if (!modifiedAt_) return;
  const timespec times[] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, *modifiedAt_};
#ifdef __APPLE__
  static_cast<void>(::futimens(folder_, times));
#else
  // futimens refuses an O_PATH descriptor.
  static_cast<void>(::utimensat(AT_FDCWD, fmt::format("/proc/self/fd/{}", folder_).c_str(), times, 0));
#endif
}

}  // namespace tidra
