// By what it is known that a tool made a folder with an artefact's name, and not a person: names such as "build" and
// "vendor" are also given to source that nothing brings back.
#pragma once

#include <optional>
#include <string>

#include "core/model/scan_artifact_finding.h"
#include "core/platform/path_resolver.h"
#include "core/scan/ignore_rules.h"

namespace tidra {

/// Reads a bounded number of entries in and beside each finding. Keeps the ignore files that it has read; for one
/// thread.
class ArtifactEvidence {
 public:
  explicit ArtifactEvidence(const TidraPathResolver& resolver) : ignored_(resolver) {}

  /// What shows that a tool made the finding of a project walk and can make it again, for people, such as
  /// "holds .package-lock.json" or "ignored by git"; absent when nothing does, or when something speaks against it.
  /// Never throws.
  std::optional<std::string> of(const ScanArtifactFinding& finding);

 private:
  IgnoreFinder ignored_;
};

}  // namespace tidra
