#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

#include "core/base/json_fields.h"
#include "core/platform/process_runner.h"
#include "fleet/agent/audit_log.h"
#include "tests/cli/cli_fixture.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using Event = AuditRecord::Event;

class FleetCommand : public CliTest {
 protected:
  std::string policy(const std::string& more = "") const {
    return tree().writeFile("policy.json", R"({"scan": {"roots": ["~/code"], "categories": []},
      "autoClean": {"minBytes": 1000, "minIdleDays": 0})" +
                                               more + "}");
  }
  std::vector<AuditRecord> records() const { return AuditLog::records(tree().path(".tidra/audit.jsonl")); }
  bool isLocked() const { return fs::exists(tree().path(".tidra/fleet.lock")); }
};

TEST_F(FleetCommand, ExplainsEveryFindingAndRemovesWhatIsSelected) {
  const auto tried = run({"fleet", "run", "--policy", policy(), "--dry-run", "--explain"});
  EXPECT_EQ(tried.status, 0);
  EXPECT_THAT(tried.out, AllOf(HasSubstr("3 items / "), HasSubstr("~/code/tool/target\n"), HasSubstr("\ntooSmall ")));
  EXPECT_TRUE(fs::exists(tree().path("code/tool/target")));
  const auto done = run({"fleet", "run", "--policy", policy(), "--json"});
  EXPECT_EQ(done.status, 0);
  EXPECT_EQ(parseJson(done.out, "it")["disposal"]["receipts"].size(), 3U);
  EXPECT_FALSE(fs::exists(tree().path("code/tool/target")));
  EXPECT_EQ(records().back().event, Event::runFinished);
}

TEST_F(FleetCommand, WhatCannotBeUsedIsToldInOneSentence) {
  const auto refused = [&](const std::string& more) {
    const auto ran = run({"fleet", "run", "--policy", policy(more)});
    EXPECT_EQ(ran.status, 2) << ran.out;
    EXPECT_EQ(linesOf(ran.err).size(), 1U) << ran.err;
    return ran.err;
  };
  EXPECT_THAT(refused(R"(, "lockFile": "$NOPE")"),
              StartsWith("tidra: Policy '" + tree().path("policy.json") + "': lockFile '$NOPE' names"));
  EXPECT_THAT(refused(R"(, "metrics": {"textfile": "~/.tidra/audit.jsonl"})"), HasSubstr("are the same file"));
  EXPECT_THAT(refused(R"(, "lockFile": "~/policy.json/lock")"), HasSubstr("for the lock file cannot be made"));
  tree().writeFile(".tidra/fleet.lock", "1\n");
  const auto busy = run({"fleet", "run", "--policy", policy()});
  EXPECT_EQ(busy.status, 75);
  EXPECT_THAT(busy.err, StartsWith("tidra: another tidra run (pid 1) holds the lock. "));
  EXPECT_TRUE(fs::exists(tree().path("code/tool/target")));
}

TEST_F(FleetCommand, GoesOnWhenNobodyReadsItsLines) {
  EXPECT_TRUE(ProcessRunner::run({.executablePath = "/bin/sh",
                                  .arguments = {"-c", "\"$tidra\" fleet run --policy " + policy() + " | true"},
                                  .environment = Environment{{"HOME", tree().root()}, {"tidra", TIDRA_PROGRAM}},
                                  .timeoutSeconds = 60}));
  EXPECT_EQ(records().back().event, Event::runFinished);
  EXPECT_FALSE(fs::exists(tree().path("code/tool/target")));
  EXPECT_FALSE(isLocked());
}

TEST_F(FleetCommand, ServesUntilItIsToldToStop) {
  const auto served = run({"fleet", "serve", "--policy", policy(R"(, "metrics": {"listen": "127.0.0.1:0"})")},
                          {.environment = {}, .onFirstOutput = [](pid_t program) { ::kill(program, SIGTERM); }});
  EXPECT_EQ(served.status, 0) << served.err;
  EXPECT_THAT(served.out, AllOf(HasSubstr("metrics on http://127.0.0.1:"), HasSubstr("\nstopped\n")));
  EXPECT_EQ(records().back().event, Event::runFinished);
  EXPECT_FALSE(isLocked());
}

}  // namespace
}  // namespace tidra
