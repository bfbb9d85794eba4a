#include "core/scan/system_scanner.h"

#include <fmt/format.h>

#include <atomic>
#include <filesystem>
#include <limits>

#include "core/scan/probes/ai_tools_probe.h"
#include "core/scan/probes/apple_probes.h"
#include "core/scan/probes/catalog_path_probe.h"
#include "core/scan/probes/conda_probe.h"
#include "core/scan/probes/docker_probe.h"
#include "core/scan/probes/package_tool_probes.h"
#include "tests/core/scan/probes/probe_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

std::string kindOf(const SystemArtifactProbe& probe) {
  const auto is = [&](auto* type) { return dynamic_cast<decltype(type)>(&probe) != nullptr; };
  if (is(static_cast<const CatalogPathProbe*>(nullptr))) return probe.categoryKey();
  if (is(static_cast<const XcodeArchivesProbe*>(nullptr))) return "archives";
  if (is(static_cast<const CoreSimulatorProbe*>(nullptr))) return "simulators";
  if (is(static_cast<const GlobalModulesProbe*>(nullptr))) return "modules";
  if (is(static_cast<const CondaProbe*>(nullptr))) return "conda";
  if (is(static_cast<const HomebrewCacheProbe*>(nullptr))) return "brew";
  if (is(static_cast<const DockerArtifactProbe*>(nullptr))) return "engine";
  return is(static_cast<const AIToolsProbe*>(nullptr)) ? "ai" : "?";
}

TEST(SystemProbes, ComeInTheirOrderWhereTheirCategoryIsEnabledAndExists) {
  const auto chosen = [](const std::set<std::string>& categories, TidraPlatform platform) {
    std::string kinds;
    for (const auto& probe : SystemArtifactScanner::probes(categories, platform)) kinds += kindOf(*probe) + " ";
    return kinds;
  };
  const std::set<std::string> all{"docker",       "homebrew", "python",    "globalModules",
                                  "globalCaches", "xcode",    "agentHost", "aiTools"};
  EXPECT_EQ(chosen(all, TidraPlatform::macOS),
            "aiTools agentHost xcode globalCaches globalModules python homebrew docker archives simulators modules "
            "conda brew "
            "engine ai ");
  EXPECT_EQ(chosen(all, TidraPlatform::linux),
            "aiTools agentHost globalCaches globalModules python homebrew docker modules conda brew engine ai ");
  EXPECT_EQ(chosen({"xcode"}, TidraPlatform::linux), "");
  EXPECT_EQ(chosen({"xcode"}, TidraPlatform::macOS), "xcode archives simulators ");
  EXPECT_EQ(chosen({"python", "mine"}, TidraPlatform::linux), "python mine conda ");
  EXPECT_EQ(chosen({}, TidraPlatform::macOS), "");
}

class SystemScan : public testing::Test {
 protected:
  void rule(const std::string& category, const std::string& id, const std::string& path) {
    SystemPathRule& added = fixture.catalog.systemRules.emplace_back();
    added.id = added.label = id;
    added.category = category;
    added.paths = {{"linux", {path}}, {"macos", {path}}};
  }
  FoundArtifact project(const std::string& path, std::uint64_t bytes = 10) const {
    FoundArtifact found;
    found.finding.path = fixture.tree().path(path);
    found.finding.sizeBytes = bytes;
    found.place = RealPlaces().of(found.finding.path);
    return found;
  }
  /// "id path bytes group" of each finding.
  Texts scan(const std::set<std::string>& categories, const std::vector<FoundArtifact>& projects = {}) {
    fixture.handTo(request.context);
    request.categories = categories;
    Texts lines;
    for (const auto& found : SystemArtifactScanner(request).scan(projects).findings) {
      const ScanArtifactFinding& finding = found.finding;
      EXPECT_TRUE(categories.contains(found.category)) << found.category;
      lines.push_back(fixture.shown(
          fmt::format("{} {} {} {}", *finding.ruleID, finding.path, finding.sizeBytes, *finding.groupRoot)));
    }
    return lines;
  }

  ProbeFixture fixture;
  SystemArtifactScanner::Request request;
};

