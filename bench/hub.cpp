// Measures the responses of a hub with many hosts, and reports that arrive at the same time:
//
//   tidra_bench_hub FOLDER HOSTS
//
// Makes a data folder with HOSTS hosts, each with a full history, in FOLDER, and removes it at the end. Prints the
// seconds to load it, the CPU milliseconds of each response (the minimum of several: a busy machine only adds), and the
// milliseconds of a report, alone and while responses are made.
#include <ctime>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "core/platform/files.h"
#include "fleet/hub/host_file.h"
#include "fleet/hub/hub_server.h"
#include "fleet/hub/protocol/hub_json.h"

namespace {

using tidra::HTTPRequest;
using tidra::HubHostFile;
using tidra::HubHostReport;
using tidra::TimePoint;

constexpr TimePoint now{std::chrono::seconds{1773489600}};
constexpr std::size_t findings = 25;

double millisecondsNow(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

HubHostFile hostNumber(std::size_t number) {
  HubHostFile file;
  file.host = "host-" + std::to_string(number) + ".example.org";
  file.lastSeen = now;
  HubHostReport& latest = file.latest;
  latest.host = file.host;
  latest.platform = tidra::TidraPlatform::linux;
  latest.tidraVersion = "1.3.0";
  latest.policyName = "agent-host";
  latest.runID = "0B6C7C1E-0A55-4B8C-9C55-7B2F9D0E5A11";
  latest.startedAt = now;
  latest.succeeded = number % 9 != 0;
  latest.tags = {{"rack", std::to_string(number % 40)}, {"site", "berlin"}};
  latest.reclaimableBytes = static_cast<std::int64_t>(number) << 20U;
  latest.bytesByTier = {{"safe", 1000}, {"caution", 100}, {"warning", 10}};
  latest.bytesByCategory = {{"node", 500}, {"python", 400}, {"rust", 210}};
  latest.volumeTotalBytes = 1000;
  latest.volumeAvailableBytes = static_cast<std::int64_t>(50 + number % 500);
  latest.auditHeadHash = std::string(64, 'a');
  for (std::size_t i = 0; i < findings; ++i) {
    latest.topItems.push_back({"/home/dev/project-" + std::to_string(i) + "/node_modules", "node_modules",
                               static_cast<std::int64_t>(i), tidra::ArtifactSafetyTier::safe, "node", "node-modules",
                               40});
  }
  for (std::size_t i = 0; i < HubHostFile::mostHistory; ++i) {
    const auto before = std::chrono::minutes{43 * (HubHostFile::mostHistory - i)};
    file.history.push_back({now - before, 1'000'000'000, 1'000'000, 0, 100'000'000'000, false});
  }
  file.reports = static_cast<std::int64_t>(file.history.size());
  return file;
}

void makeFolder(const std::string& folder, std::size_t hosts) {
  std::filesystem::create_directories(folder + "/hosts");
  for (std::size_t i = 0; i < hosts; ++i) {
    const HubHostFile file = hostNumber(i);
    std::FILE* out = std::fopen((folder + "/hosts/" + tidra::hostFileName(file.host)).c_str(), "w");
    const std::string text = tidra::HubJSON::compact(file);
    if (out == nullptr || std::fwrite(text.data(), 1, text.size(), out) != text.size() || std::fclose(out) != 0) {
      std::perror(folder.c_str());
      std::exit(1);
    }
  }
}

struct Answer {
  const char* name;
  HTTPRequest request;
};

std::vector<Answer> answers() {
  const std::map<std::string, std::string> part{{"limit", "500"}, {"history", "0"}, {"topItems", "0"}};
  auto search = part;
  search["q"] = "HOST-99";
  return {{"health", {"GET", "/healthz", {}, {}, {}}},
          {"500 hosts of the listing", {"GET", "/api/v1/hosts", part, {}, {}}},
          {"the same, searched", {"GET", "/api/v1/hosts", search, {}, {}}},
          {"all hosts as a table", {"GET", "/api/v1/hosts.csv", {}, {}, {}}},
          {"one host", {"GET", "/api/v1/hosts/host-7.example.org", {}, {}, {}}},
          {"summary", {"GET", "/api/v1/summary", {}, {}, {}}},
          {"metrics", {"GET", "/metrics", {}, {}, {}}},
          {"metrics, compressed", {"GET", "/metrics", {}, {{"accept-encoding", "gzip"}}, {}}}};
}

double leastCost(tidra::HubServer& hub, const HTTPRequest& request) {
  constexpr int rounds = 15;
  double least = 1e9;
  for (int i = 0; i < rounds; ++i) {
    const double start = millisecondsNow(CLOCK_THREAD_CPUTIME_ID);
    if (hub.handle(request).status != 200) std::exit(1);
    least = std::min(least, millisecondsNow(CLOCK_THREAD_CPUTIME_ID) - start);
  }
  return least;
}

/// Median and 95th percentile of 100 reports.
std::pair<double, double> reportCost(tidra::HubServer& hub) {
  HTTPRequest request{"POST", "/api/v1/report", {}, {{"content-type", "application/json"}}, {}};
  request.body = tidra::HubJSON::compact(hostNumber(0).latest);
  std::vector<double> times;
  for (int i = 0; i < 100; ++i) {
    const double start = millisecondsNow(CLOCK_MONOTONIC);
    if (hub.handle(request).status != 200) std::exit(1);
    times.push_back(millisecondsNow(CLOCK_MONOTONIC) - start);
  }
  std::sort(times.begin(), times.end());
  return {times[50], times[94]};
}

void measure(const std::string& folder) {
  tidra::HubConfig config;
  config.dataDir = folder;
  const double start = millisecondsNow(CLOCK_MONOTONIC);
  tidra::HubServer hub(
      config, [] { return now; }, [](const std::string&) {});
  std::printf("%zu hosts loaded in %.2f s\n", hub.store().inventory().size(),
              (millisecondsNow(CLOCK_MONOTONIC) - start) / 1e3);
  const auto [alone, aloneLate] = reportCost(hub);
  std::printf("%-26s %8s    a report: middle %6.2f ms   95 of 100 %6.2f ms\n", "nothing", "", alone, aloneLate);
  for (const Answer& answer : answers()) {
    const double cost = leastCost(hub, answer.request);
    std::atomic<bool> done = false;
    std::thread reader([&] {
      while (!done) hub.handle(answer.request);
    });
    const auto [middle, late] = reportCost(hub);
    done = true;
    reader.join();
    std::printf("%-26s %8.3f ms            middle %6.2f ms   95 of 100 %6.2f ms\n", answer.name, cost, middle, late);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t hosts = argc == 3 ? std::strtoull(argv[2], nullptr, 10) : 0;
  if (hosts == 0) return 2;
  const std::string folder = std::string(argv[1]) + "/tidra-bench-hub";
  std::filesystem::remove_all(folder);
  makeFolder(folder, hosts);
  measure(folder);
  std::filesystem::remove_all(folder);
}
