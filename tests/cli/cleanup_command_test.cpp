// clean, plan, apply, quarantine and trash as run by people and scripts.
#include <signal.h>

#include <filesystem>

#include "core/base/json_fields.h"
#include "core/model/cleanup_plan.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/noted_removal.h"
#include "tests/support/temporary_mount.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

class CliCleanup : public CliTest {
 protected:
  static ProgramOptions typing(const std::string& answer) { return {.typed = answer + "\n"}; }
  static DisposalOutcome outcomeOf(const ProgramRun& ran) {
    return JsonCodec<DisposalOutcome>::decode(documentOf(ran), "it");
  }
  /// A plan with one item and some members replaced; null removes one.
  std::string planText(const nlohmann::json& planChange = {}, const nlohmann::json& itemChange = {}) const {
    auto plan = documentOf(run({"plan", "--no-system", "--method", "delete", "code/web"}));
    plan["items"].erase(1);
    plan["items"][0].merge_patch(itemChange.is_null() ? nlohmann::json::object() : itemChange);
    plan.merge_patch(planChange.is_null() ? nlohmann::json::object() : planChange);
    return plan.dump();
  }
  /// Writes the manifest of an entry of 2020 into the quarantine.
  void writeManifest(const std::string& entry) const {
    tree().writeFile(entry + ".tidra.json",
                     R"({"originalPath": "/x", "quarantinedAt": "2020-01-01T00:00:00Z", "host": "h"})");
    tree().setMode(".tidra/quarantine", 0700);
  }
  ProgramRun apply(const std::string& text, Texts more = {"--yes"}) const {
    more.insert(more.begin(), {"apply", tree().writeFile("plan.json", text)});
    return run(more);
  }
};

TEST_F(CliCleanup, NothingHappensWithoutAnAnswer) {
  const auto before = tree().snapshot();
  const ProgramRun silent = clean({});
  EXPECT_EQ(silent.status, 2);
  EXPECT_THAT(silent.err, HasSubstr("There is no terminal to ask; use --yes"));
  EXPECT_EQ(clean({"--json"}).status, 2) << "a document is no consent";
  for (const char* answer : {"n", "", "yess", "no"}) {
    const ProgramRun refused = clean({}, typing(answer));
    EXPECT_EQ(refused.status, 0) << answer;
    EXPECT_THAT(refused.err, HasSubstr("Nothing was removed.")) << answer;
  }
  EXPECT_THAT(clean({"--dry-run"}), succeeds(AllOf(HasSubstr("~/code/tool/target"), HasSubstr("nothing was changed"))));
  EXPECT_EQ(outcomeOf(clean({"-n", "--json", "--method", "quarantine", "code/tool"})).receipts.at(0).path,
            tree().path("code/tool/target"));
  EXPECT_EQ(tree().snapshot(), before);
}

TEST_F(CliCleanup, WhatStaysBecauseItsTierWasRaisedIsNoted) {
  for (const char* file : {"requires", "store/f"}) tree().writeFile("code/web/node_modules/a/.hg/" + std::string(file));
  for (const char* file : {"code/tool/target/__init__.py", "code/plain/vendor/f"}) tree().writeFile(file);
  const std::string held = "because a check ranks it higher than its rule (tidra scan shows why)";
  const ProgramRun some = clean({"-n", "--apparent-size", "code/web"});
  EXPECT_THAT(some, succeeds(HasSubstr("~/code/web/dist")));
  EXPECT_EQ(some.err, "note: 1 finding with 3 KB stays, " + held + "; --tier safe,caution takes it too.\n");
  const ProgramRun none = clean({"-n", "--apparent-size", "code/tool", "--tier", "safe,caution"});
  EXPECT_THAT(none, succeeds("Nothing to remove.\n"));
  EXPECT_EQ(none.err, "note: 1 finding with 49 KB stays, " + held + ".\n");
  for (const Texts& options : {Texts{"code/web", "--tier", "safe,caution"}, Texts{"code/web", "--min-size", "1M"},
                               Texts{"code/plain", "--tier", "warning"}, Texts{"code/tool", "-q"}}) {
    Texts all{"-n"};
    all.insert(all.end(), options.begin(), options.end());
    EXPECT_THAT(clean(all).err, Not(HasSubstr("because a check"))) << joined(options, " ");
  }
}

