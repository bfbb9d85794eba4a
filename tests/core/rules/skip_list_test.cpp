#include "core/rules/skip_list.h"

#include <gtest/gtest.h>

#include "core/base/errors.h"
#include "core/rules/rule_packs.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

using Texts = std::vector<std::string>;

class SkipLists : public testing::Test {
 protected:
  /// The list without one text.
  Texts without(const std::string& text) const {
    RuleCatalog unskipped = catalog;
    SkipList::unskip(unskipped, {text}, TidraPlatform::linux, resolver, "--unskip");
    return unskipped.walkSkip(TidraPlatform::linux);
  }

  TidraPathResolver resolver{"/home/ada", {{"DATA", "/home/ada/data"}, {"EMPTY", ""}}};
  RuleCatalog catalog = RuleCatalog::load(
      R"({"walkSkip": {"all": [".git", "deps", "~/.tidra", "$DATA/x", "/opt"], "linux": ["/usr", "/opt/"],
          "macos": ["/Library"]}})");
};

TEST_F(SkipLists, AnEntryGoesByItsSpellingOrByItsPath) {
  const Texts kept{".git", "deps", "~/.tidra", "$DATA/x", "/usr"};
  for (const char* text : {"/opt", "/opt/", "//opt/."}) EXPECT_EQ(without(text), kept) << text;
  const Texts rest{".git", "deps", "~/.tidra", "/opt", "/usr", "/opt/"};
  for (const char* text : {"$DATA/x", "~/data/x", "/home/ada/data/x/"}) EXPECT_EQ(without(text), rest) << text;
  EXPECT_EQ(without("deps").size(), 6U);
}

TEST_F(SkipLists, WhatIsNoEntryOrMustStayIsRefused) {
  const std::string all = "; tidra rules list --skipped shows all.";
  for (const auto& [text, message] : std::vector<std::pair<std::string, std::string>>{
           {"/opt/runner", "'/opt/runner' is no entry of the skip list, but '/opt', '/opt/' are" + all},
           {"/home/ada", "'/home/ada' is no entry of the skip list, but '$DATA/x' is" + all},
           {"~/usr", "'~/usr' is no entry of the skip list, but '/usr' is" + all},
           {"/Library", "'/Library' is no entry of the skip list" + all},
           {"", "'' is no entry of the skip list" + all},
           {"$EMPTY", "'$EMPTY' names the variable EMPTY, which is not set or empty."},
           {".git", "'.git' must stay skipped: what it holds is never an artefact."},
           {"/home/ada/.tidra", "'/home/ada/.tidra' must stay skipped: what it holds is never an artefact."}}) {
    EXPECT_EQ(messageOf<InputError>([&] { without(text); }), "--unskip " + message);
  }
}

TEST_F(SkipLists, TheEntryThatCoversAPathIsNamedUnlessItMustStay) {
  const auto covering = [&](const char* path) {
    return SkipList::entryCovering(path, catalog, TidraPlatform::linux, resolver);
  };
  EXPECT_EQ(covering("/opt/a/b"), "/opt");
  EXPECT_EQ(covering("/home/ada/data/x"), "$DATA/x");
  for (const char* path : {"/opt2", "/home/ada/.tidra/x", "/p/.git", "/Library"})
    EXPECT_EQ(covering(path), std::nullopt);
}

TEST_F(SkipLists, NoWalkEntersWhatARuleOfAPackTakesAsAWhole) {
  for (const RulePack& pack : RulePack::all()) {
    const RuleCatalog merged = RuleCatalog::builtIn().withPack(pack.catalog);
    for (const SystemPathRule& rule : pack.catalog.systemRules) {
      for (const std::string& path : rule.paths.at("linux")) {
        if (path.starts_with('$')) continue;
        EXPECT_TRUE(SkipList::entryCovering(resolver.home + "/" + path, merged, TidraPlatform::linux, resolver))
            << pack.name << ' ' << path;
      }
    }
  }
}

}  // namespace
}  // namespace tidra
