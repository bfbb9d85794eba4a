// Progress of a whole scan, added up from its walks and the scan outside projects.
#pragma once

#include <chrono>
#include <vector>

#include "core/scan/artifact_scanner.h"
#include "core/scan/system_scanner.h"
#include "core/session/scan_session.h"

namespace tidra {

/// Calls the request's onProgress and onFindings, as far as it has them. The request must outlive this.
class SessionProgress {
 public:
  static constexpr const char* checksPhaseLabel = "Checking what can be removed…";

  explicit SessionProgress(const ScanRequest& request) : request_(request) {}

  /// Call before the walk of each root.
  void beginWalk() { before_ = progress_; }

  /// Adds the present walk to the totals of previous ones.
  void advance(const FilesystemArtifactScanner::ProgressTick& tick);

  void advance(const SystemArtifactScanner::ProgressTick& tick);

  /// Adds a finding that no tick brings to the next batch.
  void add(const FoundArtifact& found);
  /// Delivers the findings that are not delivered yet.
  void deliverFindings();
  void beginChecks();

 private:
  using Clock = std::chrono::steady_clock;

  bool isWanted(const FoundArtifact& found) const;
  void deliverFindingsIfDue();
  void publish(ScanPhase phase, const std::string& label);

  const ScanRequest& request_;
  ScanProgress before_;  // the present walk
  ScanProgress progress_;
  std::vector<FoundArtifact> batch_;
  Clock::time_point lastBatch_{};
};

}  // namespace tidra
