// The scan of a policy.
#pragma once

#include <string>
#include <vector>

#include "core/session/scan_session.h"
#include "fleet/agent/evaluation/resolved_policy.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

struct PolicyScan {
  ScanRequest request;
  std::vector<std::string> warnings;  // unusable roots, unknown rule ids; a sentence each
};

/// `now` is the time of the scan. Without `scan.categories` everything outside projects is scanned. Throws InputError
/// as makePolicyCatalog does.
PolicyScan makePolicyScan(const FleetPolicy& policy, const ResolvedPolicy& resolved, TimePoint now);

}  // namespace tidra
