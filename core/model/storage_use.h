// What findings occupy on the disk, and what removing them frees. An inode is freed with its last hard link, so figures
// of several findings do not simply add up: findings may share inodes with each other and with what stays.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "core/base/enum_table.h"

namespace tidra {

struct FoundArtifact;

/// An inode with several hard links; in StorageUse::shared, one with links outside.
struct SharedInode {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t bytes = 0;        // allocated
  std::uint32_t linksInside = 0;  // hard links found so far in what was measured
  std::uint32_t links = 0;        // all hard links

  bool operator==(const SharedInode&) const = default;
};

/// What mostly makes the freeable bytes differ from the apparent size.
enum class SizeDifference { hardLinks, sparseFiles, smallFiles, imageLayer };

template <>
struct EnumTable<SizeDifference> {
  static constexpr std::string_view name = "difference";
  static constexpr std::array rows{
      EnumRow<SizeDifference>{SizeDifference::hardLinks, "hardLinks"},
      EnumRow<SizeDifference>{SizeDifference::sparseFiles, "sparseFiles"},
      EnumRow<SizeDifference>{SizeDifference::smallFiles, "smallFiles"},
      EnumRow<SizeDifference>{SizeDifference::imageLayer, "imageLayer"},
  };
};

/// Returns "hard links", "sparse files", "small files" or "image layer".
std::string_view describedDifference(SizeDifference difference);

/// What one tree occupies and frees; sums saturate.
struct StorageUse {
  std::uint64_t diskBytes = 0;                    // allocated; each inode once
  std::uint64_t freeableBytes = 0;                // allocated by what has no link elsewhere and is not kept
  std::uint64_t keptBytes = 0;                    // allocated in a lower layer of an overlay, which keeps it
  std::optional<SizeDifference> difference = {};  // absent if freeable bytes and apparent size are much alike
  std::vector<SharedInode> shared = {};           // by device and inode
};

/// What findings removed together occupy and free: each inode counts once, and is freed if all its links lie in them.
/// Findings without figures of the disk, such as those of tools, count with their sizes.
class CombinedUse {
 public:
  explicit CombinedUse(const std::vector<const FoundArtifact*>& findings);
  explicit CombinedUse(const std::vector<FoundArtifact>& findings);

  std::uint64_t diskBytes() const { return diskBytes_; }
  std::uint64_t freeableBytes() const;

  static constexpr std::size_t noPart = SIZE_MAX;
  /// Returns, for each of the `parts`, what removing its findings frees. `partOf` is the part of each finding, or
  /// noPart.
  std::vector<std::uint64_t> freeableOfParts(const std::vector<std::size_t>& partOf, std::size_t parts) const;

 private:
  /// Inodes whose links all lie in the same several findings.
  struct Together {
    std::vector<std::size_t> findings;
    std::uint64_t bytes = 0;
  };

  std::uint64_t diskBytes_ = 0;
  std::vector<std::uint64_t> alone_;  // what each finding frees by itself
  std::vector<Together> together_;
};

/// Adds up the entries of one folder tree.
class StorageTally {
 public:
  /// Adds a folder, or a file or symbolic link without further hard links. Sizes in bytes.
  void add(std::uint64_t apparent, std::uint64_t allocated);
  /// Adds one hard link, with `linksInside` 1, of an inode that has several.
  void addLink(const SharedInode& link) { links_.push_back(link); }
  /// Adds what lies in a lower layer of an overlay: a folder, or one of the hard links of an inode.
  void addKept(std::uint64_t allocated);
  void addKeptLink(SharedInode link);
  void add(const StorageTally& part);

  /// Call once, at the end. `apparent` is the apparent size of the whole.
  StorageUse take(std::uint64_t apparent);

 private:
  std::uint64_t allocated_ = 0;     // by entries without further links
  std::uint64_t kept_ = 0;          // likewise, in a lower layer; part of it
  std::uint64_t holes_ = 0;         // apparent bytes that are not allocated
  std::vector<SharedInode> links_;  // an inode with 0 links lies in a lower layer
};

}  // namespace tidra
