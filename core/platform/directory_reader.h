// The one way to read folders: open relative to the parent's descriptor without following links, take names and types
// in large batches, ask for a size only where a size is needed. Nothing here throws for a file system's answer, because
// in a tree that others are changing a vanished or forbidden entry is an ordinary event.
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
  std::string_view name;  // NUL-terminated; valid until the next entry is asked for
  EntryType type = EntryType::other;
};

/// Which file or folder it is, whatever its name.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;

  bool operator==(const FileIdentity&) const = default;
};

/// What the file system says about one entry, links not followed unless said otherwise.
struct EntryFacts {
  EntryType type = EntryType::other;
  std::uint64_t sizeBytes = 0;  // logical size
  TimePoint modified{};
  TimePoint changed{};  // of the inode: when it came to this place or changed; no program sets it
  FileIdentity identity;
  std::uint64_t mount = 0;        // number of the mount it was reached through; 0 where the system does not tell
  std::uint32_t owner = 0;        // user id
  std::uint32_t permissions = 0;  // the lowest twelve bits of the mode
  std::optional<std::int64_t> bornNanos = {};  // when it was made, since 1970; absent where that is not recorded

  /// True when both lie on the same volume as far as renaming goes from one to the other.
  bool sharesVolumeWith(const EntryFacts& other) const {
    return identity.device == other.identity.device && mount == other.mount;
  }
};

/// Opens a folder that the user named; links on the way are followed and the path may be longer than PATH_MAX.
Outcome<FileDescriptor> openDirectory(std::string_view path);

/// Opens the subfolder `name` of an open folder. A link in its place is a failure, never followed.
Outcome<FileDescriptor> openSubdirectory(int parent, const char* name);

/// The logical size of the regular file `name`. Links are not followed.
Outcome<std::uint64_t> fileSize(int parent, const char* name);

/// Links are not followed.
Outcome<EntryFacts> entryFacts(int parent, const char* name);

/// Links are followed.
Outcome<EntryFacts> followedEntryFacts(int parent, const char* name);

/// Facts of an open file or folder.
Outcome<EntryFacts> descriptorFacts(int descriptor);

/// Facts of a path that may be longer than PATH_MAX; its last component is not followed.
Outcome<EntryFacts> pathFacts(std::string_view path);

/// Facts of what a path leads to, links followed.
Outcome<EntryFacts> followedFacts(std::string_view path);

/// True for the failure of something that went, or became something else, since its name was read: an ordinary event.
[[nodiscard]] bool isNoLongerThere(std::error_code failure);

/// True when the running user may not do it.
[[nodiscard]] bool isForbidden(std::error_code failure);

/// Iterates over open folders, one after another, with one buffer. Not to be shared between threads.
class DirectoryReader {
 public:
  DirectoryReader();
  ~DirectoryReader();
  DirectoryReader(DirectoryReader&&) noexcept;

  /// Begins a freshly opened folder. The descriptor stays the caller's and must stay open.
  void start(int descriptor);

  /// Begins a folder that was read before, from its first entry.
  void startOver(int descriptor);

  /// The next entry but "." and ".."; false at the end and at a failure. Types that the file system leaves out of its
  /// listing are looked up.
  bool next(DirectoryEntry& entry);

  /// Why the folder could not be read to its end; unset when it could.
  [[nodiscard]] std::error_code failure() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidra
