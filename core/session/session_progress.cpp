#include "core/session/session_progress.h"

#include "core/base/quantities.h"

namespace tidra {

void SessionProgress::advance(const FilesystemArtifactScanner::ProgressTick& tick) {
  progress_.entriesVisited = before_.entriesVisited + tick.foldersScanned;
  progress_.projectsFound = before_.projectsFound + tick.projectRootsFound;
  const std::size_t found = before_.artifactsFound + tick.artifactsFound;
  // The latest finding stays in later ticks; a tick follows each finding.
  if (found > progress_.artifactsFound && tick.latestFinding != nullptr) {
    progress_.freeableBytes = saturatedSum(progress_.freeableBytes, tick.latestFinding->freeable());
  }
  progress_.artifactsFound = found;
  progress_.recoverableBytes = saturatedSum(before_.recoverableBytes, tick.recoverableBytes);
  if (!request_.onProgress) return;
  progress_.phaseLabel = SystemArtifactScanner::projectPhaseLabel;
  progress_.currentPathDisplay = tick.currentPathDisplay;
  request_.onProgress(progress_);
}

void SessionProgress::advance(const SystemArtifactScanner::ProgressTick& tick) {
  if (!request_.onProgress || tick.phaseLabel == SystemArtifactScanner::projectPhaseLabel) return;
  if (tick.latestFinding != nullptr) {
    progress_.freeableBytes = saturatedSum(progress_.freeableBytes, tick.latestFinding->freeable());
  }
  progress_.phaseLabel = tick.phaseLabel;
  progress_.artifactsFound = static_cast<std::size_t>(tick.artifactsFound);
  progress_.recoverableBytes = unsignedBytes(tick.recoverableBytes);
  progress_.currentPathDisplay =
      tick.latestFinding != nullptr ? request_.resolver.displayPath(tick.latestFinding->path) : std::string{};
  request_.onProgress(progress_);
}

}  // namespace tidra
