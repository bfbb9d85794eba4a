// Unattended runs from policy to disk, audit log and metrics, over simulated weeks.
#include "core/model/removal_leftover.h"
#include "core/platform/path_text.h"
#include "tests/fleet/agent/fleet_run_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/temporary_mount.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

TEST_F(FleetRuns, WeeksOfNightsAgreeOnDiskLogAndMetrics) {
  makeProjects({"a", "b", "busy", "keep"});
  commitAgain("busy");
  tree_.writeFile("home/code/a/node_modules/f", std::string(4 * megabyte, 'x'));  // without a hole
  policy_.autoClean.maxItemsPerRun = 1;

  const auto first = run();
  EXPECT_THAT(eventsOf(first), ElementsAre(Event::runStarted, Event::scanCompleted, Event::skipped, Event::skipped,
                                           Event::skipped, Event::planned, Event::disposed, Event::runFinished));
  const auto records = recordsOf(first);
  EXPECT_EQ(records[0].policy, "night");
  EXPECT_EQ(records[0].actor, "tester");
  EXPECT_EQ(records[5].message, "1 selected, 3 skipped");
  EXPECT_EQ(records[6].path, tree_.path("home/code/a/node_modules"));
  EXPECT_EQ(records[6].bytes, 4 * megabyte);
  EXPECT_EQ(records[6].destination, first.disposal.receipts.at(0).destination);
  std::map<std::string, std::string> reasons;
  for (const auto& record : records)
    if (record.event == Event::skipped) reasons[*record.path] = *record.reason;
  EXPECT_EQ(reasons,
            (std::map<std::string, std::string>{{tree_.path("home/code/b/node_modules"), "overBudget"},
                                                {tree_.path("home/code/busy/node_modules"), "tooRecent"},
                                                {tree_.path("home/code/keep/node_modules"), "pathProtected"}}));
  EXPECT_FALSE(has("a"));
  EXPECT_TRUE(has("b") && has("busy") && has("keep"));
  EXPECT_EQ(metric("tidra_disposed_items_total"), "1");
  EXPECT_EQ(metric("tidra_reclaimable_items"), "4");
  EXPECT_EQ(metric("tidra_quarantine_bytes"), std::to_string(4 * megabyte));
  EXPECT_THAT(lines_, Contains("1 items / 4 MB selected"));
  EXPECT_THAT(lines_, Contains("quarantine: 1 ok, 0 failed"));
  EXPECT_THAT(lines_, Contains(EndsWith("; what went into the quarantine frees its space when that is purged")));

  now_ += day;
  run();
  EXPECT_FALSE(has("b"));
  auto entries = quarantine().list().entries;
  ASSERT_EQ(entries.size(), 2U);
  const auto isB = [&](const auto& entry) {
    return entry.manifest.originalPath == tree_.path("home/code/b/node_modules");
  };
  quarantine().restore(*std::find_if(entries.begin(), entries.end(), isB));
  commitAgain("b");
  EXPECT_TRUE(has("b"));

  now_ += 6 * day;  // a is exactly at its retention, not yet past it
  const auto week = run();
  EXPECT_THAT(week.purged.receipts, IsEmpty());
  EXPECT_TRUE(has("b")) << "worked on a week ago";
  now_ += day;
  std::ofstream(quarantine().config().directory + "/torn.tidra.json") << "{";
  const auto purging = run();
  EXPECT_FALSE(purging.hasFailures());
  EXPECT_THAT(lines_, Contains(AllOf(StartsWith("warning: "), HasSubstr("torn.tidra.json cannot be read"))));
  ASSERT_EQ(purging.purged.receipts.size(), 1U);
  EXPECT_THAT(eventsOf(purging), Contains(Event::purged));
  EXPECT_EQ(metric("tidra_purged_bytes_total"), std::to_string(4 * megabyte));
  // What moved freed nothing; purged, it frees its blocks.
  EXPECT_EQ(records[6].freedBytes, 0U);
  EXPECT_GE(purging.purgedFreedBytes, 4 * std::int64_t{megabyte});
  EXPECT_EQ(recordsOf(purging).back().freedBytes, static_cast<std::uint64_t>(purging.allFreedBytes()));
  EXPECT_EQ(metric("tidra_last_run_freed_bytes"), std::to_string(purging.purgedFreedBytes));
  EXPECT_EQ(metric("tidra_freed_bytes_total"), std::to_string(purging.purgedFreedBytes));
  EXPECT_EQ(purging.hostReport->freedBytes, purging.purgedFreedBytes);
  EXPECT_THAT(lines_, Contains(StartsWith("freed ")));
  EXPECT_EQ(metric("tidra_quarantine_items"), "0");
  EXPECT_THAT(quarantine().list().entries, IsEmpty());

  now_ += 60 * day;
  run();
  EXPECT_FALSE(has("b"));
  run();
  EXPECT_FALSE(has("busy"));
  EXPECT_TRUE(has("keep"));
  EXPECT_EQ(metric("tidra_runs_total"), "6");
  EXPECT_EQ(metric("tidra_disposed_items_total"), "4");
  EXPECT_EQ(AuditLog::verify(auditPath()).message, "OK (" + std::to_string(AuditLog(auditPath()).seq()) + " records)");
}

