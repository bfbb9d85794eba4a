#include "core/scan/probes/catalog_path_probe.h"

#include <filesystem>

#include "core/platform/path_text.h"
#include "tests/core/scan/probes/probe_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

using Mode = SystemPathRule::Mode;
using Kind = SystemPathRule::Kind;
using Activity = SystemPathRule::Activity;

class CatalogProbe : public testing::Test {
 protected:
  /// Adds a rule of the category "c" with these Linux paths and its id as label.
  SystemPathRule& rule(const std::string& id, const std::vector<std::string>& templates) {
    SystemPathRule& added = fixture.catalog.systemRules.emplace_back();
    added.id = added.label = id;
    added.category = "c";
    added.paths["linux"] = templates;
    return added;
  }
  void make(const std::vector<std::string>& folders) const {
    for (const std::string& folder : folders) fixture.tree().makeFolder(folder);
  }
  /// "path | label" of each finding.
  std::vector<std::string> found() const {
    std::vector<std::string> lines;
    for (const auto& item : CatalogPathProbe("c").scan(fixture.context).items)
      lines.push_back(fixture.shown(item.finding.path + " | " + item.finding.label));
    return lines;
  }

  ProbeFixture fixture;
};

TEST_F(CatalogProbe, VariablesCountWhenSetAndHaveTheirDefaultsWhenNot) {
  // ".." up to the root and down again reaches the tree from anywhere.
  const std::string down = "/../../../../../../../.." + fixture.tree().root();
  const std::string unique = "of-" + std::string(lastPathComponent(fixture.tree().root()));
  rule("temp", {"$TMPDIR/" + unique});
  rule("default temp", {"$TMPDIR" + down + "/fallback"});
  rule("cache", {"${XDG_CACHE_HOME}/x"});
  rule("config", {"$XDG_CONFIG_HOME/x"});
  rule("own", {"$OWN", "$OWN/x"});
  make({"tmp/" + unique, "cache/x", "own/x", "own/CACHEDIR.TAG", "fallback", "home/.cache/x", "home/.config/x"});
  EXPECT_THAT(found(), ElementsAre("@/tmp/" + unique + " | temp", "@/fallback | default temp",
                                   "@/home/.cache/x | cache", "@/home/.config/x | config"));
  auto& environment = fixture.context.resolver.environment;
  environment["XDG_CACHE_HOME"] = fixture.tree().path("cache//");
  environment["OWN"] = fixture.tree().path("own/./");
  environment.erase("TMPDIR");
  EXPECT_THAT(found(), ElementsAre("@/fallback | default temp", "@/cache/x | cache", "@/home/.config/x | config",
                                   "@/own | own"));
}

TEST_F(CatalogProbe, NoVariableMakesTheHomeFolderOrWhatHoldsItACache) {
  rule("own", {"$OWN"});
  rule("below", {"$OWN/kept-here"});
  rule("glob", {"../hom*"});
  make({"home/kept-here"});
  const auto& root = fixture.tree().root();
  for (const std::string& value :
       Texts{"", "/", ".", "./", "//", "..", fixture.home(), fixture.home() + "/kept-here/..", root, root + "/hom"}) {
    fixture.context.resolver.environment["OWN"] = value;
    for (const std::string& line : found()) EXPECT_EQ(line, "@/home/kept-here | below") << value;
  }
  fixture.context.resolver.environment["OWN"] = "";
  EXPECT_THAT(found(), IsEmpty()) << "an empty variable is none";
}

TEST_F(CatalogProbe, WhatAVariableAloneNamesMustLookLikeACache) {
  rule("own", {"$OWN"});
  make({"work/thesis", "my-cache", "marked/CACHEDIR.TAG"});
  for (const auto& [folder, count] : {std::pair{"work", 0U}, {"my-cache", 1U}, {"marked", 1U}}) {
    fixture.context.resolver.environment["OWN"] = fixture.tree().path(folder);
    EXPECT_EQ(found().size(), count) << folder;
  }
}

TEST_F(CatalogProbe, WorkInAFolderThatAVariableNamesRaisesIt) {
  rule("hub", {"$OWN/hub", ".cache/hub"});
  make({"work/hub/src", "project/hub/a/.git", "real/hub/models--x/blobs", "home/.cache/hub"});
  fixture.tree().writeFile("work/hub/src/thesis.tex");
  fixture.tree().writeFile("home/.cache/hub/notes.md");
  fixture.tree().writeFile("data/hub/measures.csv");
  for (const auto& [folder, tier] : {std::pair{"work", ArtifactSafetyTier::warning},
                                     {"data", ArtifactSafetyTier::warning},
                                     {"project", ArtifactSafetyTier::warning},
                                     {"real", ArtifactSafetyTier::safe}}) {
    fixture.context.resolver.environment["OWN"] = fixture.tree().path(folder);
    const auto report = CatalogPathProbe("c").scan(fixture.context);
    ASSERT_EQ(report.items.size(), 2U);
    EXPECT_EQ(report.items[0].finding.safetyTier, tier) << report.items[0].finding.path;
    EXPECT_EQ(report.items[1].finding.safetyTier, ArtifactSafetyTier::safe) << "named by the catalog";
  }
}

