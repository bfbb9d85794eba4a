#include "fleet/hub/host_status.h"

#include <gtest/gtest.h>

#include "tests/fleet/hub/hub_fixture.h"

namespace tidra {
namespace {

using Reasons = std::vector<std::string>;

HubHostCondition conditionAfter(std::int64_t seconds, HubHostReport latest, double staleAfter = 7200) {
  HubHostFile file;
  file.lastSeen = noon;
  file.latest = std::move(latest);
  return conditionOf(file, noon + std::chrono::seconds{seconds}, staleAfter);
}

HubHostReport reportEvery(std::int64_t interval) {
  auto report = plainReport("web");
  report.intervalSeconds = interval;
  return report;
}

TEST(HostStatus, IsStaleOnceSilenceExceedsWhatTheAgentAllowsFor) {
  const auto statusAfter = [](std::int64_t seconds, const HubHostReport& latest) {
    return conditionAfter(seconds, latest).status;
  };
  EXPECT_EQ(statusAfter(900, reportEvery(60)), HubHostStatus::healthy);
  EXPECT_EQ(statusAfter(901, reportEvery(60)), HubHostStatus::stale);
  EXPECT_EQ(statusAfter(9000, reportEvery(3600)), HubHostStatus::healthy);
  EXPECT_EQ(statusAfter(9001, reportEvery(3600)), HubHostStatus::stale);
  EXPECT_EQ(statusAfter(7200, plainReport("web")), HubHostStatus::healthy);
  EXPECT_EQ(statusAfter(7201, reportEvery(0)), HubHostStatus::stale);
  EXPECT_EQ(statusAfter(-100, plainReport("web")), HubHostStatus::healthy);  // the hub's clock was put back
}

TEST(HostStatus, PutsTheSilenceAloneInWords) {
  auto failing = reportEvery(1);
  failing.failures = 3;
  EXPECT_EQ(conditionAfter(3599, failing).reasons, Reasons{"no report for 59 min"});
  EXPECT_EQ(conditionAfter(86399, failing).reasons, Reasons{"no report for 23 h"});
  EXPECT_EQ(conditionAfter(3 * 86400 - 1, failing).reasons, Reasons{"no report for 2 d"});
}

TEST(HostStatus, GathersTheReasonsOfAReportInOrder) {
  auto report = plainReport("web");
  report.succeeded = false;
  EXPECT_EQ(conditionAfter(0, report).reasons, Reasons{"last run did not succeed"});
  report.failures = 1;
  EXPECT_EQ(conditionAfter(0, report).reasons, Reasons{"1 disposal failure in last run"});
  report.failures = 3;
  report.volumeTotalBytes = 10000;
  report.volumeAvailableBytes = 999;
  EXPECT_EQ(conditionAfter(0, report).reasons, (Reasons{"3 disposal failures in last run", "disk 9% free"}));
  EXPECT_EQ(conditionAfter(0, report).status, HubHostStatus::attention);

  const auto reasonsWithDisk = [](std::optional<std::int64_t> total, std::optional<std::int64_t> available) {
    auto latest = plainReport("web");
    latest.volumeTotalBytes = total;
    latest.volumeAvailableBytes = available;
    return conditionAfter(0, latest).reasons;
  };
  EXPECT_EQ(reasonsWithDisk(10000, 1000), Reasons{});
  EXPECT_EQ(reasonsWithDisk(10000, 0), Reasons{"disk 0% free"});
  EXPECT_EQ(reasonsWithDisk(0, 0), Reasons{});
  EXPECT_EQ(reasonsWithDisk(std::nullopt, 5), Reasons{});
  EXPECT_EQ(reasonsWithDisk(5, std::nullopt), Reasons{});
}

}  // namespace
}  // namespace tidra
