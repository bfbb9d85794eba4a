#include "core/platform/files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <limits>
#include <memory>
#include <random>

#include "core/platform/directory_reader.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/folder_entries.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

std::string folderOf(const std::string& file) { return file.find('/') == std::string::npos ? "." : parentPath(file); }

/// Removes a temporary file unless the work with it succeeded.
class TemporaryFile {
 public:
  /// Beside `target`, with a random name. Without a mode the process's own mask decides.
  TemporaryFile(const std::string& target, std::optional<unsigned> mode) {
    const std::string folder = folderOf(target);
    std::random_device random;
    do {
      path_ = joinedPath(folder, fmt::format(".{}.{:08x}", lastPathComponent(target), random()));
    } while (!create(mode) && errno == EEXIST);
    prepare(mode);
  }
  /// With a name that is this process's own: a file or link in its place was left by a process with the same id, or
  /// planted.
  struct Named {
    std::string path;
    unsigned mode;
  };
  explicit TemporaryFile(Named named) : path_(std::move(named.path)) {
    if (!create(named.mode) && errno == EEXIST && ::unlink(path_.c_str()) == 0) create(named.mode);
    prepare(named.mode);
  }
  ~TemporaryFile() { discard(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  void write(std::string_view bytes) {
    if (const auto reason = writeDurably(file_, bytes)) fail(reason);
  }

  void renameTo(const std::string& target) {
    if (::rename(path_.c_str(), target.c_str()) != 0) fail(lastSystemError());
    kept_ = true;
  }

 private:
  bool create(std::optional<unsigned> mode) {
    file_ =
        FileDescriptor(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode ? 0600 : 0666));
    return bool(file_);
  }
  void prepare(std::optional<unsigned> mode) {
    if (!file_ || (mode && ::fchmod(file_.get(), *mode) != 0)) fail(lastSystemError());
  }
  [[noreturn]] void fail(std::error_code reason) {
    discard();
    throw std::system_error(reason);
  }
  void discard() {
    if (!kept_ && file_) ::unlink(path_.c_str());
  }

  std::string path_;
  FileDescriptor file_;
  bool kept_ = false;
};

void flushFolder(const std::string& folder) {
  FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened) throw std::system_error(lastSystemError());
  if (const auto reason = flushEntries(opened.get())) throw std::system_error(reason);
}

enum class AtLink { fail, replace };

/// The permissions of what a file is to take the place of; none when nothing is there. Anything that is no file, such
/// as a device, must not be replaced by one.
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

/// Puts a whole file at `target`; `makeTemporary` is given that and the permissions of what is there. `path` is how
/// failures name it.
template <class MakeTemporary>
void replaceDurably(const std::string& path, const std::string& target, AtLink atLink, std::string_view bytes,
                    const MakeTemporary& makeTemporary) {
  try {
    TemporaryFile temporary = makeTemporary(target, permissionsOfReplaced(target, atLink));
    temporary.write(bytes);
    temporary.renameTo(target);
    flushFolder(folderOf(target));
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), fmt::format("{} cannot be written", path));
  }
}

bool makeFolder(const std::string& path, unsigned permissions) {
  if (::mkdir(path.c_str(), static_cast<mode_t>(permissions)) != 0) return false;
  // Through a descriptor: whoever may write to the parent could have put a link there by now. Where it cannot be
  // opened, it has what the mask left.
  const FileDescriptor made(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (made) ::fchmod(made.get(), static_cast<mode_t>(permissions));
  return true;
}

/// Makes a folder and those above it that are missing, with these permissions whatever the process's mask.
void makeFolders(const std::string& path, unsigned permissions) {
  if (makeFolder(path, permissions)) return;
  if (errno == ENOENT && path != "/" && path != ".") {
    makeFolders(folderOf(path), permissions);
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

/// Opens a regular file without waiting for whoever is at the other end of a pipe, and tells its facts.
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

void replaceFile(const std::string& path, std::string_view bytes, std::optional<unsigned> mode) {
  const auto real = realPath(path);
  replaceDurably(path, real ? *real : path, AtLink::fail, bytes,
                 [&](const std::string& target, auto present) { return TemporaryFile(target, mode ? mode : present); });
}

void replaceEntry(const std::string& path, std::string_view bytes, unsigned mode) {
  replaceDurably(path, path, AtLink::replace, bytes,
                 [&](const std::string& target, auto) { return TemporaryFile(target, mode); });
}

void publishFile(const std::string& path, std::string_view bytes) {
  makeFolders(folderOf(path), 0755);
  replaceDurably(path, path, AtLink::replace, bytes, [](const std::string& target, auto) {
    return TemporaryFile(TemporaryFile::Named{fmt::format("{}.tmp-{}", target, ::getpid()), 0644});
  });
}

void makePrivateFolders(const std::string& path) { makeFolders(path, 0700); }

std::string setAside(const std::string& path, const std::string& suffix) {
  for (int number = 0;; ++number) {
    const std::string target = path + suffix + (number == 0 ? "" : fmt::format("-{}", number));
    // A hard link is refused where the name is taken, unlike a renaming.
    if (::link(path.c_str(), target.c_str()) == 0) {
      ::unlink(path.c_str());
      return target;
    }
    if (errno != EEXIST) throw std::system_error(lastSystemError(), fmt::format("{} cannot be renamed", path));
  }
}

void removeFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
    throw std::system_error(lastSystemError(), fmt::format("{} cannot be removed", path));
  }
}

void flushFolderOf(const std::string& path) {
  try {
    flushFolder(folderOf(path));
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), fmt::format("the folder of {} cannot be flushed", path));
  }
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

}  // namespace tidra
