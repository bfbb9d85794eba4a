// What the hub's policy may decide on a host, and what stays the host's own.
#pragma once

#include "core/platform/path_resolver.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

/// Merges the hub's policy over the host's. The host keeps `hub`, `audit`, `lockFile`, `metrics`, `scan.home`,
/// `scan.extraRules`, and its `dryRun` when set. Both `never` sections apply: a tier forbidden by either is removed
/// from `autoClean.tiers`, and a rule forbidden by either cannot be disabled, since another rule could then claim its
/// findings. Pure. Throws InputError when the hub wants a rules file or an unskipped folder that the host does not
/// name.
FleetPolicy overlaidByHub(const FleetPolicy& own, FleetPolicy fromHub);

/// Throws InputError or FleetPolicyError, one sentence, when this host cannot execute the merged policy: unset
/// variables in paths, unusable rules files, nothing to scan, a name too long for a record.
void requireUsable(const FleetPolicy& overlaid, const TidraPathResolver& host);

}  // namespace tidra
