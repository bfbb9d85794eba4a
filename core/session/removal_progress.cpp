#include "core/session/removal_progress.h"

#include <algorithm>

#include "core/base/quantities.h"
#include "core/platform/path_text.h"
#include "core/platform/volume_space.h"

namespace tidra {

RemovalProgress::RemovalProgress(const std::vector<CleanupCandidate>& candidates, const CleanupSetting& setting)
    : setting_(setting), progress_{.items = candidates.size(), .currentPath = {}} {
  for (const CleanupCandidate& candidate : candidates) {
    progress_.bytes = saturatedSum(progress_.bytes, candidate.freeableBytes());
    progress_.isEstimate = progress_.isEstimate || isToolBackedTarget(candidate.item.path);
  }
}

TidraDeletionService::Setting RemovalProgress::observed() {
  TidraDeletionService::Setting service = setting_.service;
  service.removedEntries = &entries_;
  if (setting_.onProgress) service.whileRemoving = [this] { poll(); };
  return service;
}

void RemovalProgress::begin(const CleanupCandidate& candidate) {
  progress_.currentPath = candidate.item.path;
  most_ = candidate.freeableBytes();
  const bool isDeleted = setting_.method == DisposalMethod::delete_ && !isToolBackedTarget(candidate.item.path);
  folder_ = isDeleted && setting_.onProgress && !setting_.dryRun ? parentPath(candidate.item.path) : "";
  const auto space = folder_.empty() ? std::nullopt : TidraVolumeSpaceReader::read(folder_);
  availableBefore_ = space ? std::optional(space->availableBytes) : std::nullopt;
  publish();
}

void RemovalProgress::finish(const CleanupCandidate& candidate) {
  ++progress_.itemsDone;
  bytesBefore_ = saturatedSum(bytesBefore_, candidate.freeableBytes());
  progress_.bytesDone = bytesBefore_;
}

void RemovalProgress::end() {
  progress_.currentPath.clear();
  publish();
}

void RemovalProgress::publish() {
  last_ = Clock::now();
  progress_.entriesRemoved = entries_.load(std::memory_order_relaxed);
  if (setting_.onProgress) setting_.onProgress(progress_);
}

void RemovalProgress::poll() {
  constexpr std::chrono::milliseconds pause{100};
  if (Clock::now() - last_ < pause) return;
  // Other programs write, too: what was freed before is never taken back.
  progress_.bytesDone = std::max(progress_.bytesDone, saturatedSum(bytesBefore_, gained()));
  publish();
}

std::int64_t RemovalProgress::gained() const {
  const auto space = availableBefore_ ? TidraVolumeSpaceReader::read(folder_) : std::nullopt;
  return space ? std::clamp<std::int64_t>(space->availableBytes - *availableBefore_, 0, most_) : 0;
}

}  // namespace tidra
