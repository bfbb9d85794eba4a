#include "fleet/agent/host_metrics.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "core/platform/files.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

/// All figures differ, so that swapped ones are noticed.
FleetMetricsSnapshot busyHost() {
  FleetMetricsSnapshot snapshot;
  snapshot.version = "1.3.0";
  snapshot.catalogVersion = "2026.1";
  snapshot.reclaimableBytesByTier = {{"warning", 3}, {"safe", 18'446'744'073'709'551'615U}, {"unheard-of", 4}};
  snapshot.reclaimableBytesByCategory = {{"python", 6}, {"aiModels", 5}};
  snapshot.reclaimableItems = 7;
  snapshot.plannedBytes = 8;
  snapshot.plannedItems = 9;
  snapshot.disposedBytesThisRun = 10;
  snapshot.disposedItemsThisRun = 11;
  snapshot.failuresThisRun = 12;
  snapshot.disposedBytesTotal = 1'234'567;
  snapshot.disposedItemsTotal = 14;
  snapshot.failuresTotal = 15;
  snapshot.purgedBytesTotal = 16;
  snapshot.runsTotal = 17;
  snapshot.lastRunStart = timePointAt(1'773'483'300);
  snapshot.lastRunDurationSeconds = 12.3456;
  snapshot.lastRunSucceeded = true;
  snapshot.quarantineBytes = 18;
  snapshot.quarantineItems = 19;
  snapshot.volumeTotalBytes = 20;
  snapshot.volumeAvailableBytes = 0;
  snapshot.freedBytesThisRun = 0;
  snapshot.freedBytesTotal = 21;
  return snapshot;
}

constexpr const char* busyHostText = R"(# HELP tidra_build_info Tidra version and rule catalog. Always 1.
# TYPE tidra_build_info gauge
tidra_build_info{version="1.3.0",catalog="2026.1"} 1
# HELP tidra_reclaimable_bytes Bytes Tidra could reclaim on this host, by safety tier.
# TYPE tidra_reclaimable_bytes gauge
tidra_reclaimable_bytes{tier="safe"} 18446744073709551615
tidra_reclaimable_bytes{tier="caution"} 0
tidra_reclaimable_bytes{tier="warning"} 3
# HELP tidra_reclaimable_bytes_by_category Bytes Tidra could reclaim on this host, by category.
# TYPE tidra_reclaimable_bytes_by_category gauge
tidra_reclaimable_bytes_by_category{category="aiModels"} 5
tidra_reclaimable_bytes_by_category{category="python"} 6
# HELP tidra_reclaimable_items Findings in the last scan.
# TYPE tidra_reclaimable_items gauge
tidra_reclaimable_items 7
# HELP tidra_planned_bytes Bytes the policy selected for removal in the last run.
# TYPE tidra_planned_bytes gauge
tidra_planned_bytes 8
# HELP tidra_planned_items Items the policy selected for removal in the last run.
# TYPE tidra_planned_items gauge
tidra_planned_items 9
# HELP tidra_last_run_disposed_bytes Bytes removed in the last run.
# TYPE tidra_last_run_disposed_bytes gauge
tidra_last_run_disposed_bytes 10
# HELP tidra_last_run_failures Disposal failures in the last run.
# TYPE tidra_last_run_failures gauge
tidra_last_run_failures 12
# HELP tidra_disposed_bytes_total Bytes removed by Tidra on this host since the audit log began.
# TYPE tidra_disposed_bytes_total counter
tidra_disposed_bytes_total 1234567
# HELP tidra_disposed_items_total Items removed by Tidra on this host since the audit log began.
# TYPE tidra_disposed_items_total counter
tidra_disposed_items_total 14
# HELP tidra_dispose_failures_total Disposal failures since the audit log began.
# TYPE tidra_dispose_failures_total counter
tidra_dispose_failures_total 15
# HELP tidra_purged_bytes_total Bytes permanently freed from quarantine or trash since the audit log began.
# TYPE tidra_purged_bytes_total counter
tidra_purged_bytes_total 16
# HELP tidra_runs_total Completed policy runs since the audit log began.
# TYPE tidra_runs_total counter
tidra_runs_total 17
# HELP tidra_last_run_timestamp_seconds Start time of the last run.
# TYPE tidra_last_run_timestamp_seconds gauge
tidra_last_run_timestamp_seconds 1773483300
# HELP tidra_last_run_duration_seconds Wall time of the last run.
# TYPE tidra_last_run_duration_seconds gauge
tidra_last_run_duration_seconds 12.346
# HELP tidra_last_run_success 1 if the last run completed without disposal failures.
# TYPE tidra_last_run_success gauge
tidra_last_run_success 1
# HELP tidra_dry_run 1 if the policy runs in dry-run mode.
# TYPE tidra_dry_run gauge
tidra_dry_run 0
# HELP tidra_quarantine_bytes Bytes currently held in Tidra's quarantine.
# TYPE tidra_quarantine_bytes gauge
tidra_quarantine_bytes 18
# HELP tidra_quarantine_items Items currently held in Tidra's quarantine.
# TYPE tidra_quarantine_items gauge
tidra_quarantine_items 19
# HELP tidra_volume_total_bytes Size of the volume holding the scan root.
# TYPE tidra_volume_total_bytes gauge
tidra_volume_total_bytes 20
# HELP tidra_volume_available_bytes Free space on the volume holding the scan root.
# TYPE tidra_volume_available_bytes gauge
tidra_volume_available_bytes 0
# HELP tidra_last_run_freed_bytes Bytes the volumes gained by the last run.
# TYPE tidra_last_run_freed_bytes gauge
tidra_last_run_freed_bytes 0
# HELP tidra_freed_bytes_total Bytes the volumes gained by Tidra since the audit log began.
# TYPE tidra_freed_bytes_total counter
tidra_freed_bytes_total 21
)";