TEST_F(FleetRuns, WhatToolsRemoveCountsTheSameEverywhere) {
  makeProjects({"a"});
  tree_.writeFile("base/pkgs/cache/f", std::string(megabyte, 'x'));  // without a hole
  tree_.writeFile("bin/conda", "#!/bin/sh\ncase \"$*\" in\n'info --base') echo " + tree_.path("base") +
                                   ";;\n*--packages\\ --dry-run*) echo 'Will remove 2 (3.0 MB) package(s).';;\n"
                                   "*--packages*) echo 'Will remove 1 (2.0 MB) package(s).';;\n"
                                   "*--index-cache*) echo 'Will remove 1 index cache(s).';;\n*) exit 1;;\nesac\n");
  tree_.setMode("bin/conda", 0755);
  environment_["PATH"] = tree_.path("bin") + ":" + environment_["PATH"];
  policy_.scan.categories = {"python"};
  const auto result = run();
  const auto records = recordsOf(result);
  std::map<std::string, std::uint64_t> disposed;
  for (const auto& record : records) {
    if (record.event != Event::disposed) continue;
    disposed[std::string(lastPathComponent(*record.path))] = *record.bytes;
    EXPECT_EQ(record.method, isToolBackedTarget(*record.path) ? DisposalMethod::delete_ : DisposalMethod::quarantine);
  }
  EXPECT_THAT(disposed,
              ElementsAre(std::pair("conda:clean:index-cache", megabyte),
                          std::pair("conda:clean:packages", 2 * megabyte), std::pair("node_modules", 4 * megabyte)));
  const std::string sum = std::to_string(7 * megabyte);
  EXPECT_EQ(metric("tidra_last_run_disposed_bytes"), sum);
  EXPECT_EQ(metric("tidra_disposed_bytes_total"), sum);
  EXPECT_EQ(records.back().bytes, 7 * megabyte);
  EXPECT_EQ(result.hostReport->disposedBytes, result.hostReport->disposedBytesTotal);
  EXPECT_GE(result.hostReport->freedBytes, 3 * std::int64_t{megabyte});  // what only moved not
  EXPECT_LT(result.hostReport->freedBytes, 4 * std::int64_t{megabyte});
  EXPECT_EQ(result.hostReport->freedBytesTotal, result.hostReport->freedBytes);
  EXPECT_THAT(lines_, Contains("2 of these by their tool, for good: about 3 MB"));
}

TEST_F(FleetRuns, ADryRunRecordsAndChangesNothing) {
  makeProjects({"a"});
  run();
  makeProjects({"b"});
  now_ += 30 * day;
  policy_.dryRun = true;
  const auto dry = run();
  EXPECT_TRUE(has("b"));
  EXPECT_EQ(quarantine().list().entries.size(), 1U) << "nothing was purged";
  const auto records = recordsOf(dry);
  for (const auto& record : records) EXPECT_EQ(record.dryRun, true);
  const auto planned =
      std::find_if(records.begin(), records.end(), [](const auto& record) { return record.event == Event::disposed; });
  ASSERT_NE(planned, records.end());
  EXPECT_EQ(planned->reason, "dry run");
  EXPECT_EQ(metric("tidra_disposed_items_total"), "1");
  EXPECT_EQ(metric("tidra_last_run_disposed_bytes"), "0");
  EXPECT_EQ(metric("tidra_runs_total"), "2");
}