TEST_F(CliCleanup, EveryMethodTakesTheSafeTierAndNamesWhatWentWhere) {
  EXPECT_THAT(clean({"code/tool"}, typing("y")).out, HasSubstr("1 item moved to the trash"));
  EXPECT_TRUE(exists(".local/share/Trash/files/target"));
  const auto outcome = outcomeOf(clean({"--yes", "--json", "--method", "quarantine", "code/web"}));
  ASSERT_EQ(outcome.receipts.size(), 2U);
  EXPECT_THAT(outcome.failures, IsEmpty());
  EXPECT_EQ(outcome.receipts[0].bytes, 3000);
  const ProgramRun listed = run({"quarantine", "list"});
  // Entries sort by the second in which they moved.
  EXPECT_THAT(linesOf(listed.out), UnorderedElementsAre(HasSubstr("DUE"), HasSubstr("-dist "),
                                                        HasSubstr("-node_modules "), StartsWith("2 en")));
  EXPECT_EQ(run({"quarantine", "restore", "no-such"}).status, 2);
  EXPECT_EQ(run({"quarantine", "restore"}).status, 2);
  EXPECT_EQ(run({"quarantine", "restore", "--all", "--dry-run"}).status, 0);
  EXPECT_FALSE(exists("code/web/dist"));
  EXPECT_EQ(run({"quarantine", "restore", "--all"}).status, 0);
  EXPECT_TRUE(exists("code/web/dist/f") && exists("code/web/node_modules/a/f"));
  EXPECT_THAT(clean({"--yes", "--method", "delete", "code/web"}).out, HasSubstr("2 items deleted"));
  EXPECT_FALSE(exists("code/web/dist") || exists("code/web/node_modules"));
  EXPECT_EQ(clean({"code/web"}).out, "Nothing to remove.\n");
  for (const std::string wrong : {"shred", "", "Trash"})
    EXPECT_THAT(clean({"--yes", "--method", wrong}).err, HasSubstr("Unknown method")) << wrong;
}

TEST_F(CliCleanup, WhatCannotBeMadeAgainNeedsTheTypedAnswer) {
  tree().writeFile("rules.json", R"({"projectRules": [{"id": "data", "folderName": "precious", "ecosystem": "general",
                                     "tier": "warning"}]})");
  tree().writeFile("code/web/precious/f", "x");
  const Texts warning{"--rules", "rules.json", "--tier", "warning", "--method", "delete", "code/web"};
  const auto with = [&](Texts more) {
    more.insert(more.end(), warning.begin(), warning.end());
    return more;
  };
  clean({"--rules", "rules.json", "--yes", "--method", "delete", "code/web"});
  EXPECT_TRUE(exists("code/web/precious/f")) << "not without the tier";
  EXPECT_THAT(clean(with({"--yes"})), fails(2, HasSubstr("--yes is not enough")));
  for (const char* answer : {"y", "yes", "remove", "remove 2"}) EXPECT_EQ(clean(with({}), typing(answer)).status, 0);
  EXPECT_EQ(clean(with({"--yes"}), typing("y")).status, 0);
  EXPECT_TRUE(exists("code/web/precious/f"));
  EXPECT_THAT(clean(with({}), typing("remove 1")).out, HasSubstr("1 item deleted"));
  EXPECT_FALSE(exists("code/web/precious"));
}

