// Rule packs, and the rules files that a user added.
#include <gmock/gmock.h>

#include <algorithm>
#include <set>

#include "core/base/text.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/files.h"
#include "core/rules/added_rules.h"
#include "core/rules/catalog_files.h"
#include "core/rules/rule_packs.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

TEST(RulePackCatalogs, DemandMoreThanANameAndFitTheBuiltInRules) {
  const auto document = readFile(TIDRA_SOURCE_DIR "/docs/rules.md");
  ASSERT_TRUE(document);
  RuleCatalog catalog = RuleCatalog::builtIn();
  const auto isEcosystem = [](const auto& rule) {
    return std::ranges::count(ecosystemTable, rule.ecosystem, &TidraEcosystemDescriptor::key) == 1;
  };
  for (const RulePack& pack : RulePack::all()) {
    EXPECT_THAT(*document, HasSubstr("| `" + pack.name + "` | " + pack.title + " | ")) << "undocumented";
    for (const auto& rule : pack.catalog.projectRules) {
      EXPECT_TRUE((rule.requireMarker && !rule.markers.empty()) || rule.holds) << rule.id;
      EXPECT_TRUE(rule.restoreHint && isEcosystem(rule)) << rule.id;
      EXPECT_THAT(*document, HasSubstr("`" + rule.id + "`"));
    }
    for (const auto& rule : pack.catalog.systemRules) {
      // A file is known by the name that only its tool makes, in the tool's own folder.
      EXPECT_TRUE(rule.holds || rule.kind == SystemPathRule::Kind::file) << rule.id;
      EXPECT_TRUE(rule.restoreHint && isEcosystem(rule)) << rule.id;
      EXPECT_NE(systemScanCategoryName(rule.category), rule.category) << rule.id;
      EXPECT_THAT(*document, HasSubstr("`" + rule.id + "`"));
    }
    catalog = catalog.withPack(pack.catalog);
  }
  EXPECT_NO_THROW(RuleCatalog::validate(catalog.projectRules, catalog.systemRules));
}

TEST(RulePackCatalogs, ComeBeforeTheBuiltInRulesAndAreNamedInTheVersion) {
  const auto chosen = makeCatalog({.packs = {"gleam", "elixer"}});
  EXPECT_EQ(chosen.catalog.catalogVersion, RuleCatalog::builtIn().catalogVersion + "+gleam");
  EXPECT_EQ(chosen.catalog.projectRules.front().id, "gleam-build");
  EXPECT_THAT(chosen.notes, ElementsAre("The settings name an unknown rule pack 'elixer'; did you mean elixir?"));
  EXPECT_EQ(RulePack::unknownText("flutterr"), "unknown rule pack 'flutterr'; tidra rules packs lists them");
  EXPECT_EQ(RulePack::unknownText("Unity"), "unknown rule pack 'Unity'; did you mean unity?");
}

constexpr std::string_view quarry =
    R"({"catalogVersion": "q", "projectRules": [{"id": "quarry", "folderName": ".q"}]})";

TEST(AddedRules, AreReadInNameOrderWithoutThoseThatCannotBeTrusted) {
  const TemporaryTree tree;
  EXPECT_TRUE(AddedRules::in(tree.path("rules.d")).empty());
  tree.writeFile("rules.d/b.json", quarry, 0600);
  tree.writeFile("rules.d/a.json", R"({"projectRules": [{"id": "quarry", "folderName": "first"}]})", 0600);
  tree.writeFile("rules.d/c.json", "{", 0600);
  tree.writeFile("rules.d/d.json", quarry, 0666);
  tree.writeFile("rules.d/e.json", R"({"projectRules": [{"id": "npm-cache", "folderName": "x"}]})", 0600);
  tree.writeFile("rules.d/f.txt", "{", 0600);
  tree.writeFile("rules.d/.g.json", "{", 0600);
  tree.symlink("rules.d/h.json", "nowhere");
  const auto chosen = makeCatalog({.addedFolder = tree.path("rules.d")});
  EXPECT_EQ(chosen.catalog.projectRules.back().folderName, ".q");
  EXPECT_EQ(chosen.catalog.projectRules.size(), RuleCatalog::builtIn().projectRules.size() + 1);
  EXPECT_THAT(chosen.notes,
              ElementsAre(AllOf(HasSubstr("c.json"), EndsWith("It is left out.")),
                          AllOf(HasSubstr("d.json"), HasSubstr("chmod go-w")),
                          AllOf(HasSubstr("e.json"), HasSubstr("Duplicate rule id 'npm-cache'")), HasSubstr("h.json")));
}

