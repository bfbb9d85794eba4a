// Progress of a whole scan, added up from its walks and the scan outside projects.
#pragma once

#include "core/scan/artifact_scanner.h"
#include "core/scan/system_scanner.h"
#include "core/session/scan_session.h"

namespace tidra {

/// Calls the request's onProgress, if it has one. The request must outlive this.
class SessionProgress {
 public:
  explicit SessionProgress(const ScanRequest& request) : request_(request) {}

  /// Call before the walk of each root.
  void beginWalk() { before_ = progress_; }

  /// Adds the present walk to the totals of previous ones.
  void advance(const FilesystemArtifactScanner::ProgressTick& tick);

  void advance(const SystemArtifactScanner::ProgressTick& tick);

 private:
  const ScanRequest& request_;
  ScanProgress before_;  // the present walk
  ScanProgress progress_;
};

}  // namespace tidra
