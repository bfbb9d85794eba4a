// What findings occupy on the disk, and what removing them frees. An inode is freed with its last hard link, so figures
// of several findings do not simply add up: findings may share inodes with each other and with what stays.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "core/base/enum_table.h"

namespace tidra {

struct FoundArtifact;

/// A file that has hard links outside of what was measured.
struct SharedInode {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t bytes = 0;  // allocated
  std::uint32_t met = 0;    // links inside what was measured
  std::uint32_t links = 0;  // all links; more than `met`

  bool operator==(const SharedInode&) const = default;
};

/// What mostly makes the freeable bytes differ from the apparent size.
enum class SizeDifference { hardLinks, sparseFiles, smallFiles };

template <>
struct EnumTable<SizeDifference> {
  static constexpr std::string_view name = "difference";
  static constexpr std::array rows{
      EnumRow<SizeDifference>{SizeDifference::hardLinks, "hardLinks"},
      EnumRow<SizeDifference>{SizeDifference::sparseFiles, "sparseFiles"},
      EnumRow<SizeDifference>{SizeDifference::smallFiles, "smallFiles"},
  };
};

/// Returns "hard links", "sparse files" or "small files".
std::string_view describedDifference(SizeDifference difference);

/// Saturating sums.
struct StorageUse {
  std::uint64_t diskBytes = 0;                    // allocated; each inode once
  std::uint64_t freeableBytes = 0;                // allocated by what has no link elsewhere
  std::optional<SizeDifference> difference = {};  // absent if freeable bytes and apparent size are much alike
  std::vector<SharedInode> shared = {};           // by device and inode
};

/// Returns the figures of several findings removed together: each inode counts once, and is freed if all its links lie
/// in them. Without a difference and shared inodes. Items without figures of the disk, such as those of tools, count
/// with their sizes.
StorageUse combinedUse(const std::vector<const FoundArtifact*>& findings);

/// Adds up the entries of one folder tree.
class StorageTally {
 public:
  /// Adds a folder, or a file or symbolic link without further hard links. Sizes in bytes.
  void add(std::uint64_t apparent, std::uint64_t allocated);
  /// Adds one hard link, with `met` 1, of an inode that has several.
  void addLink(const SharedInode& link) { links_.push_back(link); }
  void add(const StorageTally& part);

  /// Call once, at the end. `apparent` is the apparent size of the whole.
  StorageUse take(std::uint64_t apparent);

 private:
  std::uint64_t allocated_ = 0;  // by entries without further links
  std::uint64_t holes_ = 0;      // apparent bytes that are not allocated
  std::vector<SharedInode> links_;
};

}  // namespace tidra
