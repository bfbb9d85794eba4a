// Evidence that a tool generated a folder with an artefact's name: people also name source folders "build" or "vendor",
// and nothing recreates those.
#pragma once

#include <optional>
#include <string>

#include "core/model/scan_artifact_finding.h"
#include "core/platform/path_resolver.h"
#include "core/scan/ignore_rules.h"

namespace tidra {

/// Reads a bounded number of entries in and beside each finding. Caches ignore files; not thread-safe.
class ArtifactEvidence {
 public:
  explicit ArtifactEvidence(const TidraPathResolver& resolver) : ignored_(resolver) {}

  /// Returns why a finding of the walk is known to be generated and can be recreated, for display: "holds
  /// .package-lock.json", "ignored by git". Absent without evidence or with counter-evidence. Does not throw.
  std::optional<std::string> of(const ScanArtifactFinding& finding);

 private:
  IgnoreFinder ignored_;
};

}  // namespace tidra