TEST(RulesFiles, KeysThatAreIgnoredAndFilesThatOthersCanChangeAreNoted) {
  const TemporaryTree tree;
  const auto notesOn = [&](const std::string& text, unsigned permissions = 0600) {
    const std::string file = tree.writeFile("m.json", text, permissions);
    std::string notes = joined(makeCatalog({.files = {file}}).notes, "|");
    EXPECT_EQ(joined(loadCatalogFile(file).notes, "|"), notes);
    return notes;
  };
  EXPECT_EQ(notesOn(R"({"$schema": "s", "walkSkip": {"all": [], "linux": []}})"), "");
  EXPECT_EQ(
      notesOn(R"({"projectRules": null, "systemRules": [{"id": "s", "category": "c", "label": "", "paths": {}}]})"),
      "");
  EXPECT_THAT(notesOn("{}"), HasSubstr("m.json': it holds no rules;"));
  EXPECT_THAT(notesOn(std::string(quarry), 0666), HasSubstr("can be changed by other users"));
  const std::string keys = notesOn(R"({"projectRulez": [], "walkSkip": {"linus": []}, "projectRules": [
      {"id": "a", "folderName": "a", "requireMarkers": true, "markers": [{"ecosystem": "", "files": [], "file": 0}],
       "hintsBeside": [{"hint": "", "commentary": 0}]}],
      "systemRules": [{"id": "s", "category": "c", "label": "", "paths": {}, "holdz": []}]})");
  EXPECT_THAT(splitNonEmpty(keys, '|'),
              ElementsAre(EndsWith("the key 'projectRulez' is not known and is ignored; did you mean projectRules?"),
                          HasSubstr("'projectRules[0].requireMarkers'"), HasSubstr("did you mean files?"),
                          EndsWith("'projectRules[0].hintsBeside[0].commentary' is not known and is ignored."),
                          HasSubstr("did you mean holds?"), HasSubstr("'walkSkip.linus'")));
}

TEST(AddedRules, AreAddedOnceAndRemovedByNameOrOnlyRule) {
  const TemporaryTree tree;
  const std::string folder = tree.path("rules.d");
  const std::string file = tree.writeFile("mine", quarry);
  const std::string two = tree.writeFile(
      "two.json", R"({"projectRules": [{"id": "x", "folderName": "x"}, {"id": "y", "folderName": "y"}]})");
  EXPECT_EQ(AddedRules::add(file, folder, true).path, folder + "/mine.json");
  EXPECT_TRUE(AddedRules::in(folder).empty());
  EXPECT_EQ(AddedRules::add(file, folder, false).path, folder + "/mine.json");
  AddedRules::add(two, folder, false);
  EXPECT_EQ(tree.read("rules.d/mine.json"), quarry);
  EXPECT_THAT(messageOf<InputError>([&] { AddedRules::add(file, folder, false); }), HasSubstr("was added before"));
  EXPECT_THROW(AddedRules::add(tree.writeFile("bad.json", "{"), folder, false), InputError);
  for (const char* text : {"mine", "mine.json", "quarry"})
    EXPECT_EQ(AddedRules::find(text, folder), folder + "/mine.json");
  EXPECT_THAT(messageOf<InputError>([&] { AddedRules::find("x", folder); }), HasSubstr("one of 2 in"));
  EXPECT_THROW(AddedRules::find("node_modules", folder), InputError);
}

}  // namespace
}  // namespace tidra
