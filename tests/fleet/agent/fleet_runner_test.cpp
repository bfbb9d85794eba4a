// Unattended runs from policy to disk, audit log and metrics, over simulated weeks.
#include "fleet/agent/fleet_runner.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "core/dispose/quarantine.h"
#include "core/model/removal_leftover.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/run_lock.h"
#include "tests/support/git_repositories.h"
#include "tests/support/message_of.h"
#include "tests/support/noted_removal.h"
#include "tests/support/temporary_mount.h"
#include "tests/support/unskipped_folder.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Event = AuditRecord::Event;

constexpr std::chrono::seconds day{86400};
constexpr std::uint64_t megabyte = 1048576;

class FleetRuns : private OutsideSkippedFolders, public WithGitRepositories {
 protected:
  void SetUp() override {
    WithGitRepositories::SetUp();
    policy_ = FleetPolicy::parse(R"({"name": "night",
      "scan": {"roots": ["~/code"], "categories": []},
      "autoClean": {"minIdleDays": 30},
      "never": {"paths": ["~/code/keep"]},
      "metrics": {"textfile": "~/metrics/tidra.prom"}})");
  }

  /// A committed project with one artefact. Its commit is from commitDate.
  void makeProject(const std::string& name, std::uint64_t bytes) const {
    tree_.writeFile("home/code/" + name + "/package.json", "{}");
    const std::string path = makeRepository("home/code/" + name);
    for (const char* file : {"/package.json", "/file"}) tree_.setModified("home/code/" + name + file, commitDate);
    tree_.writeFile("home/code/" + name + "/.git/info/exclude", "node_modules\n");
    tree_.writeFileOfSize("home/code/" + name + "/node_modules/f", bytes);
  }
  /// Commits again, now.
  void commitAgain(const std::string& name) const {
    const std::string date = std::to_string(now_.time_since_epoch().count()) + " +0000";
    Environment environment = environment_;
    for (const std::string who : {"GIT_AUTHOR_", "GIT_COMMITTER_"}) {
      environment[who + "NAME"] = "A";
      environment[who + "EMAIL"] = "a@example.org";
      environment[who + "DATE"] = date;
    }
    EXPECT_TRUE(ProcessRunner::run({.executablePath = *git_,
                                    .arguments = {"commit", "-q", "--allow-empty", "-m", "More"},
                                    .currentDirectory = tree_.path("home/code/" + name),
                                    .environment = environment,
                                    .timeoutSeconds = 60}));
  }
  bool has(const std::string& name) const { return fs::exists(tree_.path("home/code/" + name + "/node_modules/f")); }

  FleetRunner runner() {
    lines_.clear();
    return {.policy = policy_,
            .actor = "tester",
            .intervalSeconds = std::nullopt,
            .log = [this](const std::string& line) { lines_.push_back(line); },
            .host = {tree_.path("home"), environment_},
            .clock = [this] { return now_; }};
  }
  FleetRunResult run() { return runner().run(); }

  std::string auditPath() const { return tree_.path("home/.tidra/audit.jsonl"); }
  std::vector<AuditRecord> recordsOf(const FleetRunResult& result) const {
    auto records = AuditLog::records(auditPath());
    std::erase_if(records, [&](const AuditRecord& record) { return record.runID != result.runID; });
    return records;
  }
  std::vector<Event> eventsOf(const FleetRunResult& result) const {
    std::vector<Event> events;
    for (const auto& record : recordsOf(result)) events.push_back(record.event);
    return events;
  }
  std::vector<std::string> errorsOf(const FleetRunResult& result) const {
    std::vector<std::string> messages;
    for (const auto& record : recordsOf(result))
      if (record.event == Event::error) messages.push_back(*record.message);
    return messages;
  }
  std::string metric(const std::string& name) const {
    const auto text = readFile(tree_.path("home/metrics/tidra.prom"));
    const auto at = text ? text->find("\n" + name + " ") : std::string::npos;
    if (at == std::string::npos) return "missing";
    const auto from = at + name.size() + 2;
    return text->substr(from, text->find('\n', from) - from);
  }

  QuarantineDisposer quarantine() const {
    return {{.directory = tree_.path("home/.tidra/quarantine")}, {tree_.path("home"), environment_}, "h", {}};
  }

  FleetPolicy policy_;
  TimePoint now_ = commitDate + 100 * day;
  std::vector<std::string> lines_;
};

TEST_F(FleetRuns, WeeksOfNightsAgreeOnDiskLogAndMetrics) {
  for (const std::string name : {"a", "b", "keep"}) makeProject(name, 4 * megabyte);
  makeProject("busy", 4 * megabyte);
  commitAgain("busy");
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
  const auto purging = run();
  ASSERT_EQ(purging.purged.receipts.size(), 1U);
  EXPECT_THAT(eventsOf(purging), Contains(Event::purged));
  EXPECT_EQ(metric("tidra_purged_bytes_total"), std::to_string(4 * megabyte));
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
  makeProject("a", 4 * megabyte);
  tree_.writeFileOfSize("base/pkgs/cache/f", megabyte);
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
  EXPECT_THAT(lines_, Contains("2 of these by their tool, for good: about 3 MB"));
}

