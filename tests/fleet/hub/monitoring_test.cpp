// The files for Prometheus and Grafana use only metrics that the programs emit.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <string>

#include "core/base/json_fields.h"
#include "core/platform/files.h"
#include "core/platform/process_runner.h"
#include "fleet/agent/host_metrics.h"
#include "fleet/hub/hub_metrics.h"
#include "fleet/hub/hub_summary.h"
#include "tests/fleet/hub/hub_fixture.h"

namespace tidra {
namespace {

const std::string folder = std::string(TIDRA_SOURCE_DIR) + "/packaging/monitoring/";

std::string contentOf(const std::string& name) {
  const auto text = readFile(folder + name);
  return text ? *text : "";
}

std::set<std::string> matchesOf(const std::string& text, const std::regex& pattern, std::size_t group) {
  std::set<std::string> found;
  for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match)
    found.insert((*match)[group]);
  return found;
}

/// Families emitted with every optional figure set.
std::set<std::string> emittedFamilies() {
  HubHostFile file;
  file.host = "web";
  file.latest = busyReport("web");
  const HubInventory hosts{std::make_shared<const HubHostFile>(file)};
  HubSummaryInput input;
  input.hosts = hosts;
  FleetMetricsSnapshot agent;
  agent.volumeTotalBytes = 2;
  agent.volumeAvailableBytes = 1;
  agent.freedBytesThisRun = 0;
  agent.freedBytesTotal = 0;
  const std::string text = hubMetrics(hosts, summaryOf(input), {}) + PrometheusRenderer::render(agent);
  return matchesOf(text, std::regex(R"(# TYPE (\w+) )"), 1);
}

TEST(Monitoring, NamesOnlyFamiliesThatAreEmitted) {
  const auto emitted = emittedFamilies();
  EXPECT_EQ(emitted.count("tidra_hub_host_audit_seq") + emitted.count("tidra_last_run_success"), 2U);
  for (const std::string name : {"tidra-alerts.yml", "tidra-alerts.test.yml", "tidra-dashboard.json"}) {
    const auto named = matchesOf(contentOf(name), std::regex(R"(\btidra_\w+)"), 0);
    EXPECT_GT(named.size(), 8U) << name;
    EXPECT_TRUE(std::includes(emitted.begin(), emitted.end(), named.begin(), named.end())) << name;
  }
}

TEST(Monitoring, TheDashboardIsOneThatGrafanaCanTake) {
  const auto dashboard = parseJson(contentOf("tidra-dashboard.json"), "dashboard");
  EXPECT_TRUE(dashboard.at("id").is_null());  // an id belongs to one Grafana
  std::set<int> ids;
  for (const auto& panel : dashboard.at("panels")) {
    EXPECT_TRUE(ids.insert(panel.at("id").get<int>()).second) << panel.at("title");
    const auto& place = panel.at("gridPos");
    EXPECT_LE(place.at("x").get<int>() + place.at("w").get<int>(), 24) << panel.at("title");
    for (const auto& target : panel.at("targets")) {
      EXPECT_EQ(target.at("datasource").at("uid"), "${datasource}") << panel.at("title");
      EXPECT_NE(target.at("expr"), "");
    }
  }
  EXPECT_GT(ids.size(), 8U);
}

TEST(Monitoring, TheRulesAreValidAndFireInTheirStories) {
  const std::string promtool = "/usr/bin/promtool";
  if (!isExecutableFile(promtool)) GTEST_SKIP() << "promtool is not installed";
  for (const auto& [what, name] : {std::pair("check", "tidra-alerts.yml"), {"test", "tidra-alerts.test.yml"}}) {
    const auto run = ProcessRunner::run(
        {.executablePath = promtool, .arguments = {what, "rules", folder + name}, .timeoutSeconds = 60});
    ASSERT_TRUE(run);
    EXPECT_EQ(run->status, 0) << run->stdout_ << run->stderr_;
  }
  // Every alert has a test.
  const std::regex alert(R"(alert(name)?: (Tidra\w+))");
  EXPECT_EQ(matchesOf(contentOf("tidra-alerts.yml"), alert, 2),
            matchesOf(contentOf("tidra-alerts.test.yml"), alert, 2));
}

}  // namespace
}  // namespace tidra
