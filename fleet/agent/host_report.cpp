#include "fleet/agent/host_report.h"

#include <algorithm>

#include "core/base/quantities.h"

namespace tidra {
namespace {

std::optional<std::int64_t> signedIfKnown(const std::optional<std::uint64_t>& figure) {
  if (!figure) return std::nullopt;
  return signedBytes(*figure);
}

std::map<std::string, std::int64_t> countedReasons(const FleetRunResult& result) {
  std::map<std::string, std::int64_t> counts;
  for (const auto& skipped : result.decision.skipped) ++counts[std::string(rawValue(skipped.reason))];
  if (!result.kept.empty()) counts["kept"] = std::ssize(result.kept);
  return counts;
}

/// Stable: items of equal size keep the report's order.
std::vector<HubTopItem> largestItems(const std::vector<ScanReportItem>& items, std::int64_t most) {
  std::vector<const ScanReportItem*> order;
  order.reserve(items.size());
  for (const ScanReportItem& item : items) order.push_back(&item);
  const std::size_t count = std::min(order.size(), static_cast<std::size_t>(std::max<std::int64_t>(most, 0)));
  std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(count), order.end(),
                    [](const ScanReportItem* a, const ScanReportItem* b) {
                      return a->bytes != b->bytes ? a->bytes > b->bytes : a < b;
                    });
  order.resize(count);
  std::vector<HubTopItem> largest;
  largest.reserve(order.size());
  for (const ScanReportItem* item : order) {
    largest.push_back({.path = item->path,
                       .label = item->label,
                       .bytes = item->bytes,
                       .tier = item->tier,
                       .category = item->category,
                       .ruleID = item->ruleID,
                       .idleDays = item->idleDays});
  }
  return largest;
}

/// What holds for the host, not for one run.
void setState(HubHostReport& report, const FleetMetricsSnapshot& snapshot) {
  report.disposedBytesTotal = signedBytes(snapshot.disposedBytesTotal);
  report.disposedItemsTotal = snapshot.disposedItemsTotal;
  report.failuresTotal = snapshot.failuresTotal;
  report.runsTotal = snapshot.runsTotal;
  report.freedBytesTotal = signedIfKnown(snapshot.freedBytesTotal);
  report.quarantineBytes = signedBytes(snapshot.quarantineBytes);
  report.quarantineItems = snapshot.quarantineItems;
  report.volumeTotalBytes = signedIfKnown(snapshot.volumeTotalBytes);
  report.volumeAvailableBytes = signedIfKnown(snapshot.volumeAvailableBytes);
}

}  // namespace

HubHostReport makeHostReport(const FleetRunResult& result, const FleetMetricsSnapshot& snapshot,
                             const HostReportCircumstances& circumstances) {
  const ScanReport& scan = result.report;
  HubHostReport report;
  report.host = snapshot.host;
  report.platform = scan.platform;
  report.tidraVersion = snapshot.version;
  report.catalogVersion = snapshot.catalogVersion;
  report.policyName = snapshot.policyName;
  report.tags = circumstances.hub.tags;
  report.runID = result.runID;
  report.startedAt = result.startedAt;
  report.durationSeconds = result.duration;
  report.dryRun = result.dryRun;
  report.succeeded = result.succeeded();
  report.intervalSeconds = circumstances.intervalSeconds;
  report.findings = std::ssize(scan.items);
  report.reclaimableBytes = scan.totalBytes;
  report.bytesByTier = scan.bytesByTier;
  report.bytesByCategory = scan.bytesByCategory;
  report.plannedItems = snapshot.plannedItems;
  report.plannedBytes = signedBytes(snapshot.plannedBytes);
  report.disposedItems = snapshot.disposedItemsThisRun;
  report.disposedBytes = signedBytes(snapshot.disposedBytesThisRun);
  report.freedBytes = signedIfKnown(snapshot.freedBytesThisRun);
  report.failures = snapshot.failuresThisRun;
  report.purgedItems = std::ssize(result.purged.receipts);
  for (const DisposalReceipt& receipt : result.purged.receipts) {
    report.purgedBytes = saturatedSum(report.purgedBytes, std::max<std::int64_t>(receipt.bytes.value_or(0), 0));
  }
  report.skippedByReason = countedReasons(result);
  setState(report, snapshot);
  report.auditSeq = circumstances.auditSeq;
  if (circumstances.auditSeq > 0) report.auditHeadHash = circumstances.auditHeadHash;
  report.topItems = largestItems(scan.items, circumstances.hub.topItems);
  return report;
}

}  // namespace tidra
