#include "fleet/hub/demo/demo_fleet.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <set>

#include "core/base/errors.h"
#include "core/platform/files.h"
#include "fleet/agent/policy/fleet_policy.h"
#include "fleet/hub/host_status.h"
#include "fleet/hub/hub_store.h"
#include "tests/fleet/hub/hub_fixture.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

constexpr std::int64_t hosts = 300;
constexpr DemoFleet fleet{.hosts = hosts, .days = 60, .seed = 1, .now = noon};

std::int64_t sumOf(const std::map<std::string, std::int64_t>& figures) {
  return std::accumulate(figures.begin(), figures.end(), std::int64_t{0},
                         [](std::int64_t sum, const auto& figure) { return sum + figure.second; });
}

/// A contradiction that no real host could report; empty when there is none.
std::string contradictionIn(const HubHostFile& file) {
  const HubHostReport& latest = file.latest;
  const auto isEarlier = [](const auto& left, const auto& right) { return left.time < right.time; };
  std::int64_t freed = 0;
  for (const auto& point : file.history) freed += point.disposedBytes;
  if (latest.freedBytes.has_value() != (latest.tidraVersion == "1.3.0")) return "freed";
  if (!std::is_sorted(file.history.begin(), file.history.end(), isEarlier)) return "times";
  if (file.lastSeen != file.history.back().time || file.lastSeen > noon) return "lastSeen";
  if (file.firstSeen > file.history.front().time || file.reports < std::ssize(file.history)) return "reports";
  if (latest.reclaimableBytes != file.history.back().reclaimableBytes) return "latest point";
  if (sumOf(latest.bytesByTier) != latest.reclaimableBytes) return "tiers";
  if (sumOf(latest.bytesByCategory) != latest.reclaimableBytes) return "categories";
  if (sumOf(latest.skippedByReason) + latest.plannedItems != latest.findings) return "findings";
  if (latest.plannedItems != latest.disposedItems + latest.failures && !latest.dryRun) return "planned";
  if (latest.dryRun && (freed != 0 || latest.disposedBytesTotal != 0)) return "dry run";
  // A replaced audit log has lost earlier totals; the note may have acknowledged that.
  if (!file.lastAuditRewind && !file.note && latest.disposedBytesTotal < freed) return "total";
  if (latest.volumeAvailableBytes <= 0 || *latest.volumeAvailableBytes >= *latest.volumeTotalBytes) return "volume";
  return latest.topItems.empty() || latest.topItems.size() > 25 ? "top items" : "";
}

TEST(DemoFleet, IsOneThatHostsCouldHaveReported) {
  const TemporaryTree tree;
  const auto size = writeDemoFleet(tree.path("data"), fleet);
  const HubStore store(tree.path("data"), 7200, "Fleet", noon);
  EXPECT_EQ(store.loadWarnings(), std::vector<std::string>{});
  ASSERT_EQ(store.inventory().size(), static_cast<std::size_t>(hosts));
  std::map<std::string, std::int64_t> seen;
  std::size_t points = 0;
  for (const auto& file : store.inventory()) {
    EXPECT_EQ(contradictionIn(*file), "") << file->host;
    EXPECT_TRUE(store.policy(file->latest.policyName)) << file->latest.policyName;
    points += file->history.size();
    const auto condition = conditionOf(*file, noon, 7200);
    ++seen[std::string(rawValue(condition.status))];
    for (const auto& reason : condition.reasons) ++seen[reason.substr(0, 4)];
    ++seen[std::string(rawValue(file->latest.platform))];
    ++seen[file->latest.tidraVersion];
    for (const auto& [flag, name] : {std::pair(file->latest.dryRun, "dryRun"),
                                     {file->note.has_value(), "note"},
                                     {file->latest.quarantineBytes > 0, "quarantine"},
                                     {file->history.size() == HubHostFile::mostHistory, "full history"}})
      seen[name] += flag ? 1 : 0;
  }
  EXPECT_EQ(points, static_cast<std::size_t>(size.points));
  for (const std::string what : {"healthy", "attention", "stale", "no r", "disk", "last", "audi", "macos", "linux",
                                 "1.2.0", "1.3.0", "dryRun", "note", "quarantine", "full history"})
    EXPECT_GT(seen[what], 0) << what;
  EXPECT_GT(seen["healthy"], hosts / 2);
}