TEST_F(CliCleanup, PlansThatMakeNoSenseChangeNothing) {
  const std::string path = tree().path("code/web/node_modules");
  struct Case {
    std::string text;
    std::string message;
  };
  auto doubled = parseJson(planText(), "it");
  doubled["items"].push_back(doubled["items"][0]);
  auto withNul = parseJson(planText(), "it");
  withNul["items"][0]["path"] = path + std::string(1, '\0') + "x";
  std::vector<Case> cases{{"", "is not valid JSON"},
                          {"{", "is not valid JSON"},
                          {"[]", "the plan"},
                          {planText({{"schemaVersion", 2}}), "use a newer Tidra"},
                          {planText({{"schemaVersion", "1"}}), "schemaVersion"},
                          {planText({{"items", 7}}), "items"},
                          {planText({{"method", "shred"}}), "method"},
                          {planText({{"host", "elsewhere"}}), "was made on 'elsewhere'"},
                          {planText({}, {{"bytes", -1}}), "is negative"},
                          {planText({}, {{"bytes", "3000"}}), "bytes"},
                          {planText({}, {{"tier", "none"}}), "tier"},
                          {planText({}, {{"path", "code/web/dist"}}), "is not absolute"},
                          {planText({}, {{"path", tree().path("code/../code/web/dist")}}), "contains '..'"},
                          {planText({}, {{"path", path + "/"}}), "ends with '/'"},
                          {planText({}, {{"path", tree().path("code//web")}}), "empty component"},
                          {doubled.dump(), "is listed twice"},
                          {withNul.dump(), "contains a NUL byte"},
                          {R"({"items": [], )" + planText().substr(1), "items stands twice"}};
  for (const char* key : {"schemaVersion", "createdAt", "host", "method", "items"})
    cases.push_back({planText({{key, nullptr}}), key});
  for (const char* key : {"id", "path", "label", "bytes", "tier", "category", "source"})
    cases.push_back({planText({}, {{key, nullptr}}), key});
  const auto before = snapshotOf(tree().path("code"));
  for (const Case& c : cases) {
    const ProgramRun ran = apply(c.text);
    EXPECT_EQ(ran.status, 2) << c.message;
    EXPECT_EQ(ran.out, "") << c.message;
    EXPECT_THAT(linesOf(ran.err), ElementsAre(AllOf(StartsWith("tidra: Plan '"), HasSubstr(c.message))));
  }
  EXPECT_EQ(run({"apply", tree().path("missing.json"), "--yes"}).status, 2);
  for (const char* noFile : {"/dev/zero", "/dev/stdin"}) {
    const ProgramRun ran = run({"apply", noFile, "--yes"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr("is not a file; name one that tidra plan has written"));
  }
  const std::string open = tree().writeFile("open.json", planText());
  std::filesystem::permissions(open, std::filesystem::perms::others_write, std::filesystem::perm_options::add);
  const ProgramRun others = run({"apply", open, "--yes"});
  EXPECT_EQ(others.status, 2);
  EXPECT_THAT(others.err, HasSubstr("can be changed by other users"));
  EXPECT_EQ(snapshotOf(tree().path("code")), before);
  EXPECT_EQ(apply(planText()).status, 0);
  EXPECT_FALSE(exists("code/web/node_modules"));
}

TEST_F(CliCleanup, AFailingItemIsNamedAndTheRestGoes) {
  const std::string bent = planText({}, {{"path", tree().root()}});
  auto plan = documentOf(run({"plan", "--no-system", "--method", "delete", "code/web"}));
  plan["items"].push_back(plan["items"][0]);
  plan["items"][2]["path"] = tree().path("code/web");
  for (const Texts& mode : {Texts{"--dry-run"}, {"--yes"}}) {
    fs::remove_all(tree().path("code/web/dist"));
    const ProgramRun ran = apply(plan.dump(), mode);
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(linesOf(ran.err), ElementsAre(AllOf(HasSubstr("~/code/web/dist"), HasSubstr("Path not found")),
                                              AllOf(HasSubstr("~/code/web:"), HasSubstr("--allow-any-path"))));
  }
  EXPECT_FALSE(exists("code/web/node_modules"));
  EXPECT_TRUE(exists("code/web"));
  const ProgramRun home = apply(bent, {"--yes", "--allow-any-path", "--json"});
  EXPECT_EQ(home.status, 1);
  EXPECT_THAT(outcomeOf(home).failures.at(0).message, HasSubstr("is protected"));
}

TEST_F(CliCleanup, WhatIsKeptIsNotedAndListed) {
  tree().writeFile("code/web/.tidra-keep");
  const ProgramRun ran = clean({"--yes", "--method", "delete", "code/web"});
  EXPECT_EQ(ran.out, "Nothing to remove.\n");
  EXPECT_THAT(linesOf(ran.err), Contains(AllOf(StartsWith("note: ~/code/web/dist is kept by"))));
  EXPECT_EQ(report({"code/web"}).items.size(), 2U);
  EXPECT_THAT(clean({"--yes", "--force", "--method", "delete", "code/web"}).out, HasSubstr("2 items deleted"));
}

TEST_F(CliCleanup, AnInterruptedPurgeLeavesTheRestInQuarantine) {
  constexpr int entries = 300;
  for (int i = 0; i < entries; ++i) {
    const std::string entry = ".tidra/quarantine/20200101T000000-e" + std::to_string(i);
    for (int k = 0; k < 20; ++k) tree().writeFile(entry + "/d" + std::to_string(k) + "/f");
    writeManifest(entry);
  }
  const std::string done = " is purged from quarantine.";
  const ProgramRun ran = run({"quarantine", "purge", "--yes"},
                             {.awaited = done, .onOutput = [](pid_t program) { ::kill(program, SIGINT); }});
  EXPECT_EQ(ran.status, 130);
  const auto isPurged = [&](const std::string& line) { return line.ends_with(done); };
  const Texts lines = linesOf(ran.out);
  const auto purged = static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), isPurged));
  EXPECT_LT(purged, static_cast<std::size_t>(entries));
  EXPECT_THAT(documentOf(run({"quarantine", "list", "--json"})).size(),
              testing::AnyOf(entries - purged, entries - purged - 1));
  EXPECT_EQ(run({"quarantine", "purge", "--yes"}).status, 0);
  EXPECT_EQ(run({"quarantine", "list"}).out, "Nothing is in quarantine.\n");
}

