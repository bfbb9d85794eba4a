#include "core/scan/probes/package_tool_probes.h"

#include "core/platform/files.h"
#include "core/scan/probes/apple_probes.h"
#include "core/scan/probes/conda_probe.h"
#include "tests/core/scan/probes/probe_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

/// Paths that no tool's output may lead to, relative to the tree.
std::vector<std::string> unusableFolders(const ProbeFixture& fixture) {
  const std::string& root = fixture.tree().root();
  return {"/",
          "//",
          "/./",
          "/..",
          fixture.home(),
          fixture.home() + "/",
          fixture.home() + "/x/..",
          root,
          "relative/folder",
          "~",
          "",
          root + "/a\\n" + root + "/b",
          "\\0"};
}

TEST(Homebrew, TheCacheIsWhereBrewSaysElseBelowItsPrefix) {
  ProbeFixture fixture;
  const std::string cache = fixture.tree().makeFolder("Caches/HomeBrew/cache");
  fixture.tree().writeFile("prefix/var/homebrew/cache/f");
  const auto answers = [&](const std::string& answer, const std::string& prefix) {
    fixture.tool("brew", {{"--cache", "printf '" + answer + "'"}, {"--prefix", "printf '" + prefix + "'"}});
    return HomebrewCacheProbe().scan(fixture.context);
  };
  const ProbeReport report = answers(cache + "/", fixture.tree().path("prefix"));
  EXPECT_THAT(fixture.lines(report),
              ElementsAre("@/Caches/HomeBrew/cache | Homebrew formula cache | @/Caches/HomeBrew/cache"));
  ASSERT_EQ(report.items.size(), 1U);
  EXPECT_EQ(report.items[0].finding.ecosystemTag, "general");
  EXPECT_EQ(report.items[0].finding.groupRoot, "__tidra:system:homebrew__");
  EXPECT_EQ(report.items[0].finding.ruleID, "homebrew-formula-cache");
  EXPECT_EQ(report.items[0].finding.restoreHint,
            "Caches rebuild automatically; use brew reinstall for removed downloads");

  const std::string below = "@/prefix/var/homebrew/cache | Homebrew formula cache | @/prefix/var/homebrew/cache";
  for (const std::string& answer : unusableFolders(fixture)) {
    EXPECT_THAT(fixture.lines(answers(answer, fixture.tree().path("prefix"))), ElementsAre(below)) << answer;
    const ProbeReport nothing = answers(answer, answer);
    EXPECT_THAT(nothing.items, IsEmpty()) << answer;
    EXPECT_THAT(nothing.notes, ElementsAre("Homebrew is installed but did not answer.")) << answer;
  }
  // Folders of other names hold other things too, and the installation is no cache.
  fixture.tree().writeFile("homebrew/bin/brew");
  for (const std::string& other : {fixture.tree().makeFolder("Caches"), fixture.tree().path("homebrew")})
    EXPECT_THAT(fixture.lines(answers(other, fixture.tree().path("prefix"))), ElementsAre(below)) << other;
  EXPECT_THAT(answers(fixture.tree().path("gone"), fixture.tree().path("gone")).items, IsEmpty());
  fixture.tree().symlink("homebrew-linked", cache);
  EXPECT_THAT(answers(fixture.tree().path("homebrew-linked"), fixture.tree().path("gone")).items, IsEmpty());
  fixture.context.exclusionFilter.addPattern("cache");
  EXPECT_THAT(answers(cache, fixture.tree().path("prefix")).items, IsEmpty());
}

TEST(GlobalModules, CountsThePackagesOfNpmAndYarn) {
  ProbeFixture fixture;
  for (const char* package : {"typescript", "@scope/a", "@scope/b", ".bin", ".package-lock.json"})
    fixture.tree().makeFolder("prefix/lib/node_modules/" + std::string(package));
  fixture.tree().makeFolder("home/.config/yarn/global/node_modules/serve");
  fixture.tool("npm", {{"prefix -g", "echo '" + fixture.tree().path("prefix") + "'"}});
  const std::string yarn =
      "@/home/.config/yarn/global/node_modules | Global yarn modules (1) | @/home/.config/yarn/global/node_modules";
  const ProbeReport report = GlobalModulesProbe().scan(fixture.context);
  EXPECT_THAT(fixture.lines(report),
              ElementsAre("@/prefix/lib/node_modules | Global npm modules (3) | @/prefix/lib/node_modules", yarn));
  ASSERT_EQ(report.items.size(), 2U);
  EXPECT_EQ(report.items[1].finding.ruleID, "global-node-modules");
  EXPECT_EQ(report.items[1].finding.groupRoot, "__tidra:system:global_modules__");
  EXPECT_EQ(report.items[1].finding.restoreHint, "Reinstall with npm install -g or yarn global add");

  for (const std::string& answer : unusableFolders(fixture)) {
    fixture.tool("npm", {{"prefix -g", "printf '" + answer + "'"}});
    const ProbeReport wrong = GlobalModulesProbe().scan(fixture.context);
    EXPECT_THAT(fixture.lines(wrong), ElementsAre(yarn)) << answer;
    EXPECT_EQ(wrong.notes.size(), 1U) << answer;
  }
  fixture.tree().makeFolder("empty/lib/node_modules/.cache");
  fixture.tool("npm", {{"prefix -g", "echo '" + fixture.tree().path("empty") + "'"}});
  fixture.context.exclusionFilter.addPrefix(fixture.home() + "/.config");
  EXPECT_THAT(GlobalModulesProbe().scan(fixture.context).items, IsEmpty());
}

