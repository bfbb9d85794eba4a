// The size of one folder while several workers add it up.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <system_error>

#include "core/base/quantities.h"
#include "core/platform/directory_reader.h"
#include "core/scan/walk_filter.h"

namespace tidra {

/// Adds the logical sizes of all regular files below a folder. Links are never followed, a file counts once for each of
/// its hard links, bundle packages are not entered unless asked for, and what is mounted inside never is.
class Measurement {
 public:
  explicit Measurement(bool enterBundles = false) : enterBundles_(enterBundles) {}

  /// At its largest where the files claim more than 64 bits hold.
  std::uint64_t bytes() const { return bytes_; }

  /// True when a listing or the attributes of some file could not be read, which leaves the size unknown.
  bool hasFailed() const { return failed_; }
  void fail() { failed_ = true; }

  /// Reads one folder; `descend(name, subplace)` is called for each subfolder that belongs to the measurement. Where
  /// another file system begins is told by the folder's place in a filter's tree; none when nothing is mounted below.
  /// True when the folder holds ".git", be it a folder or, as in a linked worktree, a file.
  template <class Descend>
  bool measure(DirectoryReader& reader, int descriptor, const WalkFilter::Place* place, Descend descend) {
    std::uint64_t bytes = 0;
    bool holdsGit = false;
    reader.start(descriptor);
    for (DirectoryEntry entry; reader.next(entry);) {
      holdsGit = holdsGit || entry.name == ".git";
      if (entry.type == EntryType::regularFile) {
        const auto size = fileSize(descriptor, entry.name.data());
        if (size) {
          bytes = saturatedSum(bytes, *size);
        } else if (!isNoLongerThere(size.failure())) {
          fail();
        }
      } else if (entry.type == EntryType::directory && belongs(entry.name)) {
        const auto* subplace = WalkFilter::childPlace(place, entry.name);
        if (subplace != nullptr && subplace->mounted) continue;
        ++pending_;
        descend(entry.name, subplace);
      }
    }
    if (const auto failure = reader.failure(); failure && !isNoLongerThere(failure)) fail();
    std::uint64_t before = bytes_;
    while (!bytes_.compare_exchange_weak(before, saturatedSum(before, bytes))) {
    }
    return holdsGit;
  }

  /// A subfolder that must not be read, or is gone, adds nothing; any other failure leaves the size unknown.
  void couldNotOpen(std::error_code failure) {
    if (!isNoLongerThere(failure) && !isForbidden(failure)) fail();
  }

  /// One folder is done, or could not be opened. True for the last one: the measurement is complete.
  bool finishFolder() { return --pending_ == 0; }

 private:
  bool belongs(std::string_view folderName) const;

  const bool enterBundles_;
  std::atomic<std::uint64_t> bytes_{0};
  std::atomic<std::int64_t> pending_{1};  // the measured folder itself
  std::atomic<bool> failed_{false};
};

}  // namespace tidra
