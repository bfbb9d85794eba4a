// The figures of one run for Prometheus.
#pragma once

#include <string>

#include "core/dispose/quarantine.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/fleet_runner.h"
#include "fleet/agent/host_metrics.h"

namespace tidra {

/// `totals` are the log's before the run's last record; the run itself is added to its runs, so that what is published
/// when a run ends agrees with the log from then on. What lies in quarantine is left at 0.
FleetMetricsSnapshot makeSnapshot(const FleetRunResult& result, const std::string& policyName,
                                  const std::string& tidraVersion, const AuditTotals& totals);

/// Adds what lies in quarantine; nothing when the quarantine cannot be read.
void addQuarantine(FleetMetricsSnapshot& snapshot, const QuarantineDisposer& quarantine);

}  // namespace tidra
