#include "core/session/session_progress.h"

#include <utility>

#include "core/base/quantities.h"

namespace tidra {

void SessionProgress::advance(const FilesystemArtifactScanner::ProgressTick& tick) {
  progress_.entriesVisited = before_.entriesVisited + tick.foldersScanned;
  progress_.projectsFound = before_.projectsFound + tick.projectRootsFound;
  const std::size_t found = before_.artifactsFound + tick.artifactsFound;
  // The latest finding stays in later ticks; a tick follows each finding.
  if (found > progress_.artifactsFound && tick.latestFinding != nullptr) {
    progress_.freeableBytes = saturatedSum(progress_.freeableBytes, tick.latestFinding->finding.freeable());
    add(*tick.latestFinding);
  }
  deliverFindingsIfDue();
  progress_.artifactsFound = found;
  progress_.recoverableBytes = saturatedSum(before_.recoverableBytes, tick.recoverableBytes);
  if (!request_.onProgress) return;
  progress_.currentPathDisplay = tick.currentPathDisplay;
  publish(ScanPhase::projects, SystemArtifactScanner::projectPhaseLabel);
}

void SessionProgress::advance(const SystemArtifactScanner::ProgressTick& tick) {
  if (tick.phaseLabel == SystemArtifactScanner::projectPhaseLabel) return;
  if (tick.latestFinding != nullptr) {
    progress_.freeableBytes = saturatedSum(progress_.freeableBytes, tick.latestFinding->finding.freeable());
    add(*tick.latestFinding);
  }
  deliverFindingsIfDue();
  if (!request_.onProgress) return;
  progress_.artifactsFound = static_cast<std::size_t>(tick.artifactsFound);
  progress_.recoverableBytes = unsignedBytes(tick.recoverableBytes);
  if (tick.latestFinding != nullptr) {
    progress_.currentPathDisplay = request_.resolver.displayPath(tick.latestFinding->finding.path);
  } else if (progress_.phase != ScanPhase::system) {
    progress_.currentPathDisplay.clear();
  }
  publish(ScanPhase::system, tick.phaseLabel);
}

void SessionProgress::beginChecks() {
  deliverFindings();
  progress_.currentPathDisplay.clear();
  publish(ScanPhase::checks, checksPhaseLabel);
}

void SessionProgress::publish(ScanPhase phase, const std::string& label) {
  progress_.phase = phase;
  progress_.phaseLabel = label;
  if (request_.onProgress) request_.onProgress(progress_);
}

void SessionProgress::add(const FoundArtifact& found) {
  if (request_.onFindings && isWanted(found)) batch_.push_back(found);
}

/// Leaves out only what the outcome cannot have: sizes and ecosystems are final, and checks only raise a tier.
bool SessionProgress::isWanted(const FoundArtifact& found) const {
  const ScanArtifactFinding& finding = found.finding;
  if (finding.sizeBytes < request_.minimumBytes) return false;
  if (request_.ecosystems && !found.isOfProject() && !request_.ecosystems->contains(finding.ecosystemTag)) return false;
  return !request_.tiers || (!request_.tiers->empty() && finding.safetyTier <= *request_.tiers->rbegin());
}

void SessionProgress::deliverFindingsIfDue() {
  constexpr std::chrono::milliseconds pause{100};
  if (!batch_.empty() && Clock::now() - lastBatch_ >= pause) deliverFindings();
}

void SessionProgress::deliverFindings() {
  if (batch_.empty()) return;
  lastBatch_ = Clock::now();
  request_.onFindings(std::exchange(batch_, {}));
}

}  // namespace tidra