TEST(DemoFleet, HasPoliciesThatHostsCanUseAndEventsInTheirOrder) {
  const TemporaryTree tree;
  const auto size = writeDemoFleet(tree.path("data"), fleet);
  const HubStore store(tree.path("data"), 7200, "Fleet", noon);
  EXPECT_EQ(static_cast<std::int64_t>(store.policyNames().size()), size.policies);
  for (const auto& name : store.policyNames()) EXPECT_EQ(FleetPolicy::parse(*store.policy(name)).name, name);
  const auto events = store.recentEvents(100000);
  ASSERT_EQ(static_cast<std::int64_t>(events.size()), size.events);
  std::set<HubEvent::Kind> kinds;
  for (std::size_t i = 0; i < events.size(); ++i) {
    kinds.insert(events[i].kind);
    EXPECT_LE(events[i].time, i + 1 < events.size() ? events[i + 1].time : noon);
  }
  EXPECT_EQ(kinds.size(), allCases<HubEvent::Kind>().size());
}

TEST(DemoFleet, IsTheSameForTheSameSeedAndKeepsItsHostsWhenItGrows) {
  const TemporaryTree tree;
  const auto textsOf = [&](const std::string& name, const DemoFleet& of) {
    writeDemoFleet(tree.path(name), of);
    std::map<std::string, std::string> texts;
    for (const auto& entry : snapshotOf(tree.path(name))) {
      if (entry.type == 'f') texts[entry.path] = *readFile(tree.path(name + "/" + entry.path));
    }
    return texts;
  };
  const DemoFleet small{.hosts = 20, .days = 10, .seed = 5, .now = noon};
  const auto texts = textsOf("a", small);
  EXPECT_EQ(textsOf("b", small), texts);
  DemoFleet other = small;
  other.seed = 6;
  EXPECT_NE(textsOf("c", other), texts);
  other = small;
  other.hosts = 40;
  const auto more = textsOf("d", other);
  for (const auto& [path, text] : texts) {
    if (!path.starts_with("hosts/")) continue;
    EXPECT_EQ(more.at(path), text);
  }
}

TEST(DemoFleet, ChangesNothingWhereSomethingIs) {
  const TemporaryTree tree;
  const DemoFleet one{.hosts = 1, .days = 1, .seed = 1, .now = noon};
  tree.writeFile("full/notes.txt", "mine");
  tree.writeFile("file");
  { const HubStore left(tree.path("left"), 7200, "Fleet", noon); }
  const auto before = snapshotOf(tree.root());
  const auto refusal = [&](const std::string& name) {
    return messageOf<InputError>([&] { writeDemoFleet(tree.path(name), one); });
  };
  const std::string advice = "; a demo fleet is written into a new or empty folder only, choose another one.";
  EXPECT_EQ(refusal("full"), tree.path("full") + " is not empty" + advice);
  EXPECT_EQ(refusal("left"), tree.path("left") + " is not empty" + advice);
  EXPECT_EQ(refusal("file"), tree.path("file") + " is not a folder" + advice);
  EXPECT_EQ(snapshotOf(tree.root()), before);
  const HubStore running(tree.path("left"), 7200, "Fleet", noon);
  EXPECT_EQ(messageOf<HubStoreError>([&] { writeDemoFleet(tree.path("left"), one); }),
            fmt::format("another hub uses the data folder {}; stop it or choose another folder", tree.path("left")));
  tree.makeFolder("empty");
  EXPECT_EQ(writeDemoFleet(tree.path("empty"), one).hosts, 1);
}

}  // namespace
}  // namespace tidra
