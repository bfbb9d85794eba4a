// A folder of its own for a test, and the proof that a test left the rest of it alone.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/time_point.h"

namespace tidra {

/// False where the file system refuses names that are not UTF-8.
#ifdef __APPLE__
constexpr bool anyByteNames = false;
#else
constexpr bool anyByteNames = true;
#endif

/// What a snapshot says about one entry; links are not followed.
struct SnapshotEntry {
  std::string path;                // relative to the root of the tree; "" for the root itself
  char type = '?';                 // 'd' folder, 'f' file, 'l' symbolic link, 'o' anything else
  std::uint64_t sizeBytes = 0;     // 0 for folders, whose size is the file system's own affair
  unsigned mode = 0;               // permission bits
  std::int64_t modifiedNanos = 0;  // since the epoch
  std::string content;             // a link's target

  bool operator==(const SnapshotEntry&) const = default;
};

std::ostream& operator<<(std::ostream& out, const SnapshotEntry& entry);

/// Every entry of the folder, itself included, in byte order of the paths.
std::vector<SnapshotEntry> snapshotOf(const std::string& folder);

/// Makes an empty folder and removes it with all that is inside, however deep and whatever its permissions. Paths are
/// taken relative to the folder; missing parents are made. Everything throws std::system_error or a filesystem_error
/// when the file system refuses.
class TemporaryTree {
 public:
  TemporaryTree();
  ~TemporaryTree();
  TemporaryTree(const TemporaryTree&) = delete;
  TemporaryTree& operator=(const TemporaryTree&) = delete;

  /// Absolute, without links.
  const std::string& root() const { return root_; }

  /// The absolute path; the root itself for "".
  std::string path(std::string_view relative) const;

  // Each gives the absolute path of what it made.
  std::string writeFile(std::string_view relative, std::string_view bytes = {}) const;
  /// A sparse file where the file system can.
  std::string writeFileOfSize(std::string_view relative, std::uint64_t sizeBytes) const;
  std::string makeFolder(std::string_view relative) const;
  std::string symlink(std::string_view relative, const std::string& target) const;

  /// Of the entry itself, not of what a link leads to.
  void setModified(std::string_view relative, TimePoint time) const;
  void setMode(std::string_view relative, unsigned mode) const;

  std::vector<SnapshotEntry> snapshot() const { return snapshotOf(root_); }

 private:
  std::string root_;
};

}  // namespace tidra
