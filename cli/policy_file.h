// A policy named on the command line.
#pragma once

#include <string>

#include "fleet/agent/policy/fleet_policy.h"
#include "fleet/agent/policy/resolved_policy.h"

namespace tidra {

/// Reads, decodes and validates a policy file. Keys that mean nothing are told in notes. Throws InputError, one
/// sentence that names the file.
FleetPolicy loadPolicyFile(const std::string& path);

/// What the policy of that file means here. Throws InputError, one sentence that names the file.
ResolvedPolicy resolvePolicy(const FleetPolicy& policy, const std::string& path, const TidraPathResolver& host);

}  // namespace tidra
