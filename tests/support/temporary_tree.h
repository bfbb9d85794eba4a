// A temporary folder, and snapshots that prove a test left everything else alone.
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

/// One entry of a snapshot; links are not followed.
struct SnapshotEntry {
  std::string path;                // relative to the root of the tree; "" for the root itself
  char type = '?';                 // 'd' folder, 'f' file, 'l' symbolic link, 'o' anything else
  std::uint64_t sizeBytes = 0;     // 0 for folders, whose size depends on the file system
  unsigned mode = 0;               // permission bits
  std::int64_t modifiedNanos = 0;  // since the epoch
  std::string content;             // a link's target

  bool operator==(const SnapshotEntry&) const = default;
};

std::ostream& operator<<(std::ostream& out, const SnapshotEntry& entry);

/// Every entry of the folder, itself included, in byte order of the paths.
std::vector<SnapshotEntry> snapshotOf(const std::string& folder);

/// The entries with equal times for all folders: temporary files change the times of folders, also when they are gone.
std::vector<SnapshotEntry> withoutFolderTimes(std::vector<SnapshotEntry> entries);

/// Creates an empty folder; the destructor removes it with its contents, at any depth and with any permissions. Paths
/// are relative to it; missing parents are created. Methods throw std::system_error or filesystem_error.
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

  // Each returns the absolute path of what it created.
  std::string writeFile(std::string_view relative, std::string_view bytes = {}) const;
  std::string writeFile(std::string_view relative, std::string_view bytes, unsigned mode) const;
  /// An executable shell script.
  std::string writeProgram(std::string_view relative, std::string_view body) const;
  /// The bytes of a file; empty when it cannot be read.
  std::string read(std::string_view relative) const;
  /// Sparse where the file system supports it.
  std::string writeFileOfSize(std::string_view relative, std::uint64_t sizeBytes) const;
  std::string makeFolder(std::string_view relative) const;
  std::string symlink(std::string_view relative, const std::string& target) const;

  /// Sets the time of the entry itself; does not follow links.
  void setModified(std::string_view relative, TimePoint time) const;
  void setMode(std::string_view relative, unsigned mode) const;

  std::vector<SnapshotEntry> snapshot() const { return snapshotOf(root_); }

 private:
  std::string root_;
};

}  // namespace tidra
