// Calls getdents64 and statx directly: one large batch of names per call, and only the needed attributes.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "core/base/byte_units.h"
#include "core/platform/directory_reader.h"
#include "core/platform/file_system_traits.h"

namespace tidra {
namespace {

constexpr std::size_t bufferBytes = 64_KiB;
constexpr std::int64_t nanosPerSecond = 1'000'000'000;
constexpr std::uint64_t bytesPerBlock = 512;  // unit of st_blocks, independent of the file system's block size
#ifdef STATX_MNT_ID
constexpr unsigned mountMask = STATX_MNT_ID;
#else
constexpr unsigned mountMask = 0;
#endif
constexpr unsigned factsMask =
    STATX_TYPE | STATX_MODE | STATX_UID | STATX_GID | STATX_SIZE | STATX_MTIME | STATX_INO | STATX_BTIME | mountMask;

/// The kernel's struct linux_dirent64.
struct RawEntry {
  std::uint64_t inode;
  std::int64_t offset;
  unsigned short length;
  unsigned char type;
  char name[1];
};

EntryType typeOfMode(unsigned mode) {
  if (S_ISDIR(mode)) return EntryType::directory;
  if (S_ISREG(mode)) return EntryType::regularFile;
  return S_ISLNK(mode) ? EntryType::symbolicLink : EntryType::other;
}

EntryType typeOfListing(unsigned char type) {
  switch (type) {
    case DT_DIR:
      return EntryType::directory;
    case DT_REG:
      return EntryType::regularFile;
    case DT_LNK:
      return EntryType::symbolicLink;
    default:
      return EntryType::other;
  }
}

bool isDotOrDotDot(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

/// Older kernels and headers lack STATX_MNT_ID.
std::uint64_t mountOf(const struct statx& status) {
#ifdef STATX_MNT_ID
  if ((status.stx_mask & STATX_MNT_ID) != 0) return status.stx_mnt_id;
#endif
  return 0;
}

std::optional<std::int64_t> birthOf(const struct statx& status) {
  if ((status.stx_mask & STATX_BTIME) == 0) return std::nullopt;
  return status.stx_btime.tv_sec * nanosPerSecond + status.stx_btime.tv_nsec;
}

Outcome<EntryFacts> factsWithFlags(int parent, const char* name, int flags) {
  struct statx status {};
  if (::statx(parent, name, flags | AT_NO_AUTOMOUNT, factsMask, &status) != 0) return lastSystemError();
  return EntryFacts{.type = typeOfMode(status.stx_mode),
                    .sizeBytes = status.stx_size,
                    .modified = timePointAt(status.stx_mtime.tv_sec),
                    .changed = timePointAt(status.stx_ctime.tv_sec),
                    .identity = {makedev(status.stx_dev_major, status.stx_dev_minor), status.stx_ino, birthOf(status)},
                    .mount = mountOf(status),
                    .owner = status.stx_uid,
                    .permissions = status.stx_mode & 07777U,
                    .group = status.stx_gid};
}

}  // namespace

Outcome<EntrySize> entrySize(int parent, const char* name, std::optional<std::int64_t> bornLimit) {
  struct statx status;
  constexpr unsigned always = STATX_SIZE | STATX_UID | STATX_BLOCKS | STATX_NLINK | STATX_INO;
  const unsigned mask = bornLimit ? always | STATX_BTIME : always;
  if (::statx(parent, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, mask, &status) != 0) return lastSystemError();
  return EntrySize{.bytes = status.stx_size,
                   .allocated = status.stx_blocks * bytesPerBlock,
                   .device = makedev(status.stx_dev_major, status.stx_dev_minor),
                   .inode = status.stx_ino,
                   .links = status.stx_nlink,
                   .owner = status.stx_uid,
                   .isOlder = bornLimit && birthOf(status).value_or(*bornLimit) < *bornLimit};
}

// Half of the time that statx() takes with an empty path.
std::uint64_t allocatedBy(int folder) {
  struct stat status;
  return ::fstat(folder, &status) == 0 ? static_cast<std::uint64_t>(status.st_blocks) * bytesPerBlock : 0;
}

Outcome<std::int64_t> changedNanos(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return lastSystemError();
  return status.st_ctim.tv_sec * nanosPerSecond + status.st_ctim.tv_nsec;
}

bool mayHaveAccessList(const std::string& path) {
  if (::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) >= 0) return true;
  return errno != ENODATA && errno != EOPNOTSUPP;
}

Outcome<EntryFacts> entryFacts(int parent, const char* name) {
  return factsWithFlags(parent, name, AT_SYMLINK_NOFOLLOW);
}

Outcome<EntryFacts> followedEntryFacts(int parent, const char* name) { return factsWithFlags(parent, name, 0); }

Outcome<EntryFacts> descriptorFacts(int descriptor) { return factsWithFlags(descriptor, "", AT_EMPTY_PATH); }

bool isStillSame(int folder, const FileIdentity& now, const FileIdentity& seen) {
  return now == seen || (now.hasInodeOf(seen) && isOnOverlay(folder));
}

struct DirectoryReader::State {
  alignas(RawEntry) std::array<std::byte, bufferBytes> buffer;
  std::size_t filled = 0;
  std::size_t position = 0;
  int descriptor = -1;
  std::error_code failure;

  bool refill() {
    const long count = ::syscall(SYS_getdents64, descriptor, buffer.data(), buffer.size());
    if (count < 0) failure = lastSystemError();
    filled = count > 0 ? static_cast<std::size_t>(count) : 0;
    position = 0;
    return count > 0;
  }
};

DirectoryReader::DirectoryReader() : state_(std::make_unique_for_overwrite<State>()) {}
DirectoryReader::~DirectoryReader() = default;
DirectoryReader::DirectoryReader(DirectoryReader&&) noexcept = default;

void DirectoryReader::start(int descriptor) {
  state_->descriptor = descriptor;
  state_->filled = state_->position = 0;
  state_->failure = {};
}

void DirectoryReader::startOver(int descriptor) {
  start(descriptor);
  if (::lseek(descriptor, 0, SEEK_SET) < 0) state_->failure = lastSystemError();
}

bool DirectoryReader::next(DirectoryEntry& entry) {
  for (;;) {
    if (state_->position >= state_->filled && !state_->refill()) return false;
    const auto* raw = reinterpret_cast<const RawEntry*>(state_->buffer.data() + state_->position);
    state_->position += raw->length;
    const char* name = reinterpret_cast<const char*>(raw) + offsetof(RawEntry, name);
    if (isDotOrDotDot(name)) continue;
    entry.name = name;
    entry.type = typeOfListing(raw->type);
    if (raw->type == DT_UNKNOWN) {
      const auto facts = entryFacts(state_->descriptor, name);
      entry.type = facts ? facts->type : EntryType::other;
    }
    return true;
  }
}

std::error_code DirectoryReader::failure() const { return state_->failure; }

}  // namespace tidra
