// What a selection leaves out because a check raised it above the tier of its rule.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <vector>

#include "core/model/found_artifact.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

struct RaisedFindings {
  std::size_t count = 0;
  std::int64_t bytes = 0;
  std::int64_t freeableBytes = 0;  // together
  bool hasCaution = false;         // whether one is of tier caution and has evidence, so that this tier takes it

  bool operator==(const RaisedFindings&) const = default;
};

/// Counts the findings accepted by `isCounted` whose tier is not in `tiers` although the tier of their rule is. A
/// finding inside another one counts with it.
RaisedFindings raisedBeyond(const std::set<ArtifactSafetyTier>& tiers, const std::vector<FoundArtifact>& findings,
                            const RuleCatalog& catalog, const std::function<bool(const FoundArtifact&)>& isCounted);

}  // namespace tidra
