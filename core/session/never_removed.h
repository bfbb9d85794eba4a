// Paths that a policy never removes, compared with symbolic links resolved.
#pragma once

#include "core/model/found_artifact.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/place_set.h"
#include "core/scan/walk_filter.h"

namespace tidra {

class NeverRemoved {
 public:
  /// The kept paths and patterns of two filters: as written, and as withLinksResolved() returns it.
  NeverRemoved(const TidraScanExclusionFilter& written, const TidraScanExclusionFilter& resolved);

  /// Whether a finding in the file system lies in a kept place, matches a pattern or contains a kept path, but only
  /// with symbolic links resolved. What the text of its path shows is left to the policy's evaluation, which reports
  /// it.
  bool appliesUnseen(const FoundArtifact& found) const;

 private:
  PlaceSet writtenPaths_;
  PlaceSet places_;
  WalkFilter writtenPatterns_;
  WalkFilter resolvedPatterns_;  // only those that writtenPatterns_ lacks
  bool isEmpty_;
};

}  // namespace tidra
