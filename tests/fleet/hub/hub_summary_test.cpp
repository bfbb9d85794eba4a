#include <gtest/gtest.h>

#include <limits>

#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/process_runner.h"
#include "fleet/hub/hub_store.h"
#include "tests/fleet/hub/hub_fixture.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::seconds;

class HubSummaryTest : public testing::Test {
 protected:
  void open() {
    store_.reset();
    store_ = std::make_unique<HubStore>(tree_.path("data"), 7200, "Fleet", noon);
  }
  void SetUp() override { open(); }

  void ingest(const std::string& host, TimePoint time, std::int64_t bytes, std::int64_t failures = 0) {
    auto report = plainReport(host);
    report.disposedBytes = bytes;
    if (failures > 0) report.freedBytes = 3 * bytes;
    report.failures = failures;
    store_->ingest(report, time);
  }

  const TemporaryTree tree_;
  std::unique_ptr<HubStore> store_;
};

TEST_F(HubSummaryTest, OfAnEmptyInventoryIsEmpty) {
  HubSummary expected;
  expected.generatedAt = noon;
  expected.title = "Fleet";
  expected.hostsByStatus = {{"healthy", 0}, {"attention", 0}, {"stale", 0}};
  expected.staleAfterSeconds = 7200;
  EXPECT_EQ(store_->summary(noon), expected);
}

TEST_F(HubSummaryTest, AddsUpTheLatestReports) {
  store_->ingest(busyReport("web"), noon);
  auto second = busyReport("db");
  second.platform = TidraPlatform::macOS;
  second.policyName = "developer";
  second.dryRun = true;
  second.failures = 0;
  second.startedAt = noon + seconds{1};
  second.disposedBytesTotal = 1000;
  second.freedBytes.reset();  // an older agent
  second.freedBytesTotal.reset();
  second.reclaimableBytes = 0;
  second.volumeAvailableBytes = 500;
  second.topItems[0].label = "target";
  store_->ingest(second, noon);
  auto third = plainReport("old");
  third.volumeAvailableBytes = 7;  // of a volume without a size
  store_->ingest(third, noon - hours{3});

  const HubSummary summary = store_->summary(noon);
  using Counts = std::map<std::string, std::int64_t>;
  EXPECT_EQ(summary.hosts, 3);
  EXPECT_EQ(summary.hostsByStatus, (Counts{{"healthy", 1}, {"attention", 1}, {"stale", 1}}));
  EXPECT_EQ(summary.hostsByPlatform, (Counts{{"linux", 2}, {"macos", 1}}));
  EXPECT_EQ(summary.hostsByPolicy, (Counts{{"agent-host", 1}, {"developer", 1}, {"", 1}}));
  EXPECT_EQ(summary.hostsByVersion, (Counts{{"1.3.0", 2}, {"", 1}}));
  EXPECT_EQ(summary.hostsDryRun, 1);
  EXPECT_EQ(summary.reclaimableBytes, 2);
  EXPECT_EQ(summary.bytesByTier, (Counts{{"safe", 6}, {"warning", 8}}));
  EXPECT_EQ(summary.bytesByCategory, (Counts{{"node", 10}}));
  EXPECT_EQ(summary.plannedBytes, 14);
  EXPECT_EQ(summary.disposedBytesTotal, 1014);
  EXPECT_EQ(summary.disposedItemsTotal, 30);
  EXPECT_EQ(summary.freedBytesTotal, 24 + 1000);
  EXPECT_EQ(summary.freedBytesLast24h, 23 + 9);
  EXPECT_EQ(summary.hostsWithoutFreed, 2);
  EXPECT_EQ(summary.runsTotal, 34);
  EXPECT_EQ(summary.failuresTotal, 32);
  EXPECT_EQ(summary.failuresLast24h, 10);
  EXPECT_EQ(summary.quarantineBytes, 36);
  EXPECT_EQ(summary.volumeTotalBytes, 2000);
  EXPECT_EQ(summary.volumeAvailableBytes, 599);
  EXPECT_EQ(summary.hostsLowDisk, 1);
  EXPECT_EQ(summary.topReclaimable, (std::vector<HubSummary::HostBytes>{{"web", 2}}));
  EXPECT_EQ(summary.topFreed, (std::vector<HubSummary::HostBytes>{{"db", 1000}, {"web", 24}}));
  EXPECT_EQ(summary.lowestDisk, (std::vector<HubSummary::HostDisk>{{"web", 99, 1000, 0.099}, {"db", 500, 1000, 0.5}}));
  EXPECT_EQ(summary.topRules,
            (std::vector<HubSummary::RuleBytes>{{"node_modules", ArtifactSafetyTier::safe, "node", 23, 2},
                                                {"target", ArtifactSafetyTier::safe, "node", 21, 1}}));
  ASSERT_EQ(summary.recentRuns.size(), 3U);
  EXPECT_EQ(summary.recentRuns[0], (HubSummary::RecentRun{"db", noon + seconds{1}, 9, 8, 0, true, true, 0}));

  second.disposedBytesTotal = std::numeric_limits<std::int64_t>::max();
  store_->ingest(second, noon);
  EXPECT_EQ(store_->summary(noon).disposedBytesTotal, std::numeric_limits<std::int64_t>::max());
}

