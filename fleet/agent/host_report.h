// The report of a run to the hub.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "fleet/agent/fleet_runner.h"
#include "fleet/agent/host_metrics.h"
#include "fleet/agent/policy/fleet_policy.h"
#include "fleet/hub/protocol/hub_report.h"

namespace tidra {

/// Inputs of a report besides the run.
struct HostReportCircumstances {
  FleetPolicy::Hub hub;                         // tags, and the number of largest findings to send
  std::optional<std::int64_t> intervalSeconds;  // between runs; absent: none scheduled
  std::int64_t auditSeq = 0;                    // of the last record of the audit log
  std::string auditHeadHash;                    // of the same; undefined while auditSeq is 0
};

/// `snapshot` is that of the run. Findings kept for reasons outside the policy are counted as skipped, "kept".
/// Saturates at 63 bits.
HubHostReport makeHostReport(const FleetRunResult& result, const FleetMetricsSnapshot& snapshot,
                             const HostReportCircumstances& circumstances);

}  // namespace tidra