/// The lines of samples with this prefix.
std::string samples(const std::string& text, const std::string& name) {
  std::string found;
  for (std::size_t begin = 0; begin < text.size();) {
    const auto end = text.find('\n', begin) + 1;
    if (text.compare(begin, name.size(), name) == 0) found += text.substr(begin, end - begin);
    begin = end;
  }
  return found;
}

FleetMetricsSnapshot awkwardHost() {
  FleetMetricsSnapshot snapshot;
  snapshot.version = "1\n2";
  snapshot.catalogVersion = "c:\\\"x\"";
  using namespace std::string_literals;
  // The last two become equal as labels; their sum overflows.
  snapshot.reclaimableBytesByCategory = {{"a \"b\"", 1}, {"ö\r\t{}=,", 2}, {"nul\0here"s, 3},
                                         {"", 4},        {"bad\xFE", 5},   {"bad\xFF", ~0ULL}};
  return snapshot;
}

TEST(PrometheusRenderer, RendersEveryFamilyInOrder) { EXPECT_EQ(PrometheusRenderer::render(busyHost()), busyHostText); }

TEST(PrometheusRenderer, WithoutFindingsAndVolumeItRendersZerosAndNoVolume) {
  const auto text = PrometheusRenderer::render({});
  EXPECT_EQ(samples(text, "tidra_reclaimable_bytes"),
            "tidra_reclaimable_bytes{tier=\"safe\"} 0\ntidra_reclaimable_bytes{tier=\"caution\"} 0\n"
            "tidra_reclaimable_bytes{tier=\"warning\"} 0\n");
  EXPECT_EQ(text.find("tidra_volume"), std::string::npos);
  EXPECT_TRUE(text.ends_with("tidra_quarantine_items 0\n"));
  EXPECT_EQ(samples(text, "tidra_last_run_success"), "tidra_last_run_success 0\n");
}

TEST(PrometheusRenderer, EscapesLabelsAndNeverDoublesASeries) {
  const auto text = PrometheusRenderer::render(awkwardHost());
  EXPECT_EQ(samples(text, "tidra_build_info"), "tidra_build_info{version=\"1\\n2\",catalog=\"c:\\\\\\\"x\\\"\"} 1\n");
  EXPECT_EQ(samples(text, "tidra_reclaimable_bytes_by_category"),
            "tidra_reclaimable_bytes_by_category{category=\"\"} 4\n"
            "tidra_reclaimable_bytes_by_category{category=\"a \\\"b\\\"\"} 1\n"
            "tidra_reclaimable_bytes_by_category{category=\"bad\uFFFD\"} 18446744073709551615\n"
            "tidra_reclaimable_bytes_by_category{category=\"nul\uFFFDhere\"} 3\n"
            "tidra_reclaimable_bytes_by_category{category=\"ö\r\t{}=,\"} 2\n");
}

TEST(PrometheusRenderer, PromtoolHasNoComplaint) {
  if (std::system("command -v promtool >/dev/null 2>&1") != 0) GTEST_SKIP() << "promtool is not here";
  const TemporaryTree tree;
  auto dryRun = busyHost();
  dryRun.dryRun = true;
  for (const auto& snapshot : {busyHost(), awkwardHost(), FleetMetricsSnapshot{}, dryRun}) {
    tree.writeFile("metrics", PrometheusRenderer::render(snapshot));
    const std::string said = tree.path("said");
    const auto command = "promtool check metrics <'" + tree.path("metrics") + "' >'" + said + "' 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(*readFile(said), "");
  }
}

}  // namespace
}  // namespace tidra
