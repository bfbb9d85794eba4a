// The one way to read folders: open relative to the parent's descriptor without following links, read names and types
// in large batches, stat only where a size is needed. Failures are values: in a tree that others change, a vanished or
// unreadable entry is ordinary.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "core/base/errors.h"
#include "core/base/time_point.h"
#include "core/platform/file_descriptor.h"

namespace tidra {

enum class EntryType : unsigned char { directory, regularFile, symbolicLink, other };

struct DirectoryEntry {
  std::string_view name;  // NUL-terminated; valid until the next call of next()
  EntryType type = EntryType::other;
};

/// Identifies a file or folder independent of its name: device, inode and, where both have one, the birth time, since
/// file systems such as ext4 reuse the inode of a removed folder for the next one.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::optional<std::int64_t> bornNanos = {};  // birth time in ns since 1970; absent if the file system has none

  bool operator==(const FileIdentity& other) const {
    return hasInodeOf(other) && (!bornNanos || !other.bornNanos || *bornNanos == *other.bornNanos);
  }
  bool hasInodeOf(const FileIdentity& other) const { return device == other.device && inode == other.inode; }
};

/// stat() of one entry. Symbolic links are not followed unless a function says so.
struct EntryFacts {
  EntryType type = EntryType::other;
  std::uint64_t sizeBytes = 0;  // apparent size, not allocated blocks
  TimePoint modified{};
  TimePoint changed{};  // ctime: set by the kernel on every change or rename; no program can fake it
  FileIdentity identity;
  std::uint64_t mount = 0;        // STATX_MNT_ID; 0 where the kernel does not report it
  std::uint32_t owner = 0;        // user id
  std::uint32_t permissions = 0;  // the lowest twelve bits of st_mode
  std::uint32_t group = 0;        // group id

  /// Whether a rename from one to the other stays on one volume and one mount.
  bool sharesVolumeWith(const EntryFacts& other) const {
    return identity.device == other.identity.device && mount == other.mount;
  }
};

/// Opens a folder named by the user. Follows symbolic links; the path may exceed PATH_MAX.
Outcome<FileDescriptor> openDirectory(std::string_view path);

/// Opens the subfolder `name` with O_NOFOLLOW: a symbolic link in its place is a failure.
Outcome<FileDescriptor> openSubdirectory(int parent, const char* name);

/// What measuring asks about an entry.
struct EntrySize {
  std::uint64_t bytes = 0;      // apparent
  std::uint64_t allocated = 0;  // in bytes
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint32_t links = 1;  // hard links
  std::uint32_t owner = 0;  // user id
  bool isOlder = false;     // born before the limit
};

/// Returns the size of the entry `name`. Symbolic links are not followed. `bornLimit`: a birth time in ns since 1970.
Outcome<EntrySize> entrySize(int parent, const char* name, std::optional<std::int64_t> bornLimit = {});

/// Returns the bytes that an open folder itself occupies; 0 if unknown.
std::uint64_t allocatedBy(int folder);

/// Does not follow a symbolic link.
Outcome<EntryFacts> entryFacts(int parent, const char* name);

/// Whether an entry of an open folder is the one that this program saw before it changed or moved it. On an overlay
/// such a change copies the file up from a lower layer: it keeps its inode number but has a new birth time.
[[nodiscard]] bool isStillSame(int folder, const FileIdentity& now, const FileIdentity& seen);

/// Follows symbolic links.
Outcome<EntryFacts> followedEntryFacts(int parent, const char* name);

/// fstat() of an open file or folder.
Outcome<EntryFacts> descriptorFacts(int descriptor);

/// Facts of a path, which may exceed PATH_MAX; does not follow its last component.
Outcome<EntryFacts> pathFacts(std::string_view path);

/// Returns the ctime of an entry in ns since 1970; does not follow its last component.
Outcome<std::int64_t> changedNanos(const std::string& path);

/// Whether an access control list may let further users write where the permissions name the group. Follows symbolic
/// links; true if unknown.
[[nodiscard]] bool mayHaveAccessList(const std::string& path);

/// Whether an entry exists at `path`, dangling symbolic links included; false if unknown.
inline bool pathExists(std::string_view path) { return static_cast<bool>(pathFacts(path)); }

/// As pathFacts(), but follows symbolic links.
Outcome<EntryFacts> followedFacts(std::string_view path);

/// Whether an entry vanished or changed its type since its name was read: ordinary while others change the tree.
[[nodiscard]] bool isNoLongerThere(std::error_code failure);

/// Whether the running user lacks permission.
[[nodiscard]] bool isForbidden(std::error_code failure);

/// Iterates over open folders, one after another, with one buffer. Not thread-safe.
class DirectoryReader {
 public:
  DirectoryReader();
  ~DirectoryReader();
  DirectoryReader(DirectoryReader&&) noexcept;

  /// Begins a freshly opened folder. The caller keeps ownership of the descriptor and must keep it open.
  void start(int descriptor);

  /// Rewinds and begins a folder that was read before.
  void startOver(int descriptor);

  /// Returns the next entry except "." and ".."; false at the end or on failure. An unknown type (DT_UNKNOWN) is
  /// resolved with statx.
  bool next(DirectoryEntry& entry);

  /// Why reading stopped early; unset after reading to the end.
  [[nodiscard]] std::error_code failure() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidra
