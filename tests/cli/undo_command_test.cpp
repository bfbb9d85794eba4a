// tidra undo, tidra history, and the trash and quarantine commands around them.
#include <filesystem>

#include "core/base/json_fields.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

class UndoCommand : public CliTest {
 protected:
  using Words = std::vector<std::string>;

  void remove(const std::string& method, const std::string& folder) const {
    const ProgramRun ran = clean({"--yes", "--method", method, folder});
    ASSERT_EQ(ran.status, 0) << ran;
  }
  std::string history() const { return *readFile(tree().path(".local/share/tidra/history.json")); }
};

TEST_F(UndoCommand, EachCallGoesOneRemovalFurtherBack) {
  remove("trash", "code/web");
  remove("quarantine", "code/tool");
  EXPECT_THAT(linesOf(run({"history"}).out),
              ElementsAre(HasSubstr("UNDONE"), HasSubstr("quarantine      1      -  0 of 1"),
                          HasSubstr("trash           2      -  0 of 2")));
  const std::string untouched = history();
  EXPECT_THAT(run({"undo", "--dry-run"}),
              succeeds(AllOf(HasSubstr("code/tool/target would be restored."), Not(HasSubstr("BACK TO")))));
  EXPECT_EQ(history(), untouched);
  EXPECT_THAT(refused({"undo", "--json"}), HasSubstr("no terminal to ask"));
  EXPECT_THAT(run({"undo"}, {.errIsTerminal = true, .typed = "n\n"}).err, HasSubstr("Nothing was restored."));
  EXPECT_FALSE(exists("code/tool/target"));
  EXPECT_THAT(run({"undo"}, {.errIsTerminal = true, .typed = "y\n"}),
              succeeds(AllOf(HasSubstr("~/code/tool/target"), HasSubstr("1 item is restored."))));
  EXPECT_TRUE(exists("code/tool/target/f") && !exists("code/web/dist"));
  EXPECT_THAT(run({"undo", "--yes"}), succeeds(HasSubstr("code/web/node_modules is restored.")));
  EXPECT_TRUE(exists("code/web/dist/f") && exists("code/web/node_modules/a/f"));
  EXPECT_THAT(run({"undo", "--yes"}), succeeds("There is no removal to undo.\n"));
  EXPECT_THAT(run({"undo", "1", "--yes"}), succeeds("All of it is back already.\n"));
  EXPECT_THAT(run({"history"}).out, AllOf(HasSubstr("1 of 1"), HasSubstr("2 of 2")));
}

TEST_F(UndoCommand, WhatIsOnlyInQuarantineIsPointedAt) {
  remove("quarantine", "code/tool");
  fs::remove(tree().path(".local/share/tidra/history.json"));  // as if an unattended run had moved it
  EXPECT_THAT(run({"undo"}), succeeds(AllOf(HasSubstr("1 item is in quarantine"), HasSubstr("tidra quarantine list"))));
}

TEST_F(UndoCommand, WhatIsInItsPlaceAgainIsNoFailure) {
  remove("trash", "code/web");
  fs::rename(tree().path(".local/share/Trash/files/dist"), tree().path("code/web/dist"));
  EXPECT_THAT(run({"undo", "--yes"}), succeeds(AllOf(HasSubstr("node_modules is restored"), Not(HasSubstr("dist")))));
  EXPECT_THAT(run({"history"}).out, HasSubstr("2 of 2"));
  EXPECT_THAT(run({"undo", "--yes"}), succeeds("There is no removal to undo.\n"));
}

TEST_F(UndoCommand, NamesWhatDoesNotComeBackAndTriesAgainWhatStillCan) {
  remove("delete", "code/ancient");
  remove("trash", "code/web");
  tree().writeFile("code/web/dist/new");
  const ProgramRun first = run({"undo", "--yes"});
  EXPECT_EQ(first.status, 1);
  EXPECT_THAT(first.err, AllOf(HasSubstr("code/web/dist: something else is at"), HasSubstr("tidra undo 2 is for")));
  EXPECT_TRUE(exists("code/web/node_modules/a/f") && exists("code/web/dist/new"));
  fs::remove_all(tree().path("code/web/dist"));
  EXPECT_THAT(run({"undo", "--yes"}), succeeds(AllOf(HasSubstr("dist is restored"), Not(HasSubstr("node_modules")))));
  EXPECT_THAT(run({"undo", "2", "--yes"}), fails(1, HasSubstr("code/ancient/target: was deleted for good")));
  EXPECT_THAT(run({"undo", "--yes"}).out, HasSubstr("no removal to undo"));
  for (const char* number : {"9", "0", "abc"}) {
    EXPECT_THAT(refused({"undo", number}), HasSubstr("is no removal of the history: the first is 1, the last 2."));
  }
}

TEST_F(UndoCommand, WhatItsStoreRestoredIsUndone) {
  remove("trash", "code/ancient");
  for (const std::string method : {"trash", "quarantine"}) {
    remove(method, "code/web");
    ASSERT_EQ(run({method, "restore", "code/web/dist"}).status, 0);
    EXPECT_THAT(linesOf(run({"history"}).out)[1], EndsWith("1 of 2"));
    ASSERT_EQ(run({method, "restore", "code/web/node_modules"}).status, 0);
    EXPECT_THAT(run({"undo", "-n"}), succeeds(HasSubstr("code/ancient/target would be restored.")));
  }
}

TEST_F(UndoCommand, SaysWhatWasPurgedOrReplacedMeanwhile) {
  for (const std::string method : {"trash", "quarantine"}) {
    remove(method, "code/web");
    const ProgramRun purged = run({method, "purge", "code/web/dist", "--yes"});
    EXPECT_THAT(purged, succeeds(AllOf(Not(HasSubstr("FREES")), HasSubstr("is purged from "), HasSubstr("freed"))));
    EXPECT_THAT(run({method, "purge", "--all"}, {.errIsTerminal = true, .typed = "n\n"}).out,
                AllOf(HasSubstr("FREES"), HasSubstr("~/code/web/node_modules"), Not(HasSubstr("purged"))));
    EXPECT_THAT(run({"history", "1"}).out, AllOf(HasSubstr("deleted"), HasSubstr("~/code/web/dist")));
    EXPECT_THAT(run({"history", "2"}).out, AllOf(testing::ContainsRegex(" purged +~/code/web/dist\n"),
                                                 testing::ContainsRegex(" " + method + " +~/code/web/node_modules\n")));
    const ProgramRun undone = run({"undo", "--json", "--yes"});
    EXPECT_EQ(undone.status, 1);
    const auto document = documentOf(undone);
    EXPECT_EQ(document["restored"].size(), 1U);
    EXPECT_EQ(document["failures"].size(), 1U);
    EXPECT_THAT(undone.err, AllOf(HasSubstr("is no longer in"), HasSubstr(": purged")));
    EXPECT_TRUE(exists("code/web/node_modules/a/f") && !exists("code/web/dist"));
    tree().writeFileOfSize("code/web/dist/f", 200);
  }
}

TEST_F(UndoCommand, AHistoryThatCannotBeWrittenIsANoteAndADryRunWritesNone) {
  ASSERT_EQ(clean({"-n", "code/web"}).status, 0);
  EXPECT_FALSE(exists(".local/share/tidra/history.json"));
  tree().makeFolder(".local/share/tidra/history.json");
  const ProgramRun ran = clean({"--yes", "code/web"});
  EXPECT_EQ(ran.status, 0);
  EXPECT_THAT(ran.err, HasSubstr("note: The history of removals"));
  EXPECT_THAT(ran.out, HasSubstr("; tidra trash restore brings them back, tidra undo does not know them."));
  EXPECT_FALSE(exists("code/web/dist"));
  for (const char* command : {"undo", "history"}) EXPECT_THAT(refused({command}), HasSubstr("history of removals"));
}

TEST_F(UndoCommand, APurgeOfARemovalDeletesJustWhatItMoved) {
  for (const auto& [method, older, newer] :
       {std::tuple{"trash", "tool/target", "web/dist"}, {"quarantine", "ancient/target", "snake/.venv"}}) {
    for (const char* place : {older, newer}) remove(method, parentPath(std::string("code/") + place));
    EXPECT_THAT(run({method, "purge", "--last", "--yes"}), succeeds(HasSubstr(" deleted, ")));
    EXPECT_THAT(run({method, "list"}).out, AllOf(HasSubstr(older), Not(HasSubstr(newer))));
    EXPECT_THAT(
        documentOf(run({method, "purge", std::string("code/") + older, "--json", "-n"}))["entries"][0]["originalPath"]
            .dump(),
        HasSubstr(older));
    EXPECT_THAT(run({method, "purge", "--last", "--yes"}), succeeds(StartsWith("Nothing of the last removal is in ")));
    EXPECT_THAT(run({method, "list"}).out, HasSubstr(older));
    EXPECT_THAT(refused({method, "purge", "--last", "--all"}), HasSubstr("Give one of these"));
  }
}

TEST_F(UndoCommand, ReachesTheNewestRemovalOfWhichSomethingCanComeBack) {
  remove("trash", "code/tool");
  remove("trash", "code/ancient");
  remove("delete", "code/snake");
  ASSERT_EQ(run({"trash", "purge", "code/ancient/target", "--yes"}).status, 0);
  const ProgramRun undone = run({"undo", "--yes"});
  EXPECT_THAT(undone, succeeds(HasSubstr("code/tool/target is restored.")));
  EXPECT_THAT(undone.err, HasSubstr("2 removals are passed over"));
}

