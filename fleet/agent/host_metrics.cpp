#include "fleet/agent/host_metrics.h"

#include <fmt/format.h>

#include <string_view>

#include "core/base/enum_table.h"
#include "core/base/prometheus_text.h"
#include "core/base/quantities.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {
namespace {

void addReclaimable(PrometheusText& text, const FleetMetricsSnapshot& snapshot) {
  text.beginFamily("tidra_reclaimable_bytes", PrometheusText::Type::gauge,
                   "Bytes Tidra could reclaim on this host, by safety tier.");
  for (const auto tier : allCases<ArtifactSafetyTier>()) {
    const auto known = snapshot.reclaimableBytesByTier.find(std::string(rawValue(tier)));
    const std::uint64_t bytes = known == snapshot.reclaimableBytesByTier.end() ? 0 : known->second;
    text.addSample(fmt::to_string(bytes), {{"tier", rawValue(tier)}});
  }
  std::map<std::string, std::uint64_t> bytesByLabel;
  for (const auto& [category, bytes] : snapshot.reclaimableBytesByCategory) {
    std::uint64_t& sum = bytesByLabel[prometheusLabelValue(category)];
    sum = saturatedSum(sum, bytes);
  }
  text.beginFamily("tidra_reclaimable_bytes_by_category", PrometheusText::Type::gauge,
                   "Bytes Tidra could reclaim on this host, by category.");
  for (const auto& [label, bytes] : bytesByLabel) text.addSample(fmt::to_string(bytes), {{"category", label}});
  text.addGauge("tidra_reclaimable_items", "Findings in the last scan.", snapshot.reclaimableItems);
}

void addChoice(PrometheusText& text, const FleetMetricsSnapshot& snapshot) {
  text.addGauge("tidra_planned_bytes", "Bytes the policy selected for removal in the last run.", snapshot.plannedBytes);
  text.addGauge("tidra_planned_items", "Items the policy selected for removal in the last run.", snapshot.plannedItems);
  text.addGauge("tidra_last_run_disposed_bytes", "Bytes removed in the last run.", snapshot.disposedBytesThisRun);
  text.addGauge("tidra_last_run_failures", "Disposal failures in the last run.", snapshot.failuresThisRun);
}

void addTotals(PrometheusText& text, const FleetMetricsSnapshot& snapshot) {
  text.addCounter("tidra_disposed_bytes_total", "Bytes removed by Tidra on this host since the audit log began.",
                  snapshot.disposedBytesTotal);
  text.addCounter("tidra_disposed_items_total", "Items removed by Tidra on this host since the audit log began.",
                  snapshot.disposedItemsTotal);
  text.addCounter("tidra_dispose_failures_total", "Disposal failures since the audit log began.",
                  snapshot.failuresTotal);
  text.addCounter("tidra_purged_bytes_total",
                  "Bytes permanently freed from quarantine or trash since the audit log began.",
                  snapshot.purgedBytesTotal);
  text.addCounter("tidra_runs_total", "Completed policy runs since the audit log began.", snapshot.runsTotal);
}

void addLastRun(PrometheusText& text, const FleetMetricsSnapshot& snapshot) {
  text.addGauge("tidra_last_run_timestamp_seconds", "Start time of the last run.",
                snapshot.lastRunStart.time_since_epoch().count());
  text.addGauge("tidra_last_run_duration_seconds", "Wall time of the last run.",
                fmt::format("{:.3f}", snapshot.lastRunDurationSeconds));
  text.addGauge("tidra_last_run_success", "1 if the last run completed without disposal failures.",
                snapshot.lastRunSucceeded ? 1 : 0);
  text.addGauge("tidra_dry_run", "1 if the policy runs in dry-run mode.", snapshot.dryRun ? 1 : 0);
}

void addDisk(PrometheusText& text, const FleetMetricsSnapshot& snapshot) {
  text.addGauge("tidra_quarantine_bytes", "Bytes currently held in Tidra's quarantine.", snapshot.quarantineBytes);
  text.addGauge("tidra_quarantine_items", "Items currently held in Tidra's quarantine.", snapshot.quarantineItems);
  if (snapshot.volumeTotalBytes) {
    text.addGauge("tidra_volume_total_bytes", "Size of the volume holding the scan root.", *snapshot.volumeTotalBytes);
  }
  if (snapshot.volumeAvailableBytes) {
    text.addGauge("tidra_volume_available_bytes", "Free space on the volume holding the scan root.",
                  *snapshot.volumeAvailableBytes);
  }
}

void addFreed(PrometheusText& text, const FleetMetricsSnapshot& snapshot) {
  if (snapshot.freedBytesThisRun) {
    text.addGauge("tidra_last_run_freed_bytes", "Bytes the volumes gained by the last run.",
                  *snapshot.freedBytesThisRun);
  }
  if (snapshot.freedBytesTotal) {
    text.addCounter("tidra_freed_bytes_total", "Bytes the volumes gained by Tidra since the audit log began.",
                    *snapshot.freedBytesTotal);
  }
}

}  // namespace

std::string PrometheusRenderer::render(const FleetMetricsSnapshot& snapshot) {
  PrometheusText text;
  text.beginFamily("tidra_build_info", PrometheusText::Type::gauge, "Tidra version and rule catalog. Always 1.");
  text.addSample("1", {{"version", prometheusLabelValue(snapshot.version)},
                       {"catalog", prometheusLabelValue(snapshot.catalogVersion)}});
  addReclaimable(text, snapshot);
  addChoice(text, snapshot);
  addTotals(text, snapshot);
  addLastRun(text, snapshot);
  addDisk(text, snapshot);
  addFreed(text, snapshot);
  return text.take();
}

}  // namespace tidra
