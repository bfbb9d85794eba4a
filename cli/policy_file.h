// A policy named on the command line.
#pragma once

#include <string>

#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

/// Reads, decodes and validates a policy file. Keys that mean nothing are told in notes. Throws InputError, one
/// sentence that names the file.
FleetPolicy loadPolicyFile(const std::string& path);

}  // namespace tidra
