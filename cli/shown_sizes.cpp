#include "cli/shown_sizes.h"

#include "core/base/quantities.h"

namespace tidra {

ShownSizes::ShownSizes(const ScanReport& report, const std::vector<FoundArtifact>* findings, bool apparent)
    : apparent_(apparent) {
  for (const ScanReportItem& item : report.items) {
    each_.push_back(apparent ? item.bytes : item.freeableBytes.value_or(item.bytes));
    placeInUse_.push_back(placeInUse_.size());
  }
  if (findings != nullptr && !apparent) use_.emplace(*findings);
}

ShownSizes::ShownSizes(const std::vector<CleanupCandidate>& candidates, bool apparent) : apparent_(apparent) {
  std::vector<const FoundArtifact*> found;
  for (const CleanupCandidate& candidate : candidates) {
    each_.push_back(apparent ? candidate.item.bytes : candidate.freeableBytes());
    placeInUse_.push_back(candidate.found == nullptr ? noPart : found.size());
    if (candidate.found != nullptr) found.push_back(candidate.found);
  }
  if (!apparent) use_.emplace(found);
}

std::vector<std::int64_t> ShownSizes::ofParts(const std::vector<std::size_t>& partOf, std::size_t parts) const {
  std::vector<std::int64_t> sums(parts, 0);
  std::vector<std::size_t> partInUse;
  for (std::size_t i = 0; i < each_.size(); ++i) {
    if (use_ && placeInUse_[i] != noPart) {
      partInUse.push_back(partOf[i]);
    } else if (partOf[i] != noPart) {
      sums[partOf[i]] = saturatedSum(sums[partOf[i]], each_[i]);
    }
  }
  if (!use_) return sums;
  const auto freed = use_->freeableOfParts(partInUse, parts);
  for (std::size_t part = 0; part < parts; ++part) sums[part] = saturatedSum(sums[part], signedBytes(freed[part]));
  return sums;
}

}  // namespace tidra
