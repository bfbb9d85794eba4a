// What a policy from the hub may decide on a host, and what remains the host's own.
#pragma once

#include "core/platform/path_resolver.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

/// The hub's policy as this host carries it out. Of the host's own policy stay `hub`, `audit`, `lockFile`, `metrics`,
/// `scan.home` and `scan.extraRules`, and a dry run stays one. Both `never` sections count: a tier that either forbids
/// is taken out of `autoClean.tiers`, and a rule that either forbids cannot be disabled, since another rule could then
/// claim its findings. A pure function. Throws InputError when the hub wants rules from a file, or a skipped folder
/// walked, that the host does not name.
FleetPolicy overlaidByHub(const FleetPolicy& own, FleetPolicy fromHub);

/// Throws InputError or FleetPolicyError, one sentence, for an overlaid policy that this host cannot carry out: a path
/// with a variable that is not set, rules files that cannot be used, nothing to scan, a name that no record takes.
void requireUsable(const FleetPolicy& overlaid, const TidraPathResolver& host);

}  // namespace tidra
