// Reports as hosts send them.
#pragma once

#include <string>

#include "fleet/hub/protocol/hub_records.h"
#include "fleet/hub/protocol/hub_report.h"

namespace tidra {

/// 2026-03-14T12:00:00Z.
constexpr TimePoint noon{std::chrono::seconds{1773489600}};

/// The report of a healthy host.
inline HubHostReport plainReport(const std::string& host) {
  HubHostReport report;
  report.host = host;
  report.platform = TidraPlatform::linux;
  report.startedAt = noon;
  report.succeeded = true;
  return report;
}

/// A report with every field set.
inline HubHostReport busyReport(const std::string& host) {
  HubHostReport report = plainReport(host);
  report.tidraVersion = "1.3.0";
  report.catalogVersion = "2026.1";
  report.policyName = "agent-host";
  report.tags = {{"rack", "b/2"}};
  report.runID = "RUN";
  report.durationSeconds = 1.5;
  report.intervalSeconds = 3600;
  report.findings = 1;
  report.reclaimableBytes = 2;
  report.bytesByTier = {{"safe", 3}, {"warning", 4}};
  report.bytesByCategory = {{"node", 5}};
  report.plannedItems = 6;
  report.plannedBytes = 7;
  report.disposedItems = 8;
  report.disposedBytes = 9;
  report.freedBytes = 23;
  report.failures = 10;
  report.purgedItems = 11;
  report.purgedBytes = 12;
  report.skippedByReason = {{"tooSmall", 13}};
  report.disposedBytesTotal = 14;
  report.disposedItemsTotal = 15;
  report.freedBytesTotal = 24;
  report.failuresTotal = 16;
  report.runsTotal = 17;
  report.quarantineBytes = 18;
  report.quarantineItems = 19;
  report.volumeTotalBytes = 1000;
  report.volumeAvailableBytes = 99;
  report.auditSeq = 20;
  report.auditHeadHash = "abc";
  report.topItems = {{"/home/a/node_modules", "node_modules", 21, ArtifactSafetyTier::safe, "node", "node-modules", 22},
                     {"/home/b/node_modules", "node_modules", 1, ArtifactSafetyTier::safe, "node", {}, {}}};
  return report;
}

/// The record of a host that needs attention.
inline HubHostRecord busyRecord(const std::string& host, const std::string& note) {
  return {{.host = host,
           .status = HubHostStatus::attention,
           .statusReasons = {"disk 9% free"},
           .firstSeen = noon,
           .lastSeen = noon,
           .reports = 2,
           .note = note,
           .latest = busyReport(host)},
          {}};
}

}  // namespace tidra