TEST_F(HubSummaryTest, CountsWhatLiesWithinItsWindowsToTheSecond) {
  const TimePoint now = noon + seconds{30};
  std::int64_t bit = 1;
  for (const auto ago : {seconds{0}, seconds{hours{24}}, seconds{hours{24}} + seconds{1}, seconds{days{7}},
                         seconds{days{7}} + seconds{1}, seconds{days{29}}, seconds{days{30}}, seconds{days{400}}}) {
    ingest("web", now - ago, bit, bit);
    bit *= 2;
  }
  const auto check = [&] {
    const auto summary = store_->summary(now);
    EXPECT_EQ(summary.disposedBytesLast24h, 1 + 2);
    EXPECT_EQ(summary.failuresLast24h, 1 + 2);
    EXPECT_EQ(summary.disposedBytesLast7d, 1 + 2 + 4 + 8);
    EXPECT_EQ(summary.freedBytesLast24h, 3 * (1 + 2));
    EXPECT_EQ(summary.freedBytesLast7d, 3 * (1 + 2 + 4 + 8));
    ASSERT_EQ(summary.trend.size(), 30U);
    EXPECT_EQ(summary.trend[29], (HubSummary::DayPoint{"2026-03-14", 1, 1, 1, 3}));
    EXPECT_EQ(summary.trend[28], (HubSummary::DayPoint{"2026-03-13", 2 + 4, 2, 2 + 4, 3 * (2 + 4)}));
    EXPECT_EQ(summary.trend[0], (HubSummary::DayPoint{"2026-02-13", 32, 1, 32, 3 * 32}));
  };
  check();
  open();
  check();
  ingest("later", now + days{300}, 0);  // the requested time is long before the newest report
  EXPECT_EQ(store_->summary(now).disposedBytesLast24h, 1 + 2);
  EXPECT_EQ(store_->summary(now).disposedBytesLast7d, 1 + 2 + 4 + 8);
}

TEST_F(HubSummaryTest, ForgetsWhatLeftTheHistory) {
  for (int i = 0; i < 1003; ++i) ingest("web", noon + seconds{i}, i);
  ingest("db", noon, 1'000'000);
  const auto expected = 1'000'000 + (3 + 1002) * 1000 / 2;
  EXPECT_EQ(store_->summary(noon + hours{1}).disposedBytesLast24h, expected);
  EXPECT_EQ(store_->summary(noon + hours{1}).trend.back().runs, 1001);
  store_->remove("db", noon);
  EXPECT_EQ(store_->summary(noon + hours{1}).disposedBytesLast24h, expected - 1'000'000);
  store_->ingest(busyReport("db"), noon);
  store_->ingest(plainReport("db"), noon);
  EXPECT_TRUE(store_->summary(noon).topRules.empty());
}

constexpr const char* emptyFleetText = R"(# HELP tidra_hub_build_info Tidra hub version. Always 1.
# TYPE tidra_hub_build_info gauge
tidra_hub_build_info{version="1.3.0"} 1
# HELP tidra_hub_hosts Hosts in the inventory, by status.
# TYPE tidra_hub_hosts gauge
tidra_hub_hosts{status="healthy"} 0
tidra_hub_hosts{status="attention"} 0
tidra_hub_hosts{status="stale"} 0
# HELP tidra_hub_reclaimable_bytes Reclaimable bytes across the fleet, by tier.
# TYPE tidra_hub_reclaimable_bytes gauge
tidra_hub_reclaimable_bytes{tier="safe"} 0
tidra_hub_reclaimable_bytes{tier="caution"} 0
tidra_hub_reclaimable_bytes{tier="warning"} 0
)";

std::string withoutComments(const std::string& text) {
  std::string samples;
  for (const auto line : splitNonEmpty(text, '\n')) {
    if (!line.starts_with('#')) samples += std::string(line) + '\n';
  }
  return samples;
}

