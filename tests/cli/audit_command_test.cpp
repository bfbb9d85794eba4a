#include <fstream>

#include "core/base/json_fields.h"
#include "core/platform/files.h"
#include "core/platform/process_runner.h"
#include "fleet/agent/audit_log.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

class CliAudit : public CliTest {
 protected:
  CliAudit() {
    append(AuditRecord::Event::runStarted, {}, "R1");
    append(AuditRecord::Event::disposed, tree().path("code/web/dist"), "R1");
    append(AuditRecord::Event::disposed, tree().path("code/webs"), "R1");
    append(AuditRecord::Event::skipped, "/evil\x1b[2J\n\xff", "R2");
    append(AuditRecord::Event::purged, "docker:build-cache", "R2");
  }
  void append(AuditRecord::Event event, const std::optional<std::string>& path, const std::string& run) {
    AuditLog(log()).append([&](AuditRecord& record) {
      record.time = *fromIso8601("2026-03-14T10:15:00Z");
      record.host = "h";
      record.actor = "a";
      record.runID = run;
      record.event = event;
      record.path = path;
      record.bytes = 2048;
    });
  }
  std::string log() const { return tree().path(".tidra/audit.jsonl"); }
  /// The positions of the records shown.
  std::vector<std::int64_t> shown(std::vector<std::string> filters) const {
    filters.insert(filters.begin(), {"audit", "show", "--json"});
    const ProgramRun ran = run(filters);
    EXPECT_EQ(ran.status, 0) << ran.err;
    std::vector<std::int64_t> positions;
    for (const auto& record : documentOf(ran)) positions.push_back(record["seq"].get<std::int64_t>());
    return positions;
  }
};

TEST_F(CliAudit, VerifyPrintsTheVerdict) {
  EXPECT_EQ(run({"audit", "verify"}).out, "OK (5 records)\n");
  EXPECT_EQ(run({"audit", "verify", log()}).status, 0);
  std::string bytes = *readFile(log());
  bytes.replace(bytes.find("2048"), 4, "1024");
  tree().writeFile("copy.jsonl", bytes);
  const ProgramRun changed = run({"audit", "verify", tree().path("copy.jsonl")});
  EXPECT_EQ(changed.status, 1);
  EXPECT_EQ(changed.out, "Hash mismatch at seq 1\n");
  EXPECT_EQ(run({"audit", "verify", "/no/such"}).status, 1);
}

// Runs the commands that the document recommends to auditors on its example.
TEST_F(CliAudit, TheDocumentedCheckNeedsOnlyShellTools) {
  const Environment environment = processEnvironment();
  for (const std::string tool : {"jq", "sha256sum", "sed"}) {
    if (!ProcessRunner::which(tool, environment)) GTEST_SKIP() << tool << " is not installed";
  }
  const std::string docs = std::string(TIDRA_SOURCE_DIR) + "/docs";
  const std::string document = *readFile(docs + "/audit.md");
  const auto blockAfter = [&](const std::string& opening) {
    const auto begin = document.find(opening) + opening.size();
    return document.substr(begin, document.find("\n```", begin) - begin);
  };
  const std::string steps = blockAfter("```sh\n");
  const std::string printed = blockAfter("It prints:\n\n```\n");
  const auto check = [&](const std::string& log) {
    tree().writeFile("check/audit-example.jsonl", log);
    const auto ran = ProcessRunner::run({.executablePath = "/bin/sh",
                                         .arguments = {"-c", steps},
                                         .currentDirectory = tree().path("check"),
                                         .timeoutSeconds = 60});
    return ran ? ran->stdout_ : "(did not run)";
  };
  const std::string example = *readFile(docs + "/audit-example.jsonl");
  EXPECT_EQ(check(example), printed);
  EXPECT_EQ(AuditLog::verify(docs + "/audit-example.jsonl").message, "OK (3 records)");
  std::string changed = example;
  changed.replace(changed.find("183000000"), 9, "183000001");
  EXPECT_THAT(check(changed), HasSubstr("record 2 was changed"));
  EXPECT_EQ(check(example.substr(example.find('\n') + 1)), "record 2 does not follow the one before it");
  EXPECT_THAT(check(*readFile(log())), AllOf(HasSubstr("5 "), Not(HasSubstr("record")))) << "names of any bytes too";
}

