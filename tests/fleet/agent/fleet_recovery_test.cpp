// What keeps a run from starting, what it must not do without a record, and how it finishes or reports earlier runs.
#include <fmt/format.h>

#include <fstream>
#include <set>

#include "tests/fleet/agent/fleet_run_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/noted_removal.h"
#include "tests/support/temporary_mount.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

TEST_F(FleetRuns, NothingBeginsWithoutLockLogAndRoots) {
  makeProjects({"a"});
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
  for (const auto& categories : {std::optional<Texts>(), std::optional(Texts())}) {
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

TEST_F(FleetRuns, ARunThatDiedShowsInTheNext) {
  makeProjects({"a"});
  const auto first = run();
  append("DIED", Event::planned);
  EXPECT_THAT(errorsOf(run()), ElementsAre(StartsWith("run DIED did not finish")));
  EXPECT_THAT(errorsOf(run()), IsEmpty());
  // A repair hides neither a killed run nor a finished one.
  const auto repair = [&] {
    std::ofstream(auditPath(), std::ios::app) << "{torn";
    AuditLog::repair(auditPath(), [](AuditRecord& record) { record.runID = "REPAIR"; });
  };
  repair();
  EXPECT_THAT(errorsOf(run()), IsEmpty());
  append("TORN", Event::planned);
  repair();
  EXPECT_THAT(errorsOf(run()), ElementsAre(StartsWith("run TORN did not finish")));
  // An `error` record within a run is not its final record; a failed run's is.
  append("DIED TOO", Event::error);
  policy_.scan.extraRules = {"~/no-such-file"};
  EXPECT_THROW(run(), InputError);
  policy_.scan.extraRules.clear();
  EXPECT_THAT(errorsOf(run()), IsEmpty());
}

TEST_F(FleetRuns, WhatARunMovedBeforeItDiedIsReportedByTheNext) {
  makeProjects({"a"});
  run();
  // Another item was moved before the run was killed.
  makeProjects({"b"});
  auto disposer = quarantine();
  append("DIED", Event::planned, now_);
  const std::string path = tree_.path("home/code/b/node_modules");
  const auto moved = disposer.quarantine(holdEntry(path), path, 4 * megabyte, now_ + std::chrono::seconds(1));
  // The next run was killed too, before it recorded the item.
  append("DIED TOO", Event::error, now_ + std::chrono::seconds(5));
  const auto next = run();
  EXPECT_THAT(errorsOf(next),
              ElementsAre(StartsWith("run DIED TOO did not"), HasSubstr("in quarantine since run DIED")));
  const auto records = recordsOf(next);
  EXPECT_EQ(records.at(1).path, path);
  EXPECT_EQ(records.at(1).destination, moved.url);
  EXPECT_TRUE(AuditLog(auditPath()).verify().ok);
}

TEST_F(FleetRuns, ALogThatLostRecordsIsReportedOnce) {
  makeProjects({"a"});
  run();
  run();
  const auto text = *readFile(auditPath());
  const auto lastLine = text.rfind('\n', text.size() - 2);
  tree_.writeFile("home/.tidra/audit.jsonl", text.substr(0, lastLine + 1));
  EXPECT_THAT(errorsOf(run()), Contains(HasSubstr("it was truncated, rewritten or replaced")));
  EXPECT_THAT(errorsOf(run()), IsEmpty());
}

TEST_F(FleetRuns, ADeletionThatWasCutShortIsFinishedUnderAnySelection) {
  makeProjects({"a"});
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

}  // namespace
}  // namespace tidra
