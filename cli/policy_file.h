// A policy file named on the command line.
#pragma once

#include <string>

#include "fleet/agent/evaluation/resolved_policy.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

/// Reads, decodes and validates a policy file. Writes notes for unknown keys. Throws InputError, a sentence that names
/// the file.
FleetPolicy loadPolicyFile(const std::string& path);

/// Resolves the policy for this host. Throws InputError, a sentence that names the file.
ResolvedPolicy resolvePolicy(const FleetPolicy& policy, const std::string& path, const TidraPathResolver& host);

}  // namespace tidra