/// Every probe that runs a tool. Fake tools come first on PATH.
struct ToolProbe {
  std::string tool;
  std::function<ProbeReport(const ProbeFixture&)> scan;
};

const std::vector<ToolProbe> toolProbes{
    {"conda", [](const ProbeFixture& fixture) { return CondaProbe().scan(fixture.context); }},
    {"brew", [](const ProbeFixture& fixture) { return HomebrewCacheProbe().scan(fixture.context); }},
    {"npm", [](const ProbeFixture& fixture) { return GlobalModulesProbe().scan(fixture.context); }},
    {"xcrun",
     [](const ProbeFixture& fixture) {
       return CoreSimulatorProbe(fixture.tree().path("bin/xcrun")).scan(fixture.context);
     }},
};

TEST(ToolProbes, UselessAnswersGiveNothing) {
  for (const ToolProbe& probe : toolProbes) {
    ProbeFixture fixture;
    for (const std::string& body : uselessScripts) {
      fixture.script(probe.tool, body);
      EXPECT_THAT(fixture.lines(probe.scan(fixture)), IsEmpty()) << probe.tool << ": " << body;
    }
  }
}

TEST(ToolProbes, CancellingEndsAToolThatHangs) {
  for (const ToolProbe& probe : toolProbes) {
    ProbeFixture fixture;
    fixture.script(probe.tool, fixture.hang());
    EXPECT_THAT(probe.scan(fixture).items, IsEmpty()) << probe.tool;
    EXPECT_TRUE(fixture.context.shouldCancel()) << probe.tool << " was not even started";
  }
}

TEST(ToolProbes, ToolsRunInACleanLocaleInNobodysFolderAndLeaveNothing) {
  for (const ToolProbe& probe : toolProbes) {
    ProbeFixture fixture;
    fixture.context.resolver.environment.insert({{"LC_ALL", "de_DE.UTF-8"}, {"HOME", "/elsewhere"}, {"KEPT", "yes"}});
    fixture.script(
        probe.tool,
        "printf '%s %s %s %s' \"$LC_ALL\" \"$HOME\" \"$KEPT\" \"$(pwd -P)\" > '" + fixture.tree().path("seen") +
            "'; mkdir -p \"${npm_config_cache:-$HOME/.npm}\"; [ $PYTHONDONTWRITEBYTECODE ] || : > ~/pyc; exit 1");
    probe.scan(fixture);
    const auto seen = readFile(fixture.tree().path("seen"));
    EXPECT_EQ(seen ? *seen : "not run", "C " + fixture.home() + " yes /") << probe.tool;
    EXPECT_TRUE(std::filesystem::is_empty(fixture.home())) << probe.tool;
  }
}

TEST(ToolProbes, ToolsThatAnyoneMayHavePlantedAreNotRun) {
  for (const ToolProbe& probe : toolProbes) {
    if (probe.tool == "xcrun") continue;  // not looked up on PATH
    ProbeFixture fixture;
    const std::string canary = fixture.tree().path("canary");
    for (const std::string folder : {"open", "here"})
      fixture.script("../" + folder + "/" + probe.tool, ": >> '" + canary + "'");
    fixture.tree().setMode("open", 0777);
    fixture.script(probe.tool, ": >> '" + fixture.tree().path("safe") + "'; exit 1");
    auto& environment = fixture.context.resolver.environment;
    // A relative entry would be resolved from the root, where tools run.
    environment["PATH"] =
        fixture.tree().path("open") + ":" + fixture.tree().path("here").substr(1) + "::.:" + environment["PATH"];
    EXPECT_THAT(probe.scan(fixture).items, IsEmpty());
    EXPECT_FALSE(readFile(canary)) << probe.tool << " was run from a folder that everyone may write to";
    EXPECT_TRUE(readFile(fixture.tree().path("safe"))) << probe.tool;
  }
}

}  // namespace
}  // namespace tidra