TEST_F(UndoCommand, WhatCameToThePlaceOfAnItemSinceIsNotTakenForIt) {
  remove("trash", "code/tool");
  const std::string info = ".local/share/Trash/info/target.trashinfo";
  tree().writeFile(info,
                   "[Trash Info]\nPath=" + tree().path("code/tool/target") + "\nDeletionDate=2020-02-02T02:02:02\n");
  EXPECT_THAT(run({"history", "1"}).out, testing::ContainsRegex(" purged +~/code/tool/target\n"));
  const ProgramRun purged = run({"trash", "purge", "--last", "--yes"});
  EXPECT_THAT(purged, succeeds("Nothing of the last removal is in the trash.\n"));
  EXPECT_THAT(purged.err, HasSubstr("Trash/files/target stays"));
  EXPECT_THAT(run({"undo", "--yes"}), succeeds("There is no removal to undo.\n"));
  EXPECT_TRUE(exists(".local/share/Trash/files/target/f") && !exists("code/tool/target"));
}

TEST_F(UndoCommand, TheHistoryCountsTheItemsThatItDoesNotKeep) {
  tree().writeFile(".local/share/tidra/history.json", R"({"schemaVersion": 1, "runs": [{"id": "x",
    "at": "2026-01-01T00:00:00Z", "command": "clean", "method": "trash", "moreItems": 5, "items": [{"path": "/p/a",
    "method": "trash", "at": "2026-01-01T00:00:00Z", "restoredAt": "2026-01-01T00:00:00Z"}]}]})");
  EXPECT_THAT(run({"history"}).out, HasSubstr("  trash       6      -  1 of 6\n"));
}

TEST_F(UndoCommand, TrashEntriesAreNamedByPlaceOrByAnUnambiguousName) {
  remove("trash", "code/tool");
  remove("trash", "code/ancient");
  const auto listed = linesOf(run({"trash", "list"}).out);
  ASSERT_THAT(listed, SizeIs(4));
  EXPECT_THAT(listed, Contains(AllOf(StartsWith("target.2 "), EndsWith("  ~/code/ancient/target"))));
  EXPECT_THAT(listed[3], StartsWith("2 items; purging them frees "));
  const auto documents = documentOf(run({"trash", "list", "--json"}));
  EXPECT_EQ(documents[0]["originalPath"].get<std::string>().substr(tree().root().size()).substr(0, 6), "/code/");
  const auto before = tree().snapshot();
  for (const auto& [name, refusal] : rowsOf(R"(code/tool/target/f => lies in ~/code/tool |
                                            nothing => is not in the trash | ../x => is not in the trash)")) {
    for (const char* command : {"restore", "purge"})
      EXPECT_THAT(refused({"trash", command, name, "-y"}), HasSubstr(refusal));
  }
  EXPECT_THAT(refused({"trash", "purge", "--yes"}), HasSubstr("--older-than AGE or --all"));
  EXPECT_THAT(refused({"trash", "purge", "--all", "--older-than", "1d"}), HasSubstr("Give one of these"));
  EXPECT_EQ(run({"trash", "restore", "target.2", "--dry-run"}).status, 0);
  EXPECT_THAT(run({"trash", "restore", "target", "--dry-run"}), succeeds(HasSubstr("code/tool/target would be")));
  EXPECT_EQ(tree().snapshot(), before);
  EXPECT_THAT(run({"trash", "restore", "~/.local/share/Trash/files/target"}),
              succeeds(HasSubstr("tool/target is restored")));
  EXPECT_TRUE(exists("code/tool/target/f"));
  EXPECT_THAT(run({"trash", "purge", "--all", "--yes"}),
              succeeds(AllOf(HasSubstr("code/ancient/target is purged from the trash."), HasSubstr("1 item deleted"))));
  EXPECT_EQ(run({"trash", "list"}).out, "The trash is empty.\n");
}

TEST_F(UndoCommand, ANameOfSeveralEntriesIsRefused) {
  for (const char* project : {"code/tool", "code/ancient"}) remove("quarantine", project);
  for (const char* command : {"restore", "purge"}) {
    EXPECT_THAT(refused({"quarantine", command, "target", "-y"}),
                HasSubstr("is in quarantine 2 times; name one by its path: ~/code/"));
  }
}