TEST_F(FleetRuns, WhatIsKeptUsesUpNoBudget) {
  makeProjects({"a", "b"});
  tree_.writeFile("home/code/a/.tidra-keep");
  tree_.setModified("home/code/a/.tidra-keep", now_);  // made today, which is no work
  policy_.autoClean.maxItemsPerRun = 1;
  const auto result = run();
  EXPECT_TRUE(has("a"));
  EXPECT_FALSE(has("b"));
  ASSERT_EQ(result.kept.size(), 1U);
  const auto records = recordsOf(result);
  const auto kept =
      std::find_if(records.begin(), records.end(), [](const auto& record) { return record.reason == "kept"; });
  ASSERT_NE(kept, records.end());
  EXPECT_THAT(*kept->message, HasSubstr(".tidra-keep"));
}

class MountedRuns : public FleetRuns {};

TEST_F(MountedRuns, WhatHoldsAMountIsKeptAndUsesUpNoBudget) {
  makeProjects({"a", "b"});
  const TemporaryMount inside(tree_.makeFolder("home/code/a/node_modules/inside"));
  if (!inside) GTEST_SKIP() << "mounting is not permitted";
  policy_.autoClean.maxItemsPerRun = 1;
  const auto result = run();
  EXPECT_TRUE(has("a"));
  EXPECT_FALSE(has("b"));
  ASSERT_EQ(result.kept.size(), 1U);
  EXPECT_EQ(result.kept[0].reason, "holds a mounted file system at " + inside.path() + "; unmount it first");
  EXPECT_TRUE(result.disposal.failures.empty());
}

TEST_F(FleetRuns, ALargeProjectThatIsWorkedOnStays) {
  makeProjects({"a"});
  tree_.writeFile("home/code/a/.git/info/exclude", "*\n");
  for (const char* folder : {"read", "unread"}) {
    for (int i = 0; i < 600; ++i) {
      const std::string file = "home/code/a/s/t/" + std::string(folder) + "/" + std::to_string(i);
      tree_.writeFile(file);
      tree_.setModified(file, commitDate);
    }
  }
  tree_.setModified("home/code/a/s/t/unread/1", now_ - day);
  tree_.setModified("home/code/a/s/t/unread", commitDate - day);
  const auto result = run();
  ASSERT_EQ(result.decision.skipped.size(), 1U);
  EXPECT_EQ(result.decision.skipped[0].reason, SkipReason::tooRecent);
  EXPECT_TRUE(has("a"));
}

TEST_F(FleetRuns, WhatAPatternForbidsKeepsWhatHoldsIt) {
  makeProjects({"a", "b"});
  tree_.writeFile("home/code/a/node_modules/lib/data.precious");
  tree_.writeFile("home/code/data.precious");
  policy_.never.paths.push_back("*.precious");
  run();
  EXPECT_TRUE(has("a"));
  EXPECT_FALSE(has("b"));
  EXPECT_THAT(lines_, Contains(HasSubstr("data.precious, which is never to be removed, so it is left out.")));
}

TEST_F(FleetRuns, AFailedItemIsRecordedAndTheRunGoesOn) {
  makeProjects({"a", "b"});
  // One item cannot be quarantined: the quarantine folder of its volume is a file.
  policy_.disposal.quarantineDir = "~/store";
  tree_.writeFile("home/store");
  const auto result = run();
  EXPECT_EQ(result.disposal.failures.size(), 2U);
  EXPECT_TRUE(has("a") && has("b"));
  EXPECT_FALSE(result.succeeded());
  EXPECT_THAT(eventsOf(result), Contains(Event::disposeFailed).Times(2));
  EXPECT_EQ(eventsOf(result).back(), Event::runFinished);
  EXPECT_EQ(metric("tidra_last_run_success"), "0");
  EXPECT_EQ(metric("tidra_dispose_failures_total"), "2");
  EXPECT_THAT(lines_, Contains(StartsWith("purge failed: ")));
}

TEST_F(FleetRuns, StoppingLeavesTheRestAndEndsInOrder) {
  makeProjects({"a", "b"});
  auto stopped = runner();
  stopped.shouldCancel = [this] { return !has("a"); };
  const auto result = stopped.run();
  EXPECT_TRUE(result.interrupted);
  EXPECT_TRUE(has("b"));
  const auto records = recordsOf(result);
  EXPECT_EQ(records.back().event, Event::runFinished);
  EXPECT_THAT(*records.back().message, AllOf(HasSubstr("1 ok"), HasSubstr("interrupted")));
  EXPECT_FALSE(fs::exists(tree_.path("home/.tidra/fleet.lock")));
  auto early = runner();
  early.shouldCancel = [] { return true; };
  EXPECT_TRUE(early.run().metricsText.empty()) << "a broken scan is not published";
  EXPECT_TRUE(has("b"));
}