TEST_F(CatalogProbe, WildcardsMatchInEveryPieceButNotInTheNameOfTheHomeFolder) {
  rule("deep", {"a*/b?/c[12]"});
  rule("hidden", {"h/*"});
  rule("middle", {"m/*/logs"});
  rule("none", {"*/none", "h/x*y"});
  make({"home/a/b1/c1", "home/ab/b2/c2", "home/ab/b2/c3", "home/ab/b/c1", "home/h/.dot", "home/h/plain",
        "home/m/one/logs", "home/m/two/other", "home/m/.three/logs"});
  fixture.tree().writeFile("home/m/four");
  fixture.tree().writeFile("home/h/file");
  const std::vector<std::string> expected{"/a/b1/c1 | deep · c1",
                                          "/ab/b2/c2 | deep · c2",
                                          "/h/.dot | hidden · .dot",
                                          "/h/plain | hidden · plain",
                                          "/m/.three/logs | .three · middle",
                                          "/m/one/logs | one · middle"};
  const auto at = [&](const std::string& home) {
    auto lines = expected;
    for (std::string& line : lines) line.insert(0, "@/" + home);
    return lines;
  };
  EXPECT_EQ(found(), at("home"));

  rule("literal", {"l"});
  for (const std::string odd : {"ho*e", "[h]ome", "hom?", "back\\slash[", "home"}) {
    if (odd != "home")
      std::filesystem::copy(fixture.tree().path("home"), fixture.tree().path(odd),
                            std::filesystem::copy_options::recursive);
    make({odd + "/l"});
  }
  for (const std::string odd : {"ho*e", "[h]ome", "hom?", "back\\slash["}) {
    fixture.context.resolver.home = fixture.tree().path(odd);
    auto lines = at(odd);
    lines.push_back("@/" + odd + "/l | literal");
    EXPECT_EQ(found(), lines) << odd;
  }
}

TEST_F(CatalogProbe, ChildrenAreFindingsOfTheirOwn) {
  auto& plain = rule("kid", {"v", "missing", "file", "link"});
  plain.mode = Mode::children;
  auto& globbed = rule("grandkid", {"g*"});
  globbed.mode = Mode::children;
  auto& named = rule("named", {"n"});
  named.mode = Mode::children;
  named.childLabel = "{name} of {parent}, {name}";
  make({"home/v/two", "home/v/one", "home/v/.hidden", "home/g1/x", "home/g2/y", "home/n/a {parent}", "home/empty"});
  fixture.tree().writeFile("home/v/leaf", "12345");
  fixture.tree().writeFile("home/file");
  fixture.tree().symlink("home/v/dangling", "nowhere");
  fixture.tree().symlink("home/link", fixture.tree().path("home/v"));
  EXPECT_THAT(found(), ElementsAre("@/home/v/.hidden | v · kid", "@/home/v/leaf | v · kid", "@/home/v/one | v · kid",
                                   "@/home/v/two | v · kid", "@/home/g1/x | grandkid · x", "@/home/g2/y | grandkid · y",
                                   "@/home/n/a {parent} | a n of n, a n"));
  EXPECT_THAT(fixture.lines(CatalogPathProbe("c").scan(fixture.context)), Contains("@/home/v/leaf | v · kid | 5"));
}

TEST(MeaningfulParent, PassesOverAtMostFourFoldersThatSayNothing) {
  for (const auto& [path, name] :
       rowsOf("/h/Slack/x => Slack | /h/Slack/web/x => Slack | /h/Slack/Crashpad/pending => Slack | "
              "/h/Slack/web/Crashpad/completed/x => Slack | /h/Slack/X/tmp/pending/web/x => Slack | "
              "/h/Slack/X/X/X/X/x => Slack | /h/Slack/X/X/X/X/X/x => X | /h/web/tmp/tmp/tmp/tmp/x => web | "
              "/h/Web/x => Web | /x => | /tmp/x =>"))
    EXPECT_EQ(CatalogPathProbe::meaningfulParentName(path), name) << path;
}

