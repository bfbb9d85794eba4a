// tidra config, and what the settings change about other commands.
#include <filesystem>
#include <map>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

using ConfigCommand = CliTest;

TEST_F(ConfigCommand, SettingsChangeEveryScanUntilAnOptionSaysOtherwise) {
  const std::string all = shortNames(found({}));
  for (const auto& [setting, names] : rowsOf(R"(
       min-size 1K => tool/target web/node_modules | ecosystem rust => tool/target |
       ecosystem all,-java,-rust => ancient/target snake/.venv web/dist web/node_modules | tier warning => |
       older-than 1y => ancient/target | location ~/code/web => web/dist web/node_modules)")) {
    Texts words = wordsOf("config set " + setting);
    ASSERT_EQ(run(words).status, 0) << setting;
    EXPECT_EQ(shortNames(found({})), names) << setting;
    EXPECT_EQ(shortNames(found({"--no-config"})), all) << setting;
    words[1] = "get";
    const std::string value = words.back();
    words.pop_back();
    EXPECT_EQ(run(words).out, value + "\n");
    words[1] = "unset";
    EXPECT_EQ(run(words).status, 0);
    EXPECT_EQ(shortNames(found({})), all) << setting;
  }
  ASSERT_EQ(run({"config", "set", "min-size", "1K"}).status, 0);
  EXPECT_EQ(shortNames(found({"--min-size", "0"})), all);
  ASSERT_EQ(run({"config", "set", "tier", "caution"}).status, 0);
  EXPECT_THAT(clean({"--yes", "-n", "code/web"}).out, HasSubstr("Nothing to remove"));
  EXPECT_THAT(clean({"--yes", "-n", "code/web", "--tier", "safe"}).out, HasSubstr("1 item"));
  EXPECT_THAT(clean({"-n", "code", "-v"}).err,
              HasSubstr("Settings from tidra config: tier is caution, min-size is 1K;"));
}

TEST_F(ConfigCommand, WhatLeavesEverythingOutIsNamed) {
  ASSERT_EQ(scan({}).status, 0);
  ASSERT_EQ(run({"config", "set", "ecosystem", "rust"}).status, 0);
  EXPECT_THAT(run({"scan", "--last", "--min-size", "1M"}).out,
              HasSubstr("Nothing in ~ matches ecosystem of tidra config (4 artefacts left out) and --min-size (5 "
                        "artefacts left out)."));
  for (const auto& [typed, named] : rowsOf(R"(
       clean code/web/dist => ecosystem of tidra config (1 artefact left out); --no-config |
       clean code/tool --min-size 1G => --min-size (1 artefact left out). |
       plan code/tool --tier caution => --tier (1 artefact left out). |
       clean code/tool --disable-rule target => --disable-rule.)")) {
    Texts words = wordsOf(typed);
    words.emplace_back("--no-system");
    EXPECT_THAT(run(words).err, HasSubstr("note: Nothing matches " + named)) << typed;
  }
  ASSERT_EQ(run({"config", "set", "older-than", "1y"}).status, 0);
  EXPECT_THAT(clean({"code/tool"}).err, HasSubstr("Nothing matches older-than of tidra config (1 artefact left out)"));
  EXPECT_EQ(shortNames(found({"--older-than", "0d"})), "tool/target");
}

TEST_F(ConfigCommand, CategoriesThatAreOffAreNotLookedAt) {
  tree().writeFileOfSize(".cache/pip/f", 700);
  const Texts caches{"scan", "--no-projects", "--json"};
  // Neither category runs one of this machine's tools.
  for (const auto& [category, places] : std::map<std::string, std::size_t>{{"globalCaches", 1}, {"agentHost", 0}}) {
    ASSERT_EQ(run({"config", "set", "category", category}).status, 0);
    EXPECT_EQ(reportOf(run(caches)).items.size(), places) << category;
  }
  Texts named = caches;
  named.insert(named.end(), {"--category", "globalCaches"});
  EXPECT_EQ(reportOf(run(named)).items.size(), 1U) << "a named option wins";
}

