#include <csignal>

#include "core/base/json_fields.h"
#include "core/platform/process_runner.h"
#include "fleet/agent/audit_log.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

using Event = AuditRecord::Event;

class FleetCommand : public CliTest {
 protected:
  std::string policy(const std::string& more = "") const {
    return tree().writeFile("policy.json", R"({"scan": {"roots": ["~/code"], "categories": []},
      "autoClean": {"minBytes": 1000, "minIdleDays": 0})" +
                                               more + "}");
  }
  std::vector<AuditRecord> records() const { return AuditLog::records(tree().path(".tidra/audit.jsonl")); }
};

TEST_F(FleetCommand, ExplainsEveryFindingAndRemovesWhatIsSelected) {
  EXPECT_THAT(run({"fleet", "run", "--policy", policy(), "--dry-run", "--explain"}),
              succeeds(AllOf(HasSubstr("3 items / "), HasSubstr("~/code/tool/target\n"), HasSubstr("\ntooSmall "))));
  EXPECT_TRUE(exists("code/tool/target"));
  const auto done = run({"fleet", "run", "--policy", policy(), "--json"});
  EXPECT_EQ(done.status, 0);
  EXPECT_EQ(documentOf(done)["disposal"]["receipts"].size(), 3U);
  EXPECT_FALSE(exists("code/tool/target"));
  EXPECT_EQ(records().back().event, Event::runFinished);
}

TEST_F(FleetCommand, WhatCannotBeUsedIsRefusedInOneSentence) {
  const auto refused = [&](const std::string& more) {
    return CliTest::refused({"fleet", "run", "--policy", policy(more)});
  };
  EXPECT_THAT(refused(R"(, "lockFile": "$NOPE")"),
              StartsWith("tidra: Policy '" + tree().path("policy.json") + "': lockFile '$NOPE' names"));
  EXPECT_THAT(refused(R"(, "metrics": {"textfile": "~/.tidra/audit.jsonl"})"), HasSubstr("are the same file"));
  EXPECT_THAT(refused(R"(, "lockFile": "~/policy.json/lock")"), HasSubstr("for the lock file cannot be made"));
  tree().writeFile(".tidra/fleet.lock", "1\n");
  EXPECT_THAT(run({"fleet", "run", "--policy", policy()}),
              fails(75, StartsWith("tidra: another tidra run (pid 1) holds the lock. ")));
  EXPECT_TRUE(exists("code/tool/target"));
}

TEST_F(FleetCommand, GoesOnWhenNobodyReadsItsLines) {
  EXPECT_TRUE(ProcessRunner::run({.executablePath = "/bin/sh",
                                  .arguments = {"-c", "\"$tidra\" fleet run --policy " + policy() + " | true"},
                                  .environment = Environment{{"HOME", tree().root()}, {"tidra", TIDRA_PROGRAM}},
                                  .timeoutSeconds = 60}));
  EXPECT_EQ(records().back().event, Event::runFinished);
  EXPECT_FALSE(exists("code/tool/target"));
  EXPECT_FALSE(exists(".tidra/fleet.lock"));
}

TEST_F(FleetCommand, ServesUntilItIsStopped) {
  const auto served = run({"fleet", "serve", "--policy", policy(R"(, "metrics": {"listen": "127.0.0.1:0"})")},
                          {.onOutput = [](pid_t program) { ::kill(program, SIGTERM); }});
  EXPECT_EQ(served.status, 0) << served.err;
  EXPECT_THAT(served.out, AllOf(HasSubstr("metrics on http://127.0.0.1:"), HasSubstr("\nstopped\n")));
  EXPECT_EQ(records().back().event, Event::runFinished);
  EXPECT_FALSE(exists(".tidra/fleet.lock"));
}

}  // namespace
}  // namespace tidra
