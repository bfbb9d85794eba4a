#include "fleet/agent/evaluation/hub_overlay.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "fleet/agent/evaluation/policy_catalog.h"
#include "fleet/agent/evaluation/resolved_policy.h"

namespace tidra {
namespace {

template <class T>
bool contains(const std::vector<T>& values, const T& value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

/// Appends the values that are not present yet, in order.
template <class T>
void addAll(std::vector<T>& values, const std::vector<T>& more) {
  for (const T& value : more) {
    if (!contains(values, value)) values.push_back(value);
  }
}

/// Throws InputError if the hub's policy widens what may be removed in a way that only the host may choose.
void requireOwnChoices(const FleetPolicy& own, const FleetPolicy& fromHub) {
  // Rules files define what counts as removable: only the host may choose them.
  for (const std::string& file : fromHub.scan.extraRules) {
    if (contains(own.scan.extraRules, file)) continue;
    throw InputError(fmt::format("It wants the rules file '{}'; name that in scan.extraRules of this host's policy.",
                                 escapedForTerminal(file)));
  }
  const auto ownPacks = own.scan.packs.value_or(std::vector<std::string>{});
  for (const std::string& pack : fromHub.scan.packs.value_or(std::vector<std::string>{})) {
    if (contains(ownPacks, pack)) continue;
    throw InputError(fmt::format("It wants the rule pack '{}'; name that in scan.packs of this host's policy.",
                                 escapedForTerminal(pack)));
  }
  // Skipped folders hold files of other programs.
  for (const std::string& folder : fromHub.scan.unskip) {
    if (contains(own.scan.unskip, folder)) continue;
    throw InputError(
        fmt::format("It wants to walk the skipped folder '{}'; name that in scan.unskip of this host's "
                    "policy.",
                    escapedForTerminal(folder)));
  }
}

}  // namespace

FleetPolicy overlaidByHub(const FleetPolicy& own, FleetPolicy fromHub) {
  requireOwnChoices(own, fromHub);
  FleetPolicy policy = std::move(fromHub);
  policy.hub = own.hub;
  policy.audit = own.audit;
  policy.lockFile = own.lockFile;
  policy.metrics = own.metrics;
  policy.scan.home = own.scan.home;
  policy.scan.extraRules = own.scan.extraRules;
  policy.scan.packs = own.scan.packs;
  policy.dryRun = policy.dryRun || own.dryRun;
  policy.autoClean.requireEvidence = policy.autoClean.requireEvidence || own.autoClean.requireEvidence;
  FleetPolicy::Never& never = policy.never;
  addAll(never.tiers, own.never.tiers);
  addAll(never.ruleIDs, own.never.ruleIDs);
  addAll(never.paths, own.never.paths);
  std::erase_if(policy.autoClean.tiers, [&](ArtifactSafetyTier tier) { return contains(never.tiers, tier); });
  std::erase_if(policy.scan.disabledRules, [&](const std::string& id) { return contains(never.ruleIDs, id); });
  return policy;
}

void requireUsable(const FleetPolicy& overlaid, const TidraPathResolver& host) {
  // The name is in each run's first audit record, whose length is bounded.
  constexpr std::size_t longestName = 1000;
  if (overlaid.name.size() > longestName) throw InputError("Its name is longer than 1000 bytes.");
  overlaid.validate();
  const auto resolved = ResolvedPolicy::make(overlaid, host);
  if (resolved.roots.empty() && (!overlaid.scan.categories || overlaid.scan.categories->empty())) {
    throw InputError("It names neither scan roots nor categories.");
  }
  (void)makePolicyCatalog(overlaid, resolved);
}

}  // namespace tidra
