#include "core/scan/walk_progress.h"

#include <utility>

#include "core/base/quantities.h"

namespace tidra {

WalkProgress::WalkProgress(const FilesystemArtifactScanner::Request& request) : request_(request) {
  tick_.currentPathDisplay = request.resolver.displayPath(request.root);
}

void WalkProgress::report(std::deque<FoundArtifact> fresh, std::uint64_t visited,
                          const std::function<std::string()>& currentFolder, std::deque<FoundArtifact>& findings) {
  constexpr std::chrono::milliseconds longestSilence{120};
  if (request_.onProgress) {
    if (const auto folder = currentFolder(); !folder.empty()) {
      tick_.currentPathDisplay = request_.resolver.displayPath(folder);
    }
    tickEvery64Entries(visited);
  }
  for (; !fresh.empty(); fresh.pop_front()) {
    const FoundArtifact& latest = findings.emplace_back(std::move(fresh.front()));
    roots_.insert(*latest.finding.groupRoot);
    ++tick_.artifactsFound;
    tick_.recoverableBytes = saturatedSum(tick_.recoverableBytes, latest.finding.sizeBytes);
    tick_.projectRootsFound = roots_.size();
    tick_.latestFinding = &latest;
    deliver();
  }
  if (Clock::now() - last_ >= longestSilence) deliver();
}

void WalkProgress::tickEvery64Entries(std::uint64_t visited) {
  constexpr std::uint64_t entriesPerTick = 64;
  for (auto count = tick_.foldersScanned / entriesPerTick + 1; count * entriesPerTick <= visited; ++count) {
    tick_.foldersScanned = count * entriesPerTick;
    deliver();
  }
  tick_.foldersScanned = visited;
}

void WalkProgress::deliver() {
  last_ = Clock::now();
  if (request_.onProgress) request_.onProgress(tick_);
}

}  // namespace tidra
