#include "fleet/hub/demo/demo_fleet.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/open_file.h"
#include "core/platform/path_text.h"
#include "fleet/agent/policy/example_policies.h"
#include "fleet/agent/policy/fleet_policy.h"
#include "fleet/hub/data_folder.h"
#include "fleet/hub/demo/demo_host.h"
#include "fleet/hub/event_log.h"
#include "fleet/hub/folder_listing.h"
#include "fleet/hub/host_file.h"
#include "fleet/hub/hub_policies.h"
#include "fleet/hub/hub_store_error.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;

struct DemoPolicy {
  std::string name;
  std::string document;
};

/// The shipped examples, and variants that an administrator might make.
std::vector<DemoPolicy> demoPolicies() {
  std::vector<DemoPolicy> policies;
  policies.reserve(ExamplePolicies::names.size());
  for (const auto name : ExamplePolicies::names) {
    policies.push_back({std::string(name), std::string(*ExamplePolicies::text(name))});
  }
  const auto add = [&](const std::string& name, const auto& change) {
    FleetPolicy policy = FleetPolicy::parse(*ExamplePolicies::text("agent-host"));
    policy.name = name;
    change(policy);
    policies.push_back({name, policy.text()});
  };
  constexpr std::uint64_t gigabyte = std::uint64_t{1} << 30U;
  add("ci-runner", [](FleetPolicy& policy) {
    policy.scan.categories = {"globalCaches", "docker"};
    policy.autoClean.minIdleDays = 1;
    policy.autoClean.maxBytesPerRun = 200 * gigabyte;
    policy.disposal.method = DisposalMethod::delete_;
    policy.hub.tags = {{"role", "ci"}};
  });
  add("gpu-server", [](FleetPolicy& policy) {
    policy.scan.categories = {"aiTools", "python", "docker"};
    policy.autoClean.minIdleDays = 30;
    policy.autoClean.maxBytesPerRun = 500 * gigabyte;
    policy.never.paths = {"~/keep", "~/models/production"};
    policy.hub.tags = {{"role", "gpu"}};
    policy.hub.intervalSeconds = 6 * 3600;
  });
  add("strict", [](FleetPolicy& policy) {
    policy.autoClean.minIdleDays = 60;
    policy.autoClean.requireKnownIdle = true;
    policy.autoClean.maxItemsPerRun = 20;
    policy.disposal.retentionDays = 30;
    policy.hub.tags.clear();
  });
  return policies;
}

HubEvent eventAt(TimePoint time, HubEvent::Kind kind, std::string message, std::optional<std::string> host = {}) {
  return {.time = time, .kind = kind, .host = std::move(host), .message = std::move(message), .bytes = {}};
}

/// Events besides the reports: actions of administrators and of the hub.
std::vector<HubEvent> housekeeping(const std::vector<DemoPolicy>& policies, const DemoFleet& fleet) {
  using Kind = HubEvent::Kind;
  std::vector<HubEvent> events;
  const TimePoint begin = fleet.now - days{fleet.days};
  events.push_back(eventAt(begin - minutes{9}, Kind::hubStarted, "hub started"));
  TimePoint time = begin - minutes{8};
  for (const DemoPolicy& policy : policies) {
    events.push_back(eventAt(time, Kind::policyUpdated, fmt::format("policy '{}' updated", policy.name)));
    time += minutes{1};
  }
  events.push_back(eventAt(fleet.now - hours{30}, Kind::policyUpdated, "policy 'laptops-old' updated"));
  events.push_back(eventAt(fleet.now - hours{29}, Kind::policyRemoved, "policy 'laptops-old' removed"));
  events.push_back(eventAt(fleet.now - hours{26}, Kind::hostRemoved, "removed from inventory", "ci-linux-retired"));
  events.push_back(eventAt(fleet.now - hours{5}, Kind::hubStarted, "hub started"));
  const std::string refused = "ci/linux-01";
  const auto refusal = HubStoreError::nameTaken(refused, "ci_linux-01.json", "ci_linux-01");
  events.push_back(eventAt(fleet.now - hours{3}, Kind::reportRejected, refusal.what(), refused));
  return events;
}

