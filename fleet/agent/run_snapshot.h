// The metrics of one run.
#pragma once

#include <string>

#include "core/dispose/quarantine.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/fleet_runner.h"
#include "fleet/agent/host_metrics.h"

namespace tidra {

/// `totals` are those before the run's final record; this run is added, so that the published values agree with the log
/// once it ends. Quarantine figures stay 0.
FleetMetricsSnapshot makeSnapshot(const FleetRunResult& result, const std::string& policyName,
                                  const std::string& tidraVersion, const AuditTotals& totals);

/// Adds the quarantine's figures; no effect when it cannot be read.
void addQuarantine(FleetMetricsSnapshot& snapshot, const QuarantineDisposer& quarantine);

}  // namespace tidra