/// Emptying takes what was just moved there and everything else: said before, and never promised back.
TEST_F(UndoCommand, EmptyingTheTrashIsAskedForAndRecordedAsTheDeletionThatItIs) {
  remove("trash", "code/tool");
  tree().writeFile("code/web/dist/f", std::string(2 << 20, 'x'));
  const std::vector<std::string> emptying{"code/web", "--empty-trash"};
  EXPECT_THAT(clean({"code/web", "--empty-trash", "-n"}).out,
              AllOf(HasSubstr("moved to the trash and deleted with it, about 2 MB freed"),
                    HasSubstr("in it now (1 entry, "), HasSubstr("~/code/tool/target")));
  const ProgramRun asked = clean(emptying, {.errIsTerminal = true, .columns = 500, .typed = "n\n"});
  EXPECT_THAT(asked.err, AllOf(HasSubstr("Delete 2 items (2 MB) for good? They go through the trash, which is emptied"),
                               HasSubstr("what is in it now (1 entry, "), HasSubstr("is deleted for good, too")));
  const ProgramRun ran = clean({"--yes", "code/web", "--empty-trash"});
  EXPECT_THAT(ran, succeeds(AllOf(HasSubstr("2 items deleted, 2 MB freed"), HasSubstr("1 other entry deleted"),
                                  HasSubstr("The trash is empty."), Not(HasSubstr("undo")))));
  EXPECT_THAT(linesOf(run({"history"}).out),
              ElementsAre(testing::_, HasSubstr("empty trash  delete      1  "),
                          HasSubstr("clean        delete      2   2 MB"), HasSubstr("0 of 1")));
  EXPECT_THAT(run({"history", "1"}).out, testing::ContainsRegex("deleted +~/code/tool/target\n"));
  EXPECT_THAT(run({"history", "2"}).out, testing::ContainsRegex("2 MB  deleted +~/code/web/dist\n"));
  EXPECT_THAT(run({"undo", "3", "--yes"}), fails(1, HasSubstr("is no longer in the trash: purged")));
  EXPECT_THAT(run({"undo", "2", "--yes"}), fails(1, HasSubstr("code/web/dist: was deleted for good")));
}

TEST_F(UndoCommand, TheSettingEmptiesTheTrashOnlyOfWhatWasMovedThere) {
  tree().writeFile("code/tool/target/f", std::string(50000, 'x'));
  remove("trash", "code/tool");
  ASSERT_EQ(run({"config", "set", "empty-trash", "true"}).status, 0);
  EXPECT_EQ(clean({"--yes", "code/tool"}).out, "Nothing to remove.\n");
  EXPECT_TRUE(exists(".local/share/Trash/files/target"));
  const auto document = documentOf(clean({"--yes", "code/web", "--json"}));
  for (const auto& receipt : document["receipts"]) {
    EXPECT_TRUE(receipt["method"] == "delete" && !receipt.contains("destination")) << receipt;
  }
  EXPECT_GT(document["freedBytes"], 50000);
  EXPECT_FALSE(exists(".local/share/Trash/files/target"));
}

TEST_F(UndoCommand, TheHistoryKnowsWhatWentWithEachKindOfOutput) {
  for (const char* output : {"--json-lines", "--json", "--quiet"}) {
    ASSERT_EQ(clean({"--yes", output, "code/web"}).status, 0);
    EXPECT_THAT(run({"undo", "--yes"}), succeeds(HasSubstr("code/web/dist is restored"))) << output;
  }
}

TEST_F(UndoCommand, ATrashThatWasSelectedIsRecordedByItsEntries) {
  remove("trash", "code/tool");
  tree().writeFile(".local/share/Trash/info/target.trashinfo",
                   "Path=" + tree().path("code/tool/target") + "\nDeletionDate=2020-01-01T00:00:00\n");
  const std::vector<std::string> selecting{"clean", "--category", "agentHost", "--tier", "caution"};
  const auto with = [&](const char* flag) {
    auto arguments = selecting;
    arguments.push_back(flag);
    return run(arguments).out;
  };
  EXPECT_THAT(with("-n"), AllOf(HasSubstr("FROM"), HasSubstr("  ~/code/tool/target\n"), Not(HasSubstr("; Part"))));
  EXPECT_THAT(with("-y"), HasSubstr("The trash is emptied"));
  EXPECT_THAT(linesOf(run({"history"}).out)[1], HasSubstr("empty trash  delete      1  "));
  EXPECT_THAT(run({"history", "1"}).out, HasSubstr("~/code/tool/target"));
}

TEST_F(UndoCommand, AFolderComesBackBeforeWhatWasInIt) {
  for (const auto& [name, place] : rowsOf("in => a/b | out => a")) {
    tree().writeFile(".local/share/Trash/files/" + name + "/f", name);
    tree().writeFile(".local/share/Trash/info/" + name + ".trashinfo",
                     "Path=" + tree().path("p/" + place) + "\nDeletionDate=2020-01-01T00:00:00\n");
  }
  for (const char* folder : {"", "/files", "/info"}) tree().setMode(".local/share/Trash" + std::string(folder), 0700);
  EXPECT_EQ(run({"trash", "restore", "in", "out"}).status, 0);
  EXPECT_TRUE(exists("p/a/f") && exists("p/a/b/f"));
}

}  // namespace
}  // namespace tidra
