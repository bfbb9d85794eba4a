// A policy file named on the command line.
#pragma once

#include <string>

#include "fleet/agent/evaluation/resolved_policy.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

/// Decodes and validates the text of a policy file. Writes notes for unknown keys. Throws InputError, a sentence that
/// names the file.
FleetPolicy parsePolicyFile(const std::string& path, const std::string& text);

/// Reads a policy to be carried out, once, and parses it. Throws InputError, also when others could change the file.
FleetPolicy loadPolicyFile(const std::string& path);

/// Resolves the policy for this host. Throws InputError, a sentence that names the file.
ResolvedPolicy resolvePolicy(const FleetPolicy& policy, const std::string& path, const TidraPathResolver& host);

}  // namespace tidra
