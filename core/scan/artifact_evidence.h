// Evidence that a tool generated a folder with an artefact's name: people also name source folders "build" or "vendor",
// and nothing recreates those.
#pragma once

#include <string>
#include <variant>

#include "core/platform/path_resolver.h"
#include "core/scan/evidence_gap.h"
#include "core/scan/ignore_rules.h"

namespace tidra {

/// Why an artefact is known to be generated and can be recreated, for display ("holds .package-lock.json", "ignored by
/// git"), or why that is not known.
using EvidenceVerdict = std::variant<std::string, EvidenceGap>;

/// Reads a bounded number of entries in and beside each artefact. Caches ignore files; not thread-safe.
class ArtifactEvidence {
 public:
  explicit ArtifactEvidence(const TidraPathResolver& resolver) : resolver_(resolver), ignored_(resolver) {}

  /// Of a folder that the walk found, by this rule if it is known. Does not throw.
  EvidenceVerdict of(const std::string& folder, const std::string& ruleID = {});

 private:
  TidraPathResolver resolver_;
  IgnoreFinder ignored_;
};

}  // namespace tidra
