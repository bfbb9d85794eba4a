#include "core/model/storage_use.h"

#include <algorithm>
#include <tuple>

#include "core/base/quantities.h"
#include "core/model/found_artifact.h"

namespace tidra {
namespace {

void addTo(std::uint64_t& sum, std::uint64_t bytes) { sum = saturatedSum(sum, bytes); }

std::uint64_t multiplied(std::uint64_t bytes, std::uint32_t factor) {
  std::uint64_t product = 0;
  return __builtin_mul_overflow(bytes, std::uint64_t{factor}, &product) ? UINT64_MAX : product;
}

bool isSameInode(const SharedInode& a, const SharedInode& b) { return a.device == b.device && a.inode == b.inode; }

/// Sorts by device and inode, and calls `visit` once per inode with its first element and the sum of the links met.
template <class Visit>
void forEachInode(std::vector<SharedInode>& links, Visit visit) {
  std::sort(links.begin(), links.end(), [](const SharedInode& a, const SharedInode& b) {
    return std::tie(a.device, a.inode) < std::tie(b.device, b.inode);
  });
  for (auto first = links.begin(); first != links.end();) {
    SharedInode inode = *first;
    auto next = first + 1;
    for (; next != links.end() && isSameInode(*next, inode); ++next) {
      inode.met += next->met;
      inode.links = std::max(inode.links, next->links);
    }
    visit(inode, static_cast<std::size_t>(next - first));
    first = next;
  }
}

std::optional<SizeDifference> differenceOf(std::uint64_t apparent, std::uint64_t freeable, std::uint64_t linked,
                                           std::uint64_t holes) {
  constexpr std::uint64_t leastBytes = 1024ULL * 1024;
  constexpr std::uint64_t leastPart = 8;
  const auto [less, more] = std::minmax(apparent, freeable);
  if (more - less < std::max(leastBytes, more / leastPart)) return std::nullopt;
  if (freeable > apparent) return SizeDifference::smallFiles;
  return linked >= holes ? SizeDifference::hardLinks : SizeDifference::sparseFiles;
}

}  // namespace

std::string_view describedDifference(SizeDifference difference) {
  switch (difference) {
    case SizeDifference::hardLinks:
      return "hard links";
    case SizeDifference::sparseFiles:
      return "sparse files";
    case SizeDifference::smallFiles:
      return "small files";
  }
  return {};
}

StorageUse combinedUse(const std::vector<const FoundArtifact*>& findings) {
  StorageUse sum;
  std::vector<SharedInode> shared;
  for (const FoundArtifact* found : findings) {
    const ScanArtifactFinding& finding = found->finding;
    addTo(sum.diskBytes, finding.diskBytes.value_or(finding.sizeBytes));
    addTo(sum.freeableBytes, finding.freeableBytes.value_or(finding.sizeBytes));
    shared.insert(shared.end(), found->shared.begin(), found->shared.end());
  }
  std::uint64_t repeated = 0;
  forEachInode(shared, [&](const SharedInode& inode, std::size_t findingsWithIt) {
    for (std::size_t i = 1; i < findingsWithIt; ++i) addTo(repeated, inode.bytes);
    if (inode.met >= inode.links) addTo(sum.freeableBytes, inode.bytes);
  });
  sum.diskBytes -= std::min(sum.diskBytes, repeated);
  return sum;
}

void StorageTally::add(std::uint64_t apparent, std::uint64_t allocated) {
  addTo(allocated_, allocated);
  if (apparent > allocated) addTo(holes_, apparent - allocated);
}

void StorageTally::add(const StorageTally& part) {
  addTo(allocated_, part.allocated_);
  addTo(holes_, part.holes_);
  links_.insert(links_.end(), part.links_.begin(), part.links_.end());
}

StorageUse StorageTally::take(std::uint64_t apparent) {
  StorageUse use{.diskBytes = allocated_, .freeableBytes = allocated_};
  std::uint64_t linked = 0;
  forEachInode(links_, [&](const SharedInode& inode, std::size_t) {
    addTo(use.diskBytes, inode.bytes);
    addTo(linked, multiplied(inode.bytes, inode.met - 1));
    if (inode.met >= inode.links) return addTo(use.freeableBytes, inode.bytes);
    addTo(linked, inode.bytes);
    use.shared.push_back(inode);
  });
  use.difference = differenceOf(apparent, use.freeableBytes, linked, holes_);
  links_ = {};
  return use;
}

}  // namespace tidra
