#include "fleet/agent/run_snapshot.h"

#include "core/base/quantities.h"

namespace tidra {
namespace {

std::map<std::string, std::uint64_t> figures(const std::map<std::string, std::int64_t>& bytes) {
  std::map<std::string, std::uint64_t> result;
  for (const auto& [key, value] : bytes) result[key] = unsignedBytes(value);
  return result;
}

}  // namespace

FleetMetricsSnapshot makeSnapshot(const FleetRunResult& result, const std::string& policyName,
                                  const std::string& tidraVersion, const AuditTotals& totals) {
  const ScanReport& report = result.report;
  FleetMetricsSnapshot snapshot;
  snapshot.host = report.host;
  snapshot.version = tidraVersion;
  snapshot.catalogVersion = report.catalogVersion;
  snapshot.policyName = policyName;
  snapshot.reclaimableBytesByTier = figures(report.bytesByTier);
  snapshot.reclaimableBytesByCategory = figures(report.bytesByCategory);
  snapshot.reclaimableItems = static_cast<std::int64_t>(report.items.size());
  snapshot.plannedBytes = unsignedBytes(result.decision.plan.totalBytes());
  snapshot.plannedItems = static_cast<std::int64_t>(result.decision.plan.items.size());
  snapshot.disposedBytesThisRun = unsignedBytes(result.disposedBytes());
  snapshot.disposedItemsThisRun = static_cast<std::int64_t>(result.disposal.receipts.size());
  snapshot.failuresThisRun = static_cast<std::int64_t>(result.disposal.failures.size());
  snapshot.disposedBytesTotal = totals.disposedBytes;
  snapshot.disposedItemsTotal = totals.disposedItems;
  snapshot.failuresTotal = totals.failures;
  snapshot.purgedBytesTotal = totals.purgedBytes;
  snapshot.runsTotal = totals.runs + 1;
  snapshot.freedBytesThisRun = unsignedBytes(result.allFreedBytes());
  snapshot.freedBytesTotal = totals.freedBytes;
  snapshot.lastRunStart = result.startedAt;
  snapshot.lastRunDurationSeconds = result.duration;
  snapshot.lastRunSucceeded = result.succeeded();
  snapshot.dryRun = result.dryRun;
  if (report.volume) {
    snapshot.volumeTotalBytes = unsignedBytes(report.volume->totalBytes);
    snapshot.volumeAvailableBytes = unsignedBytes(report.volume->availableBytes);
  }
  return snapshot;
}

void addQuarantine(FleetMetricsSnapshot& snapshot, const QuarantineDisposer& quarantine) {
  try {
    for (const auto& entry : quarantine.list().entries) {
      snapshot.quarantineBytes =
          saturatedSum(snapshot.quarantineBytes, unsignedBytes(entry.manifest.bytes.value_or(0)));
      ++snapshot.quarantineItems;
    }
  } catch (const std::exception&) {
    return;  // disposing and purging report why the folder is not trusted
  }
}

}  // namespace tidra
