// Compiled on Linux by scripts/check-macos; not yet run on a Mac.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "core/platform/directory_reader.h"

namespace tidra {
namespace {

constexpr std::int64_t nanosPerSecond = 1'000'000'000;
constexpr std::uint64_t bytesPerBlock = 512;  // of st_blocks

EntryType typeOfMode(unsigned mode) {
  if (S_ISDIR(mode)) return EntryType::directory;
  if (S_ISREG(mode)) return EntryType::regularFile;
  return S_ISLNK(mode) ? EntryType::symbolicLink : EntryType::other;
}

std::int64_t birthOf(const struct stat& status) {
  return status.st_birthtimespec.tv_sec * nanosPerSecond + status.st_birthtimespec.tv_nsec;
}

EntryFacts factsOf(const struct stat& status) {
  return EntryFacts{.type = typeOfMode(status.st_mode),
                    .sizeBytes = static_cast<std::uint64_t>(status.st_size),
                    .modified = timePointAt(status.st_mtimespec.tv_sec),
                    .changed = timePointAt(status.st_ctimespec.tv_sec),
                    .identity = {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino),
                                 birthOf(status)},
                    .mount = 0,
                    .owner = status.st_uid,
                    .permissions = status.st_mode & 07777U,
                    .group = status.st_gid};
}

Outcome<EntryFacts> factsWithFlags(int parent, const char* name, int flags) {
  struct stat status {};
  if (::fstatat(parent, name, &status, flags) != 0) return lastSystemError();
  return factsOf(status);
}

}  // namespace

Outcome<EntrySize> entrySize(int parent, const char* name, std::optional<std::int64_t> bornLimit) {
  struct stat status {};
  if (::fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return lastSystemError();
  return EntrySize{.bytes = static_cast<std::uint64_t>(status.st_size),
                   .allocated = static_cast<std::uint64_t>(status.st_blocks) * bytesPerBlock,
                   .device = static_cast<std::uint64_t>(status.st_dev),
                   .inode = static_cast<std::uint64_t>(status.st_ino),
                   .links = status.st_nlink,
                   .owner = status.st_uid,
                   .isOlder = bornLimit && birthOf(status) < *bornLimit};
}

std::uint64_t allocatedBy(int folder) {
  struct stat status {};
  return ::fstat(folder, &status) == 0 ? static_cast<std::uint64_t>(status.st_blocks) * bytesPerBlock : 0;
}

Outcome<std::int64_t> changedNanos(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return lastSystemError();
  return status.st_ctimespec.tv_sec * nanosPerSecond + status.st_ctimespec.tv_nsec;
}

bool mayHaveAccessList(const std::string&) { return true; }

bool isStillSame(int, const FileIdentity& now, const FileIdentity& seen) { return now == seen; }

Outcome<EntryFacts> entryFacts(int parent, const char* name) {
  return factsWithFlags(parent, name, AT_SYMLINK_NOFOLLOW);
}

Outcome<EntryFacts> followedEntryFacts(int parent, const char* name) { return factsWithFlags(parent, name, 0); }

Outcome<EntryFacts> descriptorFacts(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return lastSystemError();
  return factsOf(status);
}

struct DirectoryReader::State {
  DIR* stream = nullptr;
  int descriptor = -1;
  std::error_code failure;

  ~State() { close(); }
  void close() {
    if (stream != nullptr) ::closedir(stream);
    stream = nullptr;
  }
};

DirectoryReader::DirectoryReader() : state_(std::make_unique<State>()) {}
DirectoryReader::~DirectoryReader() = default;
DirectoryReader::DirectoryReader(DirectoryReader&&) noexcept = default;

void DirectoryReader::start(int descriptor) {
  state_->close();
  state_->failure = {};
  state_->descriptor = descriptor;
  const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  state_->stream = copy < 0 ? nullptr : ::fdopendir(copy);
  if (state_->stream == nullptr) {
    state_->failure = lastSystemError();
    if (copy >= 0) ::close(copy);
  } else {
    ::rewinddir(state_->stream);
  }
}

void DirectoryReader::startOver(int descriptor) { start(descriptor); }

bool DirectoryReader::next(DirectoryEntry& entry) {
  while (state_->stream != nullptr) {
    errno = 0;
    const dirent* raw = ::readdir(state_->stream);
    if (raw == nullptr) {
      if (errno != 0) state_->failure = lastSystemError();
      return false;
    }
    entry.name = {raw->d_name, raw->d_namlen};
    if (entry.name == "." || entry.name == "..") continue;
    switch (raw->d_type) {
      case DT_DIR:
        entry.type = EntryType::directory;
        break;
      case DT_REG:
        entry.type = EntryType::regularFile;
        break;
      case DT_LNK:
        entry.type = EntryType::symbolicLink;
        break;
      case DT_UNKNOWN: {
        const auto facts = entryFacts(state_->descriptor, raw->d_name);
        entry.type = facts ? facts->type : EntryType::other;
        break;
      }
      default:
        entry.type = EntryType::other;
    }
    return true;
  }
  return false;
}

std::error_code DirectoryReader::failure() const { return state_->failure; }

}  // namespace tidra
