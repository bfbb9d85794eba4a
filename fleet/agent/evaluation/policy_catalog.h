// The rule catalog of a policy.
#pragma once

#include <string>
#include <vector>

#include "core/rules/catalog_files.h"
#include "fleet/agent/evaluation/resolved_policy.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

/// The built-in rules with the policy's rule packs, rules files, disabled rules and unskipped folders. Throws
/// InputError, one sentence, for an unknown pack, an unusable file, for one that belongs to another user or that
/// everybody may write to, and for an entry of `scan.unskip` that is not in the skip list.
ChosenCatalog makePolicyCatalog(const FleetPolicy& policy, const ResolvedPolicy& resolved);

/// Returns the categories in `scan.categories` that the policy scans in vain: it requires a known date of use, which
/// the catalog's rules for them do not find, as far as their tiers may go.
std::vector<std::string> undatedCategories(const FleetPolicy& policy, const RuleCatalog& catalog);

}  // namespace tidra
