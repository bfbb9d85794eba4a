// Delivers the progress of a walk on the caller's thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>

#include "core/scan/artifact_scanner.h"

namespace tidra {

/// Calls the request's onProgress for every finding, every 64 entries and every 0.12 seconds. The request must outlive
/// this.
class WalkProgress {
 public:
  explicit WalkProgress(const FilesystemArtifactScanner::Request& request);

  /// Reports new findings and the entries visited so far. Appends to `findings`, which nothing else changes meanwhile:
  /// the ticks point into it, and a deque grows without a second copy. `currentFolder` returns the folder being read,
  /// empty if unknown; called only for a request with onProgress.
  void report(std::deque<FoundArtifact> fresh, std::uint64_t visited, const std::function<std::string()>& currentFolder,
              std::deque<FoundArtifact>& findings);

 private:
  using Clock = std::chrono::steady_clock;

  void tickEvery64Entries(std::uint64_t visited);
  void deliver();

  const FilesystemArtifactScanner::Request& request_;
  FilesystemArtifactScanner::ProgressTick tick_;
  std::set<std::string> roots_;
  Clock::time_point last_ = Clock::now();
};

}  // namespace tidra
