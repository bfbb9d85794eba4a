// Measures the hub's store with a demo fleet in a folder that "tidra hub demo" has written:
//
//   tidra_bench_hub_store views FOLDER            loading, the summary, the metrics and a page of hosts
//   tidra_bench_hub_store ingest FOLDER [ROUNDS]  storing reports, against a bare loop that writes equal files to a
//                                                 temporary name, flushes and renames them
//
// Adds some reports to the hosts of the folder.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "bench/measuring.h"
#include "core/base/json_fields.h"
#include "fleet/hub/host_file.h"
#include "fleet/hub/hub_store.h"
#include "fleet/hub/protocol/hub_json.h"

namespace {

using tidra::HubJSON;
using tidra::HubStore;
using tidra::secondsOf;
using tidra::TimePoint;

double processorSeconds() {
  struct rusage usage {};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double peakMegabytes() {
  struct rusage usage {};
  ::getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

void require(bool worked, const char* what) {
  if (worked) return;
  std::perror(what);
  std::exit(1);
}

double medianOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

/// CPU time beside wall time: the machine may be shared.
template <class Work>
void report(const char* what, Work work) {
  constexpr int times = 9;
  std::vector<double> wall, processor;
  for (int i = 0; i < times; ++i) {
    const double before = processorSeconds();
    wall.push_back(secondsOf(work));
    processor.push_back(processorSeconds() - before);
  }
  std::printf("%-44s %8.2f ms, %.2f ms of processors\n", what, medianOf(wall) * 1e3, medianOf(processor) * 1e3);
}

/// The time of the fleet's newest report, so that the fleet is as fresh as when it was written.
TimePoint newestIn(const HubStore& store) {
  TimePoint newest{};
  for (const auto& file : store.inventory()) newest = std::max(newest, file->lastSeen);
  return newest;
}

void views(const std::string& folder) {
  std::optional<HubStore> store;
  const double processor = processorSeconds();
  const double wall = secondsOf([&] { store.emplace(folder, 7200.0, "Fleet", TimePoint{}); });
  std::size_t points = 0;
  for (const auto& file : store->inventory()) points += file->history.size();
  std::printf("%zu hosts, %zu points\n", store->inventory().size(), points);
  std::printf("%-44s %8.2f s, %.2f s of processors, %.0f MB at the peak\n", "start", wall,
              processorSeconds() - processor, peakMegabytes());
  const TimePoint now = newestIn(*store);
  std::size_t bytes = 0;
  report("summary, as JSON", [&] { bytes += HubJSON::compact(store->summary(now)).size(); });
  report("metrics", [&] { bytes += store->metrics(now, "1.3.0").size(); });
  const auto page = [&](const tidra::HubHostQuery& query) {
    const auto found = store->hosts(query, now);
    bytes += tidra::compactJson(found.hosts).size();
  };
  report("first page of 50 hosts, as JSON", [&] { page({.limit = 50, .withHistory = false}); });
  report("page of 50 hosts with a text and a status",
         [&] { page({.text = "ci", .status = tidra::HubHostStatus::attention, .limit = 50, .withHistory = false}); });
  report("the last 200 events", [&] { bytes += store->recentEvents(200).size(); });
  require(bytes > 0, "nothing came out");
  std::printf("%-44s %8.0f MB\n", "peak memory in the end", peakMegabytes());
}

/// The least a durable store of whole files does: temporary file, `fsync`, atomic rename. Only an `fsync` of the folder
/// makes the rename itself survive a power loss.
void writeBare(const std::string& path, const std::string& bytes, int folder) {
  const std::string temporary = path + ".tmp";
  const int file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  require(file >= 0 && ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "write");
  require(::fsync(file) == 0 && ::close(file) == 0, "flush");
  require(::rename(temporary.c_str(), path.c_str()) == 0, "rename");
  require(folder < 0 || ::fsync(folder) == 0, "flush the folder");
}

/// The three ways take turns report by report, because the speed of a disk changes within a second. The first round is
/// not counted: its files do not replace recently replaced ones.
void ingest(const std::string& folder, int rounds) {
  constexpr std::size_t mostHosts = 200;
  HubStore store(folder, 7200.0, "Fleet", TimePoint{});
  auto hosts = store.inventory();
  hosts.resize(std::min(hosts.size(), mostHosts));
  const TimePoint now = newestIn(store) + std::chrono::seconds{60};
  const std::string bareFolder = folder + "/bare";
  ::mkdir(bareFolder.c_str(), 0700);
  const int opened = ::open(bareFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  require(opened >= 0, "open the folder");
  std::vector<double> ours, bare, bareWithFolder;
  for (int round = 0; round <= rounds; ++round) {
    for (std::size_t i = 0; i < hosts.size(); ++i) {
      const std::string text = tidra::HubJSON::compact(*hosts[i]);
      const std::string path = bareFolder + "/" + std::to_string(i) + ".json";
      const std::string otherPath = path + "-2";
      const tidra::HubHostReport report = hosts[i]->latest;
      double seconds[3] = {};
      for (std::size_t turn = 0; turn < 3; ++turn) {
        const std::size_t way = (i + turn) % 3;
        seconds[way] = secondsOf([&] {
          if (way == 0) writeBare(path, text, -1);
          if (way == 1) writeBare(otherPath, text, opened);
          if (way == 2) store.ingest(report, now);
        });
      }
      if (round == 0) continue;
      bare.push_back(seconds[0]);
      bareWithFolder.push_back(seconds[1]);
      ours.push_back(seconds[2]);
    }
  }
  const double ms = 1e3;
  const double us = medianOf(ours), floor = medianOf(bare), floorWithFolder = medianOf(bareWithFolder);
  std::printf("%zu reports, medians: store %.3f ms, bare %.3f ms, bare with the folder flushed %.3f ms\n", ours.size(),
              us * ms, floor * ms, floorWithFolder * ms);
  std::printf("the store takes in %.2f times what the bare loop does, %.2f times with the folder flushed\n", floor / us,
              floorWithFolder / us);
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    const std::string path = bareFolder + "/" + std::to_string(i) + ".json";
    ::unlink(path.c_str());
    ::unlink((path + "-2").c_str());
  }
  ::rmdir(bareFolder.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  if (argc < 3 || (what != "views" && what != "ingest")) return 2;
  constexpr int usualRounds = 7;
  if (what == "views") views(argv[2]);
  if (what == "ingest") ingest(argv[2], argc > 3 ? std::atoi(argv[3]) : usualRounds);
  return 0;
}