TEST_F(CliAudit, ShowFiltersAndEscapes) {
  EXPECT_THAT(shown({}), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_THAT(shown({"--run", "R2"}), ElementsAre(4, 5));
  EXPECT_THAT(shown({"--event", "disposed,purged"}), ElementsAre(2, 3, 5));
  EXPECT_THAT(shown({"--path", tree().path("code/web/")}), ElementsAre(2));
  EXPECT_THAT(shown({"--path", "~/code"}), ElementsAre(2, 3));
  EXPECT_THAT(shown({"--path", "docker:build-cache", "--run", "R2"}), ElementsAre(5));
  EXPECT_THAT(shown({"--run", "R9"}), ElementsAre());
  const ProgramRun text = run({"audit", "show"});
  EXPECT_THAT(linesOf(text.out), ElementsAre(HasSubstr("runStarted"), HasSubstr("~/code/web/dist"), testing::_,
                                             HasSubstr("/evil\\x1b[2J\\n\\xff"), HasSubstr("docker:build-cache")));
  EXPECT_THAT(linesOf(text.out)[1], StartsWith("     2  2026-03-14T10:15:00Z  disposed"));
  EXPECT_EQ(run({"audit", "show", "--run", "R9"}).out, "No records.\n");
  EXPECT_THAT(refused({"audit", "show", "--event", "exploded"}),
              StartsWith("tidra: Unknown event 'exploded'; known are "));
  EXPECT_THAT(refused({"audit", "show", "/no/such"}), StartsWith("tidra: The audit log /no/such does not exist."));
  EXPECT_THAT(refused({"audit", "show", "--home", tree().makeFolder("idle")}), HasSubstr("No unattended run of yours"));
  EXPECT_THAT(refused({"audit", "show", tree().root()}), HasSubstr(tree().root() + " is a folder; name a file."));
}

TEST_F(CliAudit, ShowPassesOverALineThatIsBeingWrittenAndNotesDamage) {
  std::ofstream(log(), std::ios::app) << "{\"actor\":\"half";
  EXPECT_THAT(shown({}), ElementsAre(1, 2, 3, 4, 5));
  std::ofstream(log(), std::ios::app) << "\n";
  const ProgramRun ran = run({"audit", "show", "--json"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(documentOf(ran).size(), 5U);
  EXPECT_THAT(ran.err, HasSubstr("The audit log is damaged: line 6 (byte "));
}

TEST_F(CliAudit, RepairAsksAndHoldsTheLock) {
  EXPECT_EQ(run({"audit", "repair", "-y"}).out, log() + " ends in a complete record; there is nothing to repair.\n");
  const auto size = readFile(log())->size();
  std::ofstream(log(), std::ios::app) << "{\"act";
  const auto before = tree().snapshot();
  EXPECT_EQ(run({"audit", "repair", "-n"}).out,
            fmt::format("5 bytes from byte {} on would be moved out of {} into a file beside it.\n", size, log()));
  EXPECT_EQ(run({"audit", "repair"}).status, 2) << "there is no terminal to ask at";
  EXPECT_EQ(tree().snapshot(), before);
  tree().writeFile(".tidra/fleet.lock", "1\n");
  EXPECT_THAT(run({"audit", "repair", "--yes"}),
              fails(75, AllOf(HasSubstr("another tidra run (pid 1) holds the lock"),
                              HasSubstr("remove " + tree().path(".tidra/fleet.lock")))));
  EXPECT_EQ(readFile(log())->size(), size + 5);
  const ProgramRun done = run({"audit", "repair", "--yes", "--lock", tree().path("other.lock")});
  EXPECT_EQ(done.out, fmt::format("5 bytes moved from {0} to {0}.torn; record 6 documents it.\n", log()));
  EXPECT_EQ(*readFile(log() + ".torn"), "{\"act");
  EXPECT_FALSE(readFile(tree().path("other.lock")));
  EXPECT_EQ(run({"audit", "verify"}).out, "OK (6 records)\n");
  EXPECT_THAT(run({"audit", "show", "--event", "error"}).out, HasSubstr("were no record; they are kept in"));
}

}  // namespace
}  // namespace tidra
