// The rules that a policy scans by.
#pragma once

#include "core/rules/catalog_files.h"
#include "fleet/agent/policy/fleet_policy.h"
#include "fleet/agent/policy/resolved_policy.h"

namespace tidra {

/// The built-in rules with the policy's rules files, disabled rules and unskipped folders. Throws InputError, one
/// sentence, for a file that cannot be used and for a text of `scan.unskip` that is no entry of the skip list.
ChosenCatalog makePolicyCatalog(const FleetPolicy& policy, const ResolvedPolicy& resolved);

}  // namespace tidra