void requireEmpty(const HubDataFolder& folder) {
  const auto facts = followedFacts(folder.path());
  if (!facts && facts.failure() == std::errc::no_such_file_or_directory) return;
  if (!facts) throw std::system_error(facts.failure(), fmt::format("{} cannot be read", folder.path()));
  if (facts->type == EntryType::directory && namesIn(folder.path()).empty()) return;
  folder.requireFree();
  const bool isFolder = facts->type == EntryType::directory;
  throw InputError(fmt::format("{} {}; a demo fleet is written into a new or empty folder only, choose another one.",
                               escapedForTerminal(folder.path()), isFolder ? "is not empty" : "is not a folder"));
}

/// Into a folder that was empty. Not flushed: after a power loss the demo is simply made again.
void writeNewFile(const std::string& path, std::string_view text) {
  const auto file = makeFile(path);
  const auto failure = file ? appendWhole(*file, text, 0) : file.failure();
  if (failure) throw std::system_error(failure, fmt::format("{} cannot be written", path));
}

/// Keeps the newest run events, the vast majority, and all others.
class EventCollection {
 public:
  void add(std::vector<HubEvent> events) {
    for (HubEvent& event : events) (event.bytes ? runs_ : others_).push_back(std::move(event));
    if (runs_.size() > 4 * mostRuns) keepNewest();
  }

  std::vector<HubEvent> taken() {
    keepNewest();
    others_.insert(others_.end(), std::make_move_iterator(runs_.begin()), std::make_move_iterator(runs_.end()));
    std::stable_sort(others_.begin(), others_.end(),
                     [](const HubEvent& left, const HubEvent& right) { return left.time < right.time; });
    return std::move(others_);
  }

 private:
  static constexpr std::size_t mostRuns = 5000;

  void keepNewest() {
    std::stable_sort(runs_.begin(), runs_.end(),
                     [](const HubEvent& left, const HubEvent& right) { return left.time > right.time; });
    if (runs_.size() > mostRuns) runs_.erase(runs_.begin() + mostRuns, runs_.end());
  }

  std::vector<HubEvent> runs_;
  std::vector<HubEvent> others_;
};

DemoFleetSize write(const HubDataFolder& folder, const DemoFleet& fleet,
                    const std::function<void(std::int64_t)>& progress) {
  DemoFleetSize size;
  const auto policies = demoPolicies();
  size.policies = static_cast<std::int64_t>(policies.size());
  for (const auto& [name, document] : policies) HubPolicies(folder.policies()).put(name, document);
  EventCollection collection;
  collection.add(housekeeping(policies, fleet));
  DemoHosts hosts(fleet.seed, fleet.days, fleet.now);
  while (size.hosts < fleet.hosts) {
    DemoStory story = hosts.next();
    writeNewFile(joinedPath(folder.hosts(), hostFileName(story.file.host)), HubJSON::compact(story.file));
    size.points += static_cast<std::int64_t>(story.file.history.size());
    collection.add(std::move(story.events));
    ++size.hosts;
    if (progress) progress(size.hosts);
  }
  std::string lines;
  for (const HubEvent& event : collection.taken()) {
    lines += EventLog::line(event);
    ++size.events;
  }
  writeNewFile(folder.eventLog(), lines);
  return size;
}

}  // namespace

void requireDemoFolder(const std::string& dataDir) {
  const HubDataFolder folder(dataDir);
  try {
    requireEmpty(folder);
  } catch (const std::system_error& error) {
    throw folder.unusable(error);
  }
}

DemoFleetSize writeDemoFleet(const std::string& dataDir, const DemoFleet& fleet,
                             const std::function<void(std::int64_t)>& progress) {
  HubDataFolder folder(dataDir);
  try {
    requireEmpty(folder);
    folder.take();
    return write(folder, fleet, progress);
  } catch (const std::system_error& error) {
    throw folder.unusable(error);
  }
}

}  // namespace tidra