TEST_F(SystemScan, CountsNoPlaceTwiceAcrossCategoriesAndProjects) {
  fixture.tree().writeFileOfSize("home/c/inner/f", 100);
  fixture.tree().writeFileOfSize("home/d/g/f", 20);
  fixture.tree().writeFileOfSize("home/e/node_modules/f", 3);
  fixture.tree().symlink("home/alias", fixture.tree().path("home"));
  rule("globalCaches", "same", "~/c/inner");
  rule("globalCaches", "linked", "~/d");
  rule("globalCaches", "holds a project finding", "~/e");
  rule("mine", "same elsewhere", "~/c/inner");
  rule("mine", "outer", "~/c");
  rule("mine", "below", "~/d/g");
  rule("mine", "by another name", "~/alias/d");
  const std::string inner = "same @/home/c/inner 100 __tidra:system:caches__";
  const std::string linked = "linked @/home/d 20 __tidra:system:caches__";
  const std::string holder = "holds a project finding @/home/e 3 __tidra:system:caches__";
  const std::set<std::string> both{"globalCaches", "mine"};
  const std::string outer = "outer @/home/c 100 __tidra:system:mine__";
  EXPECT_THAT(scan(both), ElementsAre(inner, linked, holder, outer)) << "what holds an earlier one is found as well";
  EXPECT_THAT(scan({"mine"}), ElementsAre("same elsewhere @/home/c/inner 100 __tidra:system:mine__", outer,
                                          "below @/home/d/g 20 __tidra:system:mine__",
                                          "by another name @/home/alias/d 20 __tidra:system:mine__"));
  // What is inside a project finding belongs to it; what contains one is reported whole.
  EXPECT_THAT(scan(both, {project("home/c"), project("home/d")}), ElementsAre(holder));
  EXPECT_THAT(scan(both, {project("home/e/node_modules"), project("home/c/inner")}),
              ElementsAre(linked, holder, outer));
  // A project may be named by a path through a link.
  EXPECT_THAT(scan({"mine"}, {project("home/alias/c"), project("home/alias/d")}), IsEmpty());
}

TEST_F(SystemScan, AnEnvironmentOfAToolIsNotCountedBesideTheFolderThatHoldsIt) {
  fixture.tree().writeFileOfSize("home/base/envs/e/f", 5);
  fixture.tree().writeFileOfSize("home/base/envs/g/f", 6);
  fixture.tool("conda", {{"info --base", "echo '" + fixture.tree().path("home/base") + "'"},
                         {"env list --json", "echo '{\"envs\": [\"" + fixture.tree().path("home/base/envs/e") +
                                                 "\", \"" + fixture.tree().path("home/base/envs/g") + "\"]}'"}});
  rule("python", "cache", "~/base/envs/g");
  EXPECT_THAT(scan({"python"}), ElementsAre("cache @/home/base/envs/g 6 __tidra:system:python__",
                                            "conda-env conda:env:e 5 __tidra:system:python__"));
  EXPECT_THAT(scan({"python"}, {project("home/base/envs/e")}),
              ElementsAre("cache @/home/base/envs/g 6 __tidra:system:python__"));
}

TEST_F(SystemScan, AnEnvironmentFreesNothingThatItSharesWithThePackagesOfItsTool) {
  fixture.tree().writeFile("home/base/pkgs/p/big", std::string(2 << 20, 'x'));
  fixture.tree().writeFileOfSize("home/base/envs/e/own", 9000);
  std::filesystem::create_hard_link(fixture.tree().path("home/base/pkgs/p/big"),
                                    fixture.tree().path("home/base/envs/e/big"));
  fixture.tool("conda",
               {{"info --base", "echo '" + fixture.tree().path("home/base") + "'"},
                {"env list --json", "echo '{\"envs\": [\"" + fixture.tree().path("home/base/envs/e") + "\"]}'"}});
  fixture.handTo(request.context);
  request.categories = {"python"};
  const auto found = SystemArtifactScanner(request).scan({}).findings;
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(found[0].finding.sizeBytes, (2U << 20) + 9000);
  EXPECT_LT(found[0].finding.freeableBytes, 1U << 20);
  EXPECT_EQ(found[0].finding.difference, SizeDifference::hardLinks);
}