TEST_F(ConfigCommand, TheMethodFollowsWhatIsSetLast) {
  const auto method = [&] { return documentOf(run({"plan", "code", "--no-system"}))["method"]; };
  EXPECT_EQ(method(), "trash");
  ASSERT_EQ(run({"config", "set", "move-to-trash", "false"}).status, 0);
  EXPECT_EQ(method(), "delete");
  EXPECT_THAT(run({"config", "list"}).out, HasSubstr("move-to-trash  How clean"));
  ASSERT_EQ(run({"config", "set", "method", "quarantine"}).status, 0);
  EXPECT_EQ(method(), "quarantine");
  EXPECT_THAT(run({"config", "set", "move-to-trash", "true"}).err, HasSubstr("method is quarantine and wins"));
  EXPECT_EQ(documentOf(run({"plan", "--method", "trash", "code", "--no-system"}))["method"], "trash");
  const auto list = documentOf(run({"config", "list", "--json"}));
  EXPECT_EQ(list.at(8), nlohmann::json::parse(R"({"default": "trash", "from": "settings", "key": "method",
      "value": "quarantine", "what": "How clean and plan remove things; overrides move-to-trash"})"));
}

TEST_F(ConfigCommand, TheLocationBoundsNothingAndTheTrashIsEmptiedOnlyAfterMoving) {
  tree().writeFileOfSize(".cache/pip/f", 700);
  ASSERT_EQ(run({"config", "set", "location", "~/code/web"}).status, 0);
  ASSERT_EQ(run({"config", "set", "category", "globalCaches"}).status, 0);
  const auto found = shortNames([&] {
    Texts paths;
    for (const auto& item : reportOf(run({"scan", "--json", "--ecosystem", "npm,py"})).items)
      paths.push_back(item.path);
    return paths;
  }());
  EXPECT_THAT(found, AllOf(HasSubstr("web/dist web/node_modules"), HasSubstr(".cache/pip"))) << "as without a setting";
  ASSERT_EQ(run({"config", "set", "empty-trash", "true"}).status, 0);
  EXPECT_THAT(clean({"-n"}).out, HasSubstr("The trash would be emptied"));
  EXPECT_THAT(clean({"-n", "--no-config"}).out, Not(HasSubstr("The trash would be emptied")));
  EXPECT_THAT(clean({"-n", "--method", "delete"}).out, Not(HasSubstr("The trash would be emptied")));
  std::filesystem::rename(tree().path("code/web"), tree().path("code/other"));
  EXPECT_THAT(refused({"scan"}), HasSubstr("tidra config set location"));
}

TEST_F(ConfigCommand, BadInputChangesNothingAndNamesWhatIsKnown) {
  ASSERT_EQ(run({"config", "set", "color", "never"}).status, 0);
  const auto before = tree().snapshot();
  for (const auto& [words, named] : rowsOf(R"(
       set colour never => 'colour', color, min-size | get x => 'x', location | unset x => 'x', method |
       set method burn => 'burn', quarantine | set tier safe,odd => odd, warning | set tier , => warning |
       set ecosystem cobol => 'cobol', rust | set ecosystem npm,-rust => all,- | set category all,-moon => docker |
       set min-size 3Q => '3Q', 10M | set inactive-after 3d => '3d', 6mo | set dormant-after 18mo => '18mo', 2y |
       set move-to-trash maybe => 'maybe', true or false | set location ~/none => '~/none', folder |
       set color blue => 'blue', auto | set min-size => VALUE | frob => frob)")) {
    Texts arguments = wordsOf(words);
    arguments.insert(arguments.begin(), "config");
    const std::string message = refused(arguments);
    for (const auto name : split(named, ',')) EXPECT_THAT(message, HasSubstr(std::string(trimmed(name)))) << words;
  }
  EXPECT_EQ(run({"config", "set", "-n", "color", "always"}).out, "color would be always.\n");
  EXPECT_EQ(tree().snapshot(), before);
}

}  // namespace
}  // namespace tidra