TEST_F(CliCleanup, AnEntryThatCannotBePurgedIsNamedOnce) {
  const std::string entry = ".tidra/quarantine/20200101T000000-e";
  tree().makeFolder(entry);
  writeManifest(entry);
  const TemporaryMount mount(tree().makeFolder(entry + "/mounted"));
  if (!mount) GTEST_SKIP() << "mounting is not permitted";
  const ProgramRun ran = run({"quarantine", "purge", "--yes"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_THAT(linesOf(ran.err), ElementsAre(HasSubstr("mounted file system")));
  for (const auto& leftover : fs::directory_iterator(tree().path(".tidra/quarantine")))
    ::umount2((leftover.path() / "mounted").c_str(), MNT_DETACH);
}

TEST_F(CliCleanup, AnEmptyQuarantineIsSaidToBeEmpty) {
  for (const char* action : {"restore", "purge"}) {
    EXPECT_THAT(run({"quarantine", action, "--all"}).out, HasSubstr("Nothing is in quarantine")) << action;
    EXPECT_THAT(run({"quarantine", action, "--all", "--json"}).out, Not(HasSubstr("Nothing"))) << action;
  }
}

TEST_F(CliCleanup, APurgeClearsAndCountsWhatEarlierRemovalsLeft) {
  const std::string store = ".tidra/quarantine/";
  for (const std::string which : {"--older-than=7d", "--all"}) {
    writeManifest(store + "20200101T000000-gone");
    const std::string leftover = tree().makeFolder(store + ".tidra-removing-0123456789abcdef");
    noteRemoval(leftover);
    tree().writeFileOfSize(store + ".tidra-removing-0123456789abcdef/f", 50000);
    const auto before = tree().snapshot();
    EXPECT_THAT(run({"quarantine", "purge", which, "--dry-run"}).err, HasSubstr("would be cleared away"));
    EXPECT_EQ(tree().snapshot(), before);
    const ProgramRun ran = run({"quarantine", "purge", which, "--yes"});
    EXPECT_THAT(ran,
                succeeds(AllOf(HasSubstr("2 rests of earlier removals cleared away, 4"), Not(HasSubstr("Nothing")))));
    EXPECT_THAT(ran.err, HasSubstr("gone, of which an earlier removal left something, is cleared away"));
    EXPECT_FALSE(exists(store + "20200101T000000-gone.tidra.json") ||
                 exists(store + ".tidra-removing-0123456789abcdef"));
    EXPECT_THAT(run({"history", "1"}).out, HasSubstr(".tidra-removing-0123456789abcdef"));
  }
}

}  // namespace
}  // namespace tidra