TEST_F(FleetRuns, ADryRunTellsAndChangesNothing) {
  makeProject("a", 4 * megabyte);
  run();
  makeProject("b", 4 * megabyte);
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
  makeProject("a", 4 * megabyte);
  makeProject("b", 4 * megabyte);
  tree_.writeFile("home/code/a/.tidra-keep");
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

TEST_F(FleetRuns, WhatAPatternForbidsKeepsWhatHoldsIt) {
  makeProject("a", 4 * megabyte);
  makeProject("b", 4 * megabyte);
  tree_.writeFile("home/code/a/node_modules/lib/data.precious");
  tree_.writeFile("home/code/data.precious");
  policy_.never.paths.push_back("*.precious");
  run();
  EXPECT_TRUE(has("a"));
  EXPECT_FALSE(has("b"));
  EXPECT_THAT(lines_, Contains(HasSubstr("data.precious, which is never to be removed, so it is left out.")));
}

TEST_F(FleetRuns, AFailedItemIsRecordedAndTheRunGoesOn) {
  makeProject("a", 4 * megabyte);
  makeProject("b", 4 * megabyte);
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
  makeProject("a", 4 * megabyte);
  makeProject("b", 4 * megabyte);
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
  makeProject("a", 4 * megabyte);
  makeProject("b", 4 * megabyte);
  policy_.disposal.method = DisposalMethod::delete_;
  auto stopped = runner();
  // Deletion renames the folder first, so this stops in the middle of it.
  stopped.shouldCancel = [this] { return !has("a"); };
  const auto deleted = stopped.run();
  EXPECT_THAT(eventsOf(deleted), ElementsAre(Event::runStarted, Event::scanCompleted, Event::planned, Event::disposed,
                                             Event::runFinished));
  EXPECT_EQ(metric("tidra_dispose_failures_total"), "0");
  for (const auto& entry : fs::directory_iterator(tree_.path("home/code/a"))) {
    EXPECT_FALSE(RemovalLeftover::is(entry.path().filename().string())) << entry.path();
  }

  policy_.disposal.method = DisposalMethod::quarantine;
  run();
  now_ += 10 * day;
  auto purging = runner();
  const std::string entry = quarantine().list().entries.at(0).url;
  purging.shouldCancel = [&] { return !fs::exists(entry); };
  EXPECT_EQ(purging.run().purged.failures.size(), 0U);
  EXPECT_TRUE(fs::is_empty(tree_.path("home/.tidra/quarantine")));
}

TEST_F(FleetRuns, NothingIsRemovedThatTheLogHasNoRoomFor) {
  const TemporaryMount small(tree_.makeFolder("small"), "size=192k,mode=700");
  if (!small) GTEST_SKIP() << "mounting is not permitted";
  policy_.autoClean.minBytes = 0;
  policy_.autoClean.minIdleDays = 0;
  policy_.audit.path = small.path() + "/audit.jsonl";
  for (const auto method : {DisposalMethod::quarantine, DisposalMethod::delete_}) {
    policy_.disposal.method = method;
    std::set<std::string> left;
    for (int i = 0; i < 250; ++i) {
      const std::string project = fmt::format("home/code/p{}/", i);
      tree_.writeFile(project + "package.json", "{}");
      tree_.writeFileOfSize(project + "node_modules/f", 10);
      left.insert(tree_.path(project + "node_modules"));
    }
    EXPECT_THAT(messageOf<std::system_error>([&] { run(); }), HasSubstr("has no room for another record"));
    const auto records = AuditLog::records(*policy_.audit.path);
    EXPECT_EQ(records.back().event, Event::error) << "the room was kept for telling why";
    for (const auto& record : records) {
      if (record.event == Event::disposed) left.erase(*record.path);
    }
    EXPECT_THAT(left.size(), AllOf(testing::Gt(0U), testing::Lt(250U)));
    for (const std::string& path : left) EXPECT_TRUE(fs::exists(path)) << "gone without a record";
    fs::remove(*policy_.audit.path);
  }
}

TEST_F(FleetRuns, NothingBeginsWithoutLockLogAndRoots) {
  makeProject("a", 4 * megabyte);
  {
    // Process 1 exists on every machine.
    tree_.writeFile("home/.tidra/fleet.lock", "1\n");
    try {
      run();
      ADD_FAILURE();
    } catch (const FleetRunError& error) {
      EXPECT_EQ(error.kind(), FleetRunError::Kind::locked);
      EXPECT_STREQ(error.what(), "another tidra run (pid 1) holds the lock");
    }
    fs::remove(tree_.path("home/.tidra/fleet.lock"));
  }
  FleetPolicy nothing = policy_;
  std::swap(nothing, policy_);
  policy_.scan.roots.clear();
  for (const auto& categories :
       {std::optional<std::vector<std::string>>(), std::optional(std::vector<std::string>())}) {
    policy_.scan.categories = categories;
    EXPECT_THROW(run(), FleetRunError);
    const auto records = AuditLog::records(auditPath());
    EXPECT_EQ(records.back().event, Event::error);
    EXPECT_EQ(records.back().message, "policy resolves to no scan roots and no categories");
  }
  policy_ = nothing;
  policy_.scan.extraRules = {"~/no-such-file"};
  EXPECT_THROW(run(), InputError);
  policy_.scan.extraRules = {"~/rules.json"};
  fs::permissions(tree_.writeFile("home/rules.json", R"({"projectRules": []})"), fs::perms(0666));
  EXPECT_THROW(run(), InputError);
  policy_ = nothing;
  policy_.audit.path = "~/code";
  EXPECT_THROW(run(), InputError);
  EXPECT_TRUE(has("a"));
  EXPECT_FALSE(fs::exists(tree_.path("home/.tidra/fleet.lock")));
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
  EXPECT_EQ(run().kept.size(), 1U);
  EXPECT_TRUE(fs::exists(tree_.path("home/big/f")));
}

TEST_F(FleetRuns, ARunThatDiedShowsInTheNext) {
  makeProject("a", 4 * megabyte);
  const auto first = run();
  AuditLog(auditPath()).append([](AuditRecord& record) {
    record.runID = "DIED";
    record.event = Event::planned;
  });
  EXPECT_THAT(errorsOf(run()), ElementsAre(StartsWith("run DIED did not finish")));
  EXPECT_THAT(errorsOf(run()), IsEmpty());
  // A repair hides neither a killed run nor a finished one.
  const auto repair = [&] {
    std::ofstream(auditPath(), std::ios::app) << "{torn";
    AuditLog::repair(auditPath(), [](AuditRecord& record) { record.runID = "REPAIR"; });
  };
  repair();
  EXPECT_THAT(errorsOf(run()), IsEmpty());
  AuditLog(auditPath()).append([](AuditRecord& record) {
    record.runID = "TORN";
    record.event = Event::planned;
  });
  repair();
  EXPECT_THAT(errorsOf(run()), ElementsAre(StartsWith("run TORN did not finish")));
  // An `error` record within a run is not its final record; a failed run's is.
  AuditLog(auditPath()).append([](AuditRecord& record) {
    record.runID = "DIED TOO";
    record.event = Event::error;
  });
  policy_.scan.extraRules = {"~/no-such-file"};
  EXPECT_THROW(run(), InputError);
  policy_.scan.extraRules.clear();
  EXPECT_THAT(errorsOf(run()), IsEmpty());
}

TEST_F(FleetRuns, WhatARunMovedBeforeItDiedIsToldByTheNext) {
  makeProject("a", 4 * megabyte);
  run();
  // Another item was moved before the run was killed.
  makeProject("b", 4 * megabyte);
  auto disposer = quarantine();
  AuditLog(auditPath()).append([&](AuditRecord& record) {
    record.runID = "DIED";
    record.event = Event::planned;
    record.time = now_;
  });
  const std::string path = tree_.path("home/code/b/node_modules");
  const auto moved = disposer.quarantine(holdEntry(path), path, 4 * megabyte, now_ + std::chrono::seconds(1));
  // The next run was killed too, before it recorded the item.
  AuditLog(auditPath()).append([&](AuditRecord& record) {
    record.runID = "DIED TOO";
    record.event = Event::error;
    record.time = now_ + std::chrono::seconds(5);
  });
  const auto next = run();
  EXPECT_THAT(errorsOf(next), ElementsAre(StartsWith("run DIED TOO did not"), HasSubstr("is in quarantine since")));
  const auto records = recordsOf(next);
  EXPECT_EQ(records.at(1).path, path);
  EXPECT_EQ(records.at(1).destination, moved.url);
  EXPECT_TRUE(AuditLog(auditPath()).verify().ok);
}

TEST_F(FleetRuns, ALogThatLostRecordsIsToldOnce) {
  makeProject("a", 4 * megabyte);
  run();
  run();
  const auto text = *readFile(auditPath());
  const auto lastLine = text.rfind('\n', text.size() - 2);
  tree_.writeFile("home/.tidra/audit.jsonl", text.substr(0, lastLine + 1));
  EXPECT_THAT(errorsOf(run()), Contains(HasSubstr("it was truncated, rewritten or replaced")));
  EXPECT_THAT(errorsOf(run()), IsEmpty());
}

TEST_F(FleetRuns, ADeletionThatWasCutShortIsFinishedWhateverThePolicySelects) {
  makeProject("a", 4 * megabyte);
  policy_.autoClean.minBytes = 2 * megabyte;
  policy_.autoClean.requireKnownIdle = true;
  const std::string leftover = "home/code/a/.tidra-removing-0123456789abcdef";
  const std::string guarded = "home/code/keep/.tidra-removing-0123456789abcdef";
  for (const std::string& folder : {leftover, guarded}) {
    tree_.writeFile(folder + "/f", "half gone");
    noteRemoval(tree_.path(folder));
  }
  run();
  EXPECT_FALSE(fs::exists(tree_.path(leftover)));
  EXPECT_TRUE(fs::exists(tree_.path(guarded)));
}

TEST_F(FleetRuns, ATextfileThatCannotBeWrittenIsAWarning) {
  makeProject("a", 4 * megabyte);
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
