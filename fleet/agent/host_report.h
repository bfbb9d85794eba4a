// What a run tells the hub.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "fleet/agent/fleet_runner.h"
#include "fleet/agent/host_metrics.h"
#include "fleet/agent/policy/fleet_policy.h"
#include "fleet/hub/protocol/hub_report.h"

namespace tidra {

/// What a report takes besides the run.
struct HostReportCircumstances {
  FleetPolicy::Hub hub;                         // tags, and how many of the largest findings
  std::optional<std::int64_t> intervalSeconds;  // between runs; absent: the agent schedules none
  std::int64_t auditSeq = 0;                    // at the head of the audit log
  std::string auditHeadHash;                    // of the same; of no meaning while auditSeq is 0
};

/// `snapshot` is the run's own. Findings that stay for a reason which no policy knows are skipped as "kept". Figures
/// beyond 63 bits stay at the largest.
HubHostReport makeHostReport(const FleetRunResult& result, const FleetMetricsSnapshot& snapshot,
                             const HostReportCircumstances& circumstances);

}  // namespace tidra
