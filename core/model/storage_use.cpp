#include "core/model/storage_use.h"

#include <algorithm>
#include <map>
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

bool precedes(const SharedInode& a, const SharedInode& b) {
  return std::tie(a.device, a.inode) < std::tie(b.device, b.inode);
}

/// Calls `visit(first, last)` for the elements of each inode; `inodeOf` leads from an element to its SharedInode.
template <class Elements, class InodeOf, class Visit>
void forEachInode(Elements& elements, InodeOf inodeOf, Visit visit) {
  std::sort(elements.begin(), elements.end(),
            [&](const auto& a, const auto& b) { return precedes(inodeOf(a), inodeOf(b)); });
  for (auto first = elements.begin(); first != elements.end();) {
    const auto last = std::find_if(
        first, elements.end(), [&](const auto& element) { return !isSameInode(inodeOf(element), inodeOf(*first)); });
    visit(first, last);
    first = last;
  }
}

std::optional<SizeDifference> differenceOf(std::uint64_t apparent, const StorageUse& use, std::uint64_t linked,
                                           std::uint64_t holes) {
  const std::uint64_t freeable = use.freeableBytes;
  if (use.keptBytes > 0 && freeable == 0) return SizeDifference::imageLayer;
  constexpr std::uint64_t leastBytes = 1024ULL * 1024;
  constexpr std::uint64_t leastPart = 8;
  const auto [less, more] = std::minmax(apparent, freeable);
  if (more - less < std::max(leastBytes, more / leastPart)) return std::nullopt;
  if (freeable > apparent) return SizeDifference::smallFiles;
  if (use.keptBytes > std::max(linked, holes)) return SizeDifference::imageLayer;
  return linked >= holes ? SizeDifference::hardLinks : SizeDifference::sparseFiles;
}

std::vector<const FoundArtifact*> pointersTo(const std::vector<FoundArtifact>& findings) {
  std::vector<const FoundArtifact*> pointers;
  pointers.reserve(findings.size());
  for (const FoundArtifact& found : findings) pointers.push_back(&found);
  return pointers;
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
    case SizeDifference::imageLayer:
      return "image layer";
  }
  return {};
}

CombinedUse::CombinedUse(const std::vector<const FoundArtifact*>& findings) {
  struct Place {
    const SharedInode* inode;
    std::size_t finding;
  };
  std::vector<Place> places;
  alone_.reserve(findings.size());
  for (std::size_t i = 0; i < findings.size(); ++i) {
    const ScanArtifactFinding& finding = findings[i]->finding;
    addTo(diskBytes_, finding.diskBytes.value_or(finding.sizeBytes));
    alone_.push_back(finding.freeable());
    for (const SharedInode& inode : findings[i]->shared) places.push_back({&inode, i});
  }
  std::uint64_t repeated = 0;
  std::map<std::vector<std::size_t>, std::uint64_t> bytesBySet;
  const auto inodeOf = [](const Place& place) -> const SharedInode& { return *place.inode; };
  forEachInode(places, inodeOf, [&](auto first, auto last) {
    std::uint64_t linksInside = 0;
    std::vector<std::size_t> holders;
    for (auto place = first; place != last; ++place) {
      linksInside += place->inode->linksInside;
      holders.push_back(place->finding);
      if (place != first) addTo(repeated, place->inode->bytes);
    }
    if (linksInside < first->inode->links) return;
    std::sort(holders.begin(), holders.end());
    addTo(bytesBySet[std::move(holders)], first->inode->bytes);
  });
  diskBytes_ -= std::min(diskBytes_, repeated);
  for (const auto& [holders, bytes] : bytesBySet) together_.push_back({holders, bytes});
}

CombinedUse::CombinedUse(const std::vector<FoundArtifact>& findings) : CombinedUse(pointersTo(findings)) {}

std::uint64_t CombinedUse::freeableBytes() const {
  return freeableOfParts(std::vector<std::size_t>(alone_.size(), 0), 1).front();
}

std::vector<std::uint64_t> CombinedUse::freeableOfParts(const std::vector<std::size_t>& partOf,
                                                        std::size_t parts) const {
  std::vector<std::uint64_t> sums(parts, 0);
  for (std::size_t i = 0; i < alone_.size(); ++i) {
    if (partOf[i] != noPart) addTo(sums[partOf[i]], alone_[i]);
  }
  for (const Together& together : together_) {
    const std::size_t part = partOf[together.findings.front()];
    const bool isInOne = std::all_of(together.findings.begin(), together.findings.end(),
                                     [&](std::size_t finding) { return partOf[finding] == part; });
    if (isInOne && part != noPart) addTo(sums[part], together.bytes);
  }
  return sums;
}

void StorageTally::add(std::uint64_t apparent, std::uint64_t allocated) {
  addTo(allocated_, allocated);
  if (apparent > allocated) addTo(holes_, apparent - allocated);
}

void StorageTally::addKept(std::uint64_t allocated) {
  addTo(allocated_, allocated);
  addTo(kept_, allocated);
}

void StorageTally::addKeptLink(SharedInode link) {
  link.links = 0;
  addLink(link);
}

void StorageTally::add(const StorageTally& part) {
  addTo(allocated_, part.allocated_);
  addTo(kept_, part.kept_);
  addTo(holes_, part.holes_);
  links_.insert(links_.end(), part.links_.begin(), part.links_.end());
}

StorageUse StorageTally::take(std::uint64_t apparent) {
  StorageUse use;
  use.diskBytes = allocated_;
  use.freeableBytes = allocated_ - std::min(allocated_, kept_);
  use.keptBytes = kept_;
  std::uint64_t linked = 0;
  const auto inodeOf = [](const SharedInode& link) -> const SharedInode& { return link; };
  forEachInode(links_, inodeOf, [&](auto first, auto last) {
    SharedInode inode = *first;
    inode.linksInside = static_cast<std::uint32_t>(last - first);
    addTo(use.diskBytes, inode.bytes);
    if (inode.links == 0) return addTo(use.keptBytes, inode.bytes);
    addTo(linked, multiplied(inode.bytes, inode.linksInside - 1));
    if (inode.linksInside >= inode.links) return addTo(use.freeableBytes, inode.bytes);
    addTo(linked, inode.bytes);
    use.shared.push_back(inode);
  });
  use.difference = differenceOf(apparent, use, linked, holes_);
  links_ = {};
  return use;
}

}  // namespace tidra