TEST_F(HubSummaryTest, BecomesMetrics) {
  EXPECT_TRUE(store_->metrics(noon, "1.3.0").starts_with(emptyFleetText));
  store_->ingest(busyReport("a\"\\\n"), noon);
  store_->ingest(plainReport("b"), noon);
  EXPECT_EQ(withoutComments(store_->metrics(noon, "1.3.0")), R"(tidra_hub_build_info{version="1.3.0"} 1
tidra_hub_hosts{status="healthy"} 1
tidra_hub_hosts{status="attention"} 1
tidra_hub_hosts{status="stale"} 0
tidra_hub_reclaimable_bytes{tier="safe"} 3
tidra_hub_reclaimable_bytes{tier="caution"} 0
tidra_hub_reclaimable_bytes{tier="warning"} 4
tidra_hub_reclaimable_bytes_by_category{category="node"} 5
tidra_hub_disposed_bytes_total 14
tidra_hub_disposed_bytes_last_24h 9
tidra_hub_dispose_failures_total 16
tidra_hub_quarantine_bytes 18
tidra_hub_volume_available_bytes 99
tidra_hub_volume_total_bytes 1000
tidra_hub_hosts_low_disk 1
tidra_hub_host_info{host="a\"\\\n",platform="linux",version="1.3.0",policy="agent-host",status="attention"} 1
tidra_hub_host_info{host="b",platform="linux",version="",policy="",status="healthy"} 1
tidra_hub_host_reclaimable_bytes{host="a\"\\\n",tier="safe"} 3
tidra_hub_host_reclaimable_bytes{host="a\"\\\n",tier="caution"} 0
tidra_hub_host_reclaimable_bytes{host="a\"\\\n",tier="warning"} 4
tidra_hub_host_reclaimable_bytes{host="b",tier="safe"} 0
tidra_hub_host_reclaimable_bytes{host="b",tier="caution"} 0
tidra_hub_host_reclaimable_bytes{host="b",tier="warning"} 0
tidra_hub_host_disposed_bytes_total{host="a\"\\\n"} 14
tidra_hub_host_disposed_bytes_total{host="b"} 0
tidra_hub_host_last_run_disposed_bytes{host="a\"\\\n"} 9
tidra_hub_host_last_run_disposed_bytes{host="b"} 0
tidra_hub_host_last_run_failures{host="a\"\\\n"} 10
tidra_hub_host_last_run_failures{host="b"} 0
tidra_hub_host_last_run_success{host="a\"\\\n"} 1
tidra_hub_host_last_run_success{host="b"} 1
tidra_hub_host_dry_run{host="a\"\\\n"} 0
tidra_hub_host_dry_run{host="b"} 0
tidra_hub_host_last_report_timestamp_seconds{host="a\"\\\n"} 1773489600
tidra_hub_host_last_report_timestamp_seconds{host="b"} 1773489600
tidra_hub_host_quarantine_bytes{host="a\"\\\n"} 18
tidra_hub_host_quarantine_bytes{host="b"} 0
tidra_hub_host_volume_available_bytes{host="a\"\\\n"} 99
tidra_hub_host_volume_total_bytes{host="a\"\\\n"} 1000
tidra_hub_host_audit_seq{host="a\"\\\n"} 20
tidra_hub_host_audit_seq{host="b"} 0
tidra_hub_freed_bytes_total 24
tidra_hub_freed_bytes_last_24h 23
tidra_hub_host_freed_bytes_total{host="a\"\\\n"} 24
tidra_hub_host_last_run_freed_bytes{host="a\"\\\n"} 23
)");
}

TEST_F(HubSummaryTest, BecomesMetricsThatPrometheusTakes) {
  const std::string promtool = "/usr/bin/promtool";
  if (!isExecutableFile(promtool)) GTEST_SKIP() << "promtool is not installed";
  // The last two are equal as labels; shorter names as similar would share a file.
  const std::string longName(240, 'x');
  for (const std::string& host : {std::string("a\u0001\"\\\n"), longName + '\0', longName + "\uFFFD"})
    store_->ingest(busyReport(host), noon);
  const std::string file = tree_.writeFile("metrics", store_->metrics(noon, "1.3.0"));
  const auto result = ProcessRunner::run({.executablePath = "/bin/sh",
                                          .arguments = {"-c", promtool + " check metrics < " + file},
                                          .currentDirectory = tree_.root(),
                                          .environment = {},
                                          .timeoutSeconds = 60});
  ASSERT_TRUE(result);
  // 3: only the naming of metrics was criticised.
  EXPECT_TRUE(result->status == 0 || result->status == 3) << result->stderr_;
  EXPECT_EQ(result->stderr_.find("error"), std::string::npos) << result->stderr_;
}

}  // namespace
}  // namespace tidra
