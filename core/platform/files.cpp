#include "core/platform/files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <limits>
#include <memory>

#include "core/platform/directory_reader.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/folder_entries.h"
#include "core/platform/path_text.h"
#include "core/platform/staged_file.h"

namespace tidra {
namespace {

/// Returns the permissions of the file to be replaced, nullopt if there is none. Throws for anything but a regular file
/// (a device, a folder): a rename would destroy it.
std::optional<unsigned> permissionsOfReplaced(const std::string& target, AtLink atLink) {
  struct stat present {};
  if (::lstat(target.c_str(), &present) != 0) return std::nullopt;
  const bool isLink = S_ISLNK(present.st_mode);
  if (!S_ISREG(present.st_mode) && !(isLink && atLink == AtLink::replace)) {
    throw std::system_error(std::make_error_code(std::errc::invalid_argument), "not a regular file");
  }
  constexpr unsigned permissions = 0777;
  return present.st_mode & permissions;
}

/// Atomic, durable replacement: write a temporary file, fsync, rename, fsync the folder. `makeStaged` receives the
/// permissions of the present file, if any.
template <class MakeStaged>
void replaceDurably(const std::string& path, const std::string& target, AtLink atLink, std::string_view bytes,
                    const MakeStaged& makeStaged) {
  try {
    StagedFile file = makeStaged(permissionsOfReplaced(target, atLink));
    file.write(bytes);
    file.flush();
    file.put();
    flushFolder(folderOfFile(target));
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), fmt::format("{} cannot be written", path));
  }
}

bool makeFolder(const std::string& path, unsigned permissions) {
  if (::mkdir(path.c_str(), static_cast<mode_t>(permissions)) != 0) return false;
  // fchmod() on an O_NOFOLLOW descriptor, because chmod() by path would follow a planted symbolic link. If it cannot be
  // opened, the permissions stay those of mkdir() less the umask.
  const FileDescriptor made(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (made) ::fchmod(made.get(), static_cast<mode_t>(permissions));
  return true;
}

/// Creates a folder and its missing parents with exactly these permissions, independent of the umask.
void makeFolders(const std::string& path, unsigned permissions) {
  if (makeFolder(path, permissions)) return;
  if (errno == ENOENT && path != "/" && path != ".") {
    makeFolders(folderOfFile(path), permissions);
    if (makeFolder(path, permissions)) return;
  }
  const auto reason = lastSystemError();
  const auto present = followedEntryFacts(AT_FDCWD, path.c_str());
  if (present && present->type == EntryType::directory) return;
  throw std::system_error(reason, fmt::format("{} cannot be made", path));
}

Outcome<std::string> readAtMost(const FileDescriptor& file, std::size_t mostBytes) {
  auto bytes = readToEnd(file, mostBytes);
  if (bytes && bytes->size() > mostBytes) return std::make_error_code(std::errc::file_too_large);
  return bytes;
}

/// Opens a regular file without blocking on a FIFO, and fills in its status.
Outcome<FileDescriptor> openRegularFile(const std::string& path, struct stat& status) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file || ::fstat(file.get(), &status) != 0) return lastSystemError();
  if (!S_ISREG(status.st_mode)) return std::make_error_code(std::errc::invalid_argument);
  return file;
}

}  // namespace

Outcome<std::string> readFile(const std::string& path, std::size_t mostBytes) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return lastSystemError();
  return readAtMost(file, mostBytes);
}

Outcome<std::string> readRegularFile(const std::string& path, std::size_t mostBytes) {
  struct stat status {};
  const auto file = openRegularFile(path, status);
  if (!file) return file.failure();
  return readAtMost(*file, mostBytes);
}

std::string unreadableText(std::string_view subject, std::string_view contents, const std::string& path,
                           std::error_code failure) {
  // The error code alone is unhelpful when the path is not a regular file.
  const auto facts = followedFacts(path);
  if (facts && facts->type == EntryType::directory) {
    return fmt::format("{} is a folder; name the {} file in it.", subject, contents);
  }
  if (facts && facts->type != EntryType::regularFile) {
    return fmt::format("{} is a pipe or a device; write the {} to a file and name that.", subject, contents);
  }
  return fmt::format("{} cannot be read: {}.", subject, failure.message());
}

Outcome<SecretFile> readSecretFile(const std::string& path, std::size_t mostBytes) {
  struct stat status {};
  const auto file = openRegularFile(path, status);
  if (!file) return file.failure();
  auto bytes = readAtMost(*file, mostBytes);
  if (!bytes) return bytes.failure();
  constexpr unsigned changingOrOthers = S_IWGRP | S_IRWXO;
  const unsigned exposing = status.st_uid == 0 ? changingOrOthers : changingOrOthers | S_IRWXG;
  return SecretFile{.bytes = std::move(*bytes),
                    .isForeign = status.st_uid != 0 && status.st_uid != ::geteuid(),
                    .isExposed = (status.st_mode & exposing) != 0};
}

bool isOwnedAndPrivate(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return false;
  const bool owned = status.st_uid == ::geteuid() || status.st_uid == 0;
  return owned && (S_ISLNK(status.st_mode) || (status.st_mode & S_IWOTH) == 0);
}

void replaceFile(const std::string& path, std::string_view bytes, std::optional<unsigned> mode, AtLink atLink) {
  const std::string target = atLink == AtLink::follow ? realPathOrSame(path) : path;
  replaceDurably(path, target, atLink, bytes, [&](auto present) { return StagedFile(target, mode ? mode : present); });
}

void publishFile(const std::string& path, std::string_view bytes) {
  makeFolders(folderOfFile(path), 0755);
  replaceDurably(path, path, AtLink::replace, bytes,
                 [&](auto) { return StagedFile::named(fmt::format("{}.tmp-{}", path, ::getpid()), path, 0644); });
}

void makePrivateFolders(const std::string& path) { makeFolders(path, 0700); }

std::string setAside(const std::string& path, const std::string& suffix) {
  const auto folder = openDirectory(folderOfFile(path));
  const std::string name(lastPathComponent(path));
  for (int number = 0;; ++number) {
    const std::string added = suffix + (number == 0 ? "" : fmt::format("-{}", number));
    const auto failure = folder ? moveEntry(folder->get(), name, folder->get(), name + added) : folder.failure();
    if (!failure) return path + added;
    if (failure != std::errc::file_exists) throw std::system_error(failure, fmt::format("{} cannot be renamed", path));
  }
}

void renameOver(const std::string& from, const std::string& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) {
    throw std::system_error(lastSystemError(), fmt::format("{} cannot be renamed", from));
  }
  flushFolder(folderOfFile(to));
}

void removeFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
    throw std::system_error(lastSystemError(), fmt::format("{} cannot be removed", path));
  }
}

void flushFolder(const std::string& folder) {
  FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const auto reason = opened ? flushEntries(opened.get()) : lastSystemError();
  if (reason) throw std::system_error(reason, fmt::format("{} cannot be flushed", folder));
}

bool isExecutableFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

Outcome<std::string> realPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
  if (!resolved) return lastSystemError();
  return std::string(resolved.get());
}

std::optional<std::string> linkTarget(const std::string& path) {
  std::array<char, PATH_MAX> target;
  const auto length = ::readlink(path.c_str(), target.data(), target.size());
  if (length <= 0) return std::nullopt;
  return std::string(target.data(), static_cast<std::size_t>(length));
}

std::string realPathOrSame(const std::string& path) {
  const auto real = realPath(path);
  return real ? *real : path;
}

}  // namespace tidra