TEST_F(FleetRuns, StoppingBreaksOffNoItem) {
  makeProjects({"a", "b"});
  policy_.disposal.method = DisposalMethod::delete_;
  auto stopped = runner();
  // Deletion renames the folder first, so this stops in the middle of it.
  stopped.shouldCancel = [this] { return !has("a"); };
  const auto deleted = stopped.run();
  EXPECT_THAT(eventsOf(deleted), ElementsAre(Event::runStarted, Event::scanCompleted, Event::planned, Event::disposed,
                                             Event::runFinished));
  EXPECT_EQ(metric("tidra_dispose_failures_total"), "0");
  for (const auto& entry : fs::directory_iterator(tree_.path("home/code/a")))
    EXPECT_FALSE(RemovalLeftover::is(entry.path().filename().string())) << entry.path();

  policy_.disposal.method = DisposalMethod::quarantine;
  run();
  now_ += 10 * day;
  auto purging = runner();
  const std::string entry = quarantine().list().entries.at(0).url;
  purging.shouldCancel = [&] { return !fs::exists(entry); };
  EXPECT_EQ(purging.run().purged.failures.size(), 0U);
  EXPECT_TRUE(fs::is_empty(tree_.path("home/.tidra/quarantine")));
}

TEST_F(FleetRuns, WhatHoldsSomethingThatThePolicyKeepsStays) {
  tree_.writeFile("home/rules.json", R"({"systemRules": [
    {"id": "models", "category": "globalCaches", "label": "Models", "tier": "caution",
     "paths": {"linux": ["~/big/models"], "macos": ["~/big/models"]}},
    {"id": "big", "category": "globalCaches", "label": "Big", "paths": {"linux": ["~/big"], "macos": ["~/big"]}}]})");
  for (const char* file : {"home/big/models/f", "home/big/f"}) tree_.writeFileOfSize(file, 2 * megabyte);
  policy_.scan.extraRules = {"~/rules.json"};
  policy_.scan.categories = std::vector<std::string>{"globalCaches"};
  auto result = run();
  ASSERT_EQ(result.kept.size(), 1U);
  EXPECT_EQ(result.kept[0].reason,
            "holds " + tree_.path("home/big/models") + ", which the policy keeps (tierNotAutoCleaned)");
  policy_.autoClean.tiers.push_back(ArtifactSafetyTier::caution);
  policy_.never.ruleIDs = {"models"};
  EXPECT_EQ(run().kept.size(), 1U);
  EXPECT_TRUE(fs::exists(tree_.path("home/big/f")));
  policy_.never.ruleIDs.clear();
  policy_.autoClean.maxBytesPerRun = 6 * megabyte;
  result = run();
  EXPECT_EQ(result.disposal.receipts.size(), 1U);
  EXPECT_EQ(result.decision.plan.totalBytes(), 4 * std::int64_t{megabyte});
  EXPECT_FALSE(fs::exists(tree_.path("home/big")));
  // Too small to go by itself, an inner item would go along all the same.
  tree_.writeFile("home/rules.json", R"({"systemRules": [
    {"id": "in", "category": "globalCaches", "label": "In", "paths": {"linux": ["~/big/in"], "macos": ["~/big/in"]}},
    {"id": "big", "category": "globalCaches", "label": "Big", "paths": {"linux": ["~/big"], "macos": ["~/big"]}}]})");
  for (const char* file : {"home/big/in/.tidra-keep", "home/big/f"}) tree_.writeFileOfSize(file, 2 * megabyte);
  policy_.autoClean.minBytes = 3 * megabyte;
  EXPECT_THAT(run().disposal.receipts, IsEmpty());
  EXPECT_TRUE(fs::exists(tree_.path("home/big/f")));
}

TEST_F(FleetRuns, ATextfileThatCannotBeWrittenIsAWarning) {
  makeProjects({"a"});
  tree_.writeFile("home/file");
  policy_.metrics.textfile = "~/file/tidra.prom";
  const auto result = run();
  EXPECT_TRUE(result.succeeded());
  EXPECT_FALSE(has("a"));
  EXPECT_THAT(lines_, Contains(StartsWith("warning: could not write metrics textfile " +
                                          tree_.path("home/file/tidra.prom") + ": ")));
  EXPECT_THAT(result.metricsText, HasSubstr("tidra_disposed_items_total 1\n"));
}

}  // namespace
}  // namespace tidra