TEST_F(CatalogProbe, NothingIsCountedTwice) {
  rule("first", {"a", "./a/", "a/b"});
  rule("again", {"a"});
  rule("inside", {"a/b/c", "a/../a"});
  rule("beside", {"ab"});
  rule("glob", {"a*"});
  rule("elsewhere", {"o"}).category = "other";
  rule("for others", {}).paths = {{"macos", {"ab"}}};
  rule("deep", {"x/y/z", "x/y"});
  rule("outer later", {"x", "x/y/z"});
  make({"home/a/b/c", "home/ab", "home/ac", "home/o", "home/x/y/z"});
  EXPECT_THAT(found(), ElementsAre("@/home/a | first", "@/home/ab | beside", "@/home/ac | glob · ac",
                                   "@/home/x/y/z | deep", "@/home/x/y | deep", "@/home/x | outer later"));
}

TEST_F(CatalogProbe, LinksAndWhatTheUserExcludesAreLeftOut) {
  rule("link", {"link", "dangling", "li*"});
  rule("behind", {"link/x"});
  rule("excluded", {"kept", "above/kept/deep", "vendor", "g/*"});
  make({"home/real/x", "home/kept", "home/above/kept/deep", "home/vendor", "home/g/vendor", "home/g/taken"});
  fixture.tree().symlink("home/link", fixture.tree().path("home/real"));
  fixture.tree().symlink("home/dangling", "nowhere");
  rule("link as such", {"link", "dangling", "above/*"}).kind = Kind::file;
  rule("which version is in use", {"versions"}).mode = SystemPathRule::Mode::children;
  make({"home/versions/1"});
  fixture.tree().symlink("home/versions/current", "1");
  auto& filter = fixture.context.exclusionFilter;
  filter.addPrefix(fixture.home() + "/kept");
  filter.addPrefix(fixture.home() + "/above");
  filter.addPattern("vendor");
  EXPECT_THAT(found(), ElementsAre("@/home/link/x | behind", "@/home/g/taken | excluded · taken",
                                   "@/home/link | link as such", StartsWith("@/home/versions/1 | ")));
  const auto report = CatalogPathProbe("c").scan(fixture.context);
  EXPECT_THAT(fixture.lines(report), Contains("@/home/link | link as such | 0"));
  EXPECT_THAT(report.notes, ElementsAre(HasSubstr("link is a symbolic link and is skipped")));
}

TEST_F(CatalogProbe, FilesAreMeasuredByThemselvesAndOnlyWhereARuleTakesThem) {
  fixture.tree().writeFileOfSize("home/file", 4321);
  make({"home/folder"});
  rule("folders", {"file"});
  rule("files", {"file", "folder"}).kind = Kind::file;
  EXPECT_THAT(fixture.lines(CatalogPathProbe("c").scan(fixture.context)),
              ElementsAre("@/home/file | files | 4321", "@/home/folder | files | @/home/folder"));
}

TEST_F(CatalogProbe, ActivityComesFromWhereTheRuleSays) {
  const auto at = [](int hour) { return TimePoint{std::chrono::seconds{1600000000 + hour * 3600}}; };
  fixture.tree().writeFile("home/a/old");
  fixture.tree().writeFile("home/a/new/deep");
  make({"home/empty"});
  fixture.tree().setModified("home/a/new/deep", at(9));
  fixture.tree().setModified("home/a/new", at(2));
  fixture.tree().setModified("home/a/old", at(1));
  fixture.tree().setModified("home/a", at(5));
  for (const auto& [activity, folder, expected] :
       std::vector<std::tuple<Activity, std::string, std::optional<TimePoint>>>{{Activity::none, "a", {}},
                                                                                {Activity::self, "a", at(5)},
                                                                                {Activity::newestChild, "a", at(2)},
                                                                                {Activity::newestChild, "empty", {}}}) {
    fixture.catalog.systemRules.clear();
    rule("r", {folder}).activity = activity;
    const auto report = CatalogPathProbe("c").scan(fixture.context);
    ASSERT_EQ(report.items.size(), 1U);
    EXPECT_EQ(report.items[0].finding.lastActivityDate, expected) << rawValue(activity) << " " << folder;
  }
}

TEST_F(CatalogProbe, CancellingStopsBetweenCandidates) {
  rule("r", {"*"});
  make({"home/a", "home/b", "home/c"});
  int asked = 0;
  fixture.context.shouldCancel = [&asked] { return ++asked > 2; };
  EXPECT_THAT(found(), ElementsAre("@/home/a | r · a", "@/home/b | r · b"));
}

}  // namespace
}  // namespace tidra