TEST_F(SystemScan, RootsBoundPlacesByWhereTheyReallyAre) {
  fixture.tree().writeFileOfSize("home/in/a/f", 1);
  fixture.tree().writeFileOfSize("home/in/b/f", 2);
  fixture.tree().writeFileOfSize("home/inner/f", 3);
  fixture.tree().writeFileOfSize("home/out/c/f", 4);
  fixture.tree().symlink("home/alias", fixture.tree().path("home/in"));
  fixture.tree().symlink("home/in/way", fixture.tree().path("home/out"));
  rule("mine", "inside", "~/in/a");
  rule("mine", "inside through a link", "~/alias/b");
  rule("mine", "a name that begins alike", "~/inner");
  rule("mine", "outside", "~/out");
  rule("mine", "outside through a link", "~/in/way/c");
  request.bounds.emplace().roots.add(fixture.tree().path("home/in"));
  EXPECT_THAT(scan({"mine"}), ElementsAre("inside @/home/in/a 1 __tidra:system:mine__",
                                          "inside through a link @/home/alias/b 2 __tidra:system:mine__"));
}

TEST_F(SystemScan, ReportsEachFindingInItsPhase) {
  fixture.tree().writeFileOfSize("home/a/f", 7);
  fixture.tree().writeFileOfSize("home/b/f", 8);
  rule("globalCaches", "a", "~/a");
  rule("agentHost", "b", "~/b");
  Texts ticks;
  request.onProgress = [&](const SystemArtifactScanner::ProgressTick& tick) {
    // A slow machine brings more of those that show that a scan is alive.
    if (tick.latestFinding == nullptr && !ticks.empty() && ticks.back().starts_with(tick.phaseLabel)) return;
    ticks.push_back(
        fixture.shown(fmt::format("{} {} {} {}", tick.phaseLabel, tick.artifactsFound, tick.recoverableBytes,
                                  tick.latestFinding != nullptr ? tick.latestFinding->finding.path : "-")));
  };
  scan({"globalCaches", "agentHost"}, {project("p/node_modules"), project("q", 5)});
  EXPECT_THAT(ticks, ElementsAre("Scanning your projects… 1 10 @/p/node_modules", "Scanning your projects… 2 15 @/q",
                                 "Checking system caches… 2 15 -", "Checking system caches… 3 23 @/home/b",
                                 "Checking system caches… 4 30 @/home/a"));
  ticks.clear();
  constexpr auto most = std::numeric_limits<std::uint64_t>::max();
  scan({"agentHost"}, {project("p", most), project("q", most)});
  EXPECT_THAT(ticks, Contains("Checking system caches… 3 9223372036854775807 @/home/b"));
}

TEST_F(SystemScan, CancellingGivesWhatIsKnownAndEndsTheTools) {
  fixture.tree().writeFileOfSize("home/a/f", 7);
  rule("globalCaches", "a", "~/a");
  request.shouldCancel = fixture.context.shouldCancel = [] { return true; };
  EXPECT_THAT(scan({"globalCaches"}), IsEmpty());

  fixture.script("brew", fixture.hang());
  fixture.script("npm", fixture.hang());
  request.shouldCancel = fixture.context.shouldCancel;
  EXPECT_THAT(scan({"homebrew", "globalModules"}), IsEmpty());
  EXPECT_TRUE(request.shouldCancel()) << "no tool was started";
}

TEST_F(SystemScan, CancellingWhileAToolIsWaitedForKeepsWhatFoldersHold) {
  fixture.tree().writeFileOfSize("home/a/f", 7);
  rule("globalCaches", "a", "~/a");
  fixture.script("npm", fixture.hang());
  std::atomic<bool> seen{false};
  request.onProgress = [&](const auto& tick) { seen = seen || tick.latestFinding != nullptr; };
  request.shouldCancel = fixture.context.shouldCancel = [&] { return seen.load(); };
  EXPECT_THAT(scan({"globalCaches", "globalModules"}), ElementsAre("a @/home/a 7 __tidra:system:caches__"));
}

TEST_F(SystemScan, ToolsThatDidNotAnswerAreNotedInTheOrderOfTheProbes) {
  fixture.script("brew", "sleep 0.2; exit 1");
  fixture.script("npm", "exit 1");
  fixture.handTo(request.context);
  request.categories = {"homebrew", "globalModules"};
  EXPECT_THAT(SystemArtifactScanner(request).scan({}).notes,
              ElementsAre("npm is installed but did not report where its global packages are.",
                          "Homebrew is installed but did not answer."));
}

}  // namespace
}  // namespace tidra
