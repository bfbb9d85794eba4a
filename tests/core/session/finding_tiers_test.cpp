// Tiers of findings by what git tracks and by what they hold, and what a tier means for what lies inside.
#include <unistd.h>

#include <algorithm>
#include <array>

#include "tests/core/session/cleanup_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

using enum ArtifactSafetyTier;

TEST_F(CleanupSession, WhatGitTracksIsNoSafeFinding) {
  makeRepository("code/app");
  for (const char* file : {"vendor/lib/f", "node_modules/f", "build/f"})
    tree_.writeFile("code/app/" + std::string(file));
  git(tree_.path("code/app"), {"add", "vendor"});
  makeRepository("code/mono");
  for (const char* file : {"packages/one/build/kept", "packages/two/build/f"})
    tree_.writeFile("code/mono/" + std::string(file));
  git(tree_.path("code/mono"), {"add", "packages/one"});
  tree_.writeFile("code/bare/vendor/f");
  const Tiers expected{
      {"app/build", caution}, {"app/node_modules", safe},           {"app/vendor", warning},
      {"bare/vendor", safe},  {"mono/packages/one/build", warning}, {"mono/packages/two/build", caution}};
  EXPECT_EQ(tiersOf(request()), expected);
  for (const auto& found : runScan(request()).findings)
    EXPECT_EQ(found.finding.restoreHint == "Holds files tracked by git", found.finding.safetyTier == warning)
        << found.finding.path;
  // Without a response of git nothing is safe.
  auto silent = request();
  silent.git = tree_.writeProgram("git", "exit 1");
  for (const auto& [path, tier] : tiersOf(silent)) EXPECT_TRUE(tier != safe || path == "bare/vendor") << path;
}

TEST_F(CleanupSession, WorkInARepositoryInsideIsNoSafeFinding) {
  const auto inside = [](const std::string& project) { return "code/" + project + "/node_modules/@me/lib"; };
  makeRepository("origin");
  for (const char* project : {"clean", "changed", "untracked", "ahead", "stashed", "serving"})
    git(tree_.root(), {"clone", "-q", tree_.path("origin"), tree_.path(inside(project))});
  tree_.writeFile(inside("changed") + "/file", "mended");
  tree_.writeFile(inside("untracked") + "/new");
  git(tree_.path(inside("ahead")), {"commit", "-q", "--allow-empty", "-m", "mine"});
  tree_.writeFile(inside("stashed") + "/file", "mended");
  git(tree_.path(inside("stashed")), {"stash", "-q"});
  git(tree_.path(inside("serving")), {"worktree", "add", "-q", tree_.path("away")});
  makeRepository(inside("no-remote"));
  for (const char* project : {"worktree", "worktree-changed"})
    git(tree_.path("origin"), {"worktree", "add", "-q", tree_.path(inside(project)), "-b", project});
  tree_.writeFile(inside("worktree-changed") + "/new");
  makeRepository("code/remains");
  tree_.writeFile(inside("remains") + "/.git/hooks/README.sample");
  tree_.writeFile(inside("broken") + "/.git/HEAD", "nonsense");
  tree_.writeFile(inside("foreign") + "/.hg/store");
  const auto before = snapshotOf(tree_.path("code"));
  for (const auto& found : runScan(request()).findings)
    EXPECT_EQ(found.finding.safetyTier == warning,
              found.finding.restoreHint.value_or("").ends_with("no remote repository: @me/lib") ||
                  found.finding.restoreHint == "Holds the repository of the worktree " + tree_.path("away"))
        << found.finding.restoreHint.value_or("");
  EXPECT_EQ(snapshotOf(tree_.path("code")), before);
  const Tiers expected{{"clean", safe},      {"changed", warning}, {"untracked", warning},
                       {"ahead", warning},   {"stashed", warning}, {"no-remote", warning},
                       {"serving", warning}, {"worktree", safe},   {"worktree-changed", warning},
                       {"remains", safe},    {"broken", caution},  {"foreign", caution}};
  auto found = tiersOf(request());
  EXPECT_EQ(found.size(), expected.size());
  for (const auto& [project, tier] : expected) EXPECT_EQ(found.at(project + "/node_modules"), tier) << project;
}

TEST_F(CleanupSession, WorkInARepositoryOutsideProjectsIsNoSafeFinding) {
  makeRepository("origin");
  auto asked = everywhere();
  asked.catalog.systemRules[0].id = "uv-cache";
  const auto found = [&] { return runScan(asked).findings.at(0).finding; };
  // A tool's own clone, with the tool's mark in it, is none of anybody's work.
  const std::string checkout = "home/.cache/mine/git-v0/checkouts/1/2";
  git(tree_.root(), {"clone", "-q", tree_.path("origin"), tree_.path(checkout)});
  tree_.writeFile(checkout + "/.ok");
  EXPECT_EQ(found().safetyTier, ArtifactSafetyTier::safe);
  makeRepository("home/.cache/mine/lib");
  EXPECT_EQ(found().restoreHint, "Holds work that is in no remote repository: lib");
  EXPECT_EQ(found().safetyTier, ArtifactSafetyTier::warning);
  std::filesystem::remove_all(tree_.path("home/.cache/mine/lib"));
  makeRepository("home/.cache/mine");
  EXPECT_EQ(found().restoreHint, "Holds work that is in no remote repository");
}

TEST_F(CleanupSession, ARepositoryInsideThatMayNotBeReadIsNoFinding) {
  const std::string package = "code/p/node_modules/@me/lib";
  tree_.writeFile(package + "/.git/HEAD", "ref: refs/heads/main");
  tree_.setMode(package + "/.git", 0);
  const WithoutPrivileges unprivileged(tree_);
  const auto outcome = runScan(request());
  EXPECT_THAT(outcome.findings, IsEmpty());
  EXPECT_EQ(outcome.withheld.at(tree_.path("code/p/node_modules")).path, tree_.path(package + "/.git"));
}

TEST_F(CleanupSession, APythonPackageIsNotWhatItsNameSays) {
  tree_.writeFile("code/lib/vendor/__init__.py", "import os");
  tree_.writeFile("code/app/vendor/part/__init__.py");
  EXPECT_EQ(tiersOf(request()), (Tiers{{"lib/vendor", warning}, {"app/vendor", safe}}));
}

TEST_F(CleanupSession, ALinkOnTheWayToARootHidesNothingAboveWhatIsFound) {
  makeRepository("code/mono");
  for (const char* file : {"packages/one/vendor/kept", "packages/one/build/f"})
    tree_.writeFile("code/mono/" + std::string(file));
  git(tree_.path("code/mono"), {"add", "packages/one/vendor"});
  tree_.writeFile("code/mono/.gitignore", "/packages/one/build");
  tree_.writeFile("home/.local/share/tool/node_modules/f");
  tree_.writeFile("home/.gitignore", "vendor");
  tree_.writeFile("home/p/vendor/f");
  tree_.symlink("code/team", tree_.path("code/mono/packages"));
  tree_.symlink("code/tool", tree_.path("home/.local/share/tool"));
  tree_.symlink("code/home", tree_.path("home"));
  auto asked = request();
  asked.roots = {tree_.path("code/team"), tree_.path("code/tool"), tree_.path("code/home/p")};
  asked.resolver.home = tree_.path("code/home");
  std::map<std::string, std::string> seen;
  for (const auto& found : runScan(asked).findings)
    seen[found.finding.path.substr(tree_.path("code/").size())] =
        found.finding.safetyTier == warning ? *found.finding.restoreHint : found.finding.evidence.value_or("-");
  EXPECT_EQ(seen, (std::map<std::string, std::string>{{"team/one/vendor", "Holds files tracked by git"},
                                                      {"team/one/build", "ignored by git"},
                                                      {"tool/node_modules", "Belongs to the installed program tool"},
                                                      {"home/p/vendor", "-"}}));
  // A plan is held against the same places.
  CleanupPlan plan;
  plan.items.emplace_back().path = tree_.path("code/team/one/vendor");
  EXPECT_THAT(described(checkPlan(plan, asked, {}).candidates), ElementsAre(HasSubstr("is of tier warning by now")));
}

class NestedPlaces : public CleanupSession {
 protected:
  NestedPlaces() {
    for (const char* file : {"outer/mid/inner/f", "outer/f", "outer/p/node_modules/f", "outer/p/build/f"})
      tree_.writeFileOfSize("code/" + std::string(file), 100);
  }
  /// Rules in this order: id, path in "code", tier, category.
  ScanRequest withRules(const std::vector<std::array<std::string, 4>>& rules) const {
    ScanRequest asked = request();
    asked.scanSystem = true;
    asked.categories = {"mine"};
    for (const auto& [id, place, tier, category] : rules) {
      SystemPathRule& rule = asked.catalog.systemRules.emplace_back();
      rule.id = rule.label = id;
      rule.category = category;
      rule.tier = *fromRawValue<ArtifactSafetyTier>(tier);
      for (const char* platform : {"linux", "macos"}) rule.paths[platform] = {tree_.path("code/" + place)};
    }
    return asked;
  }
  Texts selectedOf(ScanRequest asked, std::set<ArtifactSafetyTier> tiers, const CleanupOptions& options = {}) const {
    asked.tiers = std::move(tiers);
    auto lines = described(selectedFrom(asked, options));
    std::sort(lines.begin(), lines.end());
    return lines;
  }
};

TEST_F(NestedPlaces, WhatHoldsAFindingOfAHigherTierGoesOnlyTogetherWithIt) {
  const auto rules = withRules({{"inner", "outer/mid/inner", "caution", "mine"},
                                {"mid", "outer/mid", "safe", "mine"},
                                {"outer", "outer", "safe", "mine"}});
  const std::string inner = tree_.path("code/outer/mid/inner");
  EXPECT_THAT(
      selectedOf(rules, {safe}),
      ElementsAre("outer/mid: holds " + inner + " of tier caution, which is not selected", HasSubstr("outer: holds ")));
}

TEST_F(NestedPlaces, WhatIsInASelectedOneGoesWithItAndIsNoItemOfItsOwn) {
  // Both tiers, of project folders and of system paths, are selected.
  const auto rules = withRules({{"inner", "outer/mid/inner", "caution", "mine"}, {"outer", "outer", "safe", "mine"}});
  EXPECT_THAT(selectedOf(rules, {safe, caution}), ElementsAre("outer: -"));
  const auto plan = makeCleanupPlan(selectedFrom(rules), DisposalMethod::delete_, rules);
  EXPECT_EQ(plan.totalBytes(), 400) << "no byte twice";
  EXPECT_EQ(plan.highestTier(), caution);
  EXPECT_THAT(described(checkPlan(plan, rules, {}).candidates), ElementsAre("outer: -"));
  // A plan with the outer tier only does not cover the inner one.
  auto cut = plan;
  cut.items.at(0).tier = safe;
  EXPECT_THAT(described(checkPlan(cut, rules, {}).candidates),
              ElementsAre(HasSubstr("outer: is of tier caution by now")));
  for (const auto& found : runScan(rules).findings) {
    if (found.finding.path != cut.items.at(0).path) cut.items.push_back(CleanupPlan::Item::make(found));
  }
  EXPECT_THAT(described(checkPlan(cut, rules, {}).candidates), ElementsAre("outer: -"));
}

TEST_F(NestedPlaces, WhatIsKeptHoldsBackWhatItLiesIn) {
  tree_.writeFile("code/outer/mid/inner/.tidra-keep");
  const auto rules = withRules({{"inner", "outer/mid/inner", "safe", "mine"}, {"outer", "outer", "caution", "mine"}});
  EXPECT_EQ(runScan(rules).withheld.at(tree_.path("code/outer")).why, KeptInside::Why::keepFile);
  EXPECT_THAT(selectedOf(rules, {safe, caution}),
              AllOf(Contains(HasSubstr("outer/mid/inner: is kept by")), Not(Contains(StartsWith("outer: ")))));
  // --force lifts the keep file of an item, not one deeper in it.
  EXPECT_THAT(selectedOf(rules, {safe, caution}, {.force = true}),
              AllOf(Contains("outer/mid/inner: -"), Not(Contains(StartsWith("outer: ")))));
}

TEST_F(NestedPlaces, AFindingTakesTheTierOfAPlaceInItThatIsNone) {
  const auto plain = withRules({{"outer", "outer", "safe", "mine"}, {"inner", "outer/mid", "caution", "mine"}});
  EXPECT_EQ(tiersOf(plain).at("outer"), caution);
  const auto other = withRules({{"outer", "outer", "safe", "mine"}, {"inner", "outer/mid", "warning", "other"}});
  EXPECT_EQ(tiersOf(other).at("outer"), warning) << "of a category that is not looked at";
  auto inProject = withRules({{"inner", "outer/p/node_modules", "caution", "mine"}});
  EXPECT_EQ(tiersOf(inProject).at("outer/p/node_modules"), caution) << "a finding of a project";
  // Nor does an option make it safe, or a plan made before the place was there.
  inProject.scanSystem = false;
  EXPECT_EQ(tiersOf(inProject).at("outer/p/node_modules"), caution);
  const auto plan = makeCleanupPlan(selectedFrom(request()), DisposalMethod::delete_, request());
  EXPECT_THAT(described(checkPlan(plan, inProject, {}).candidates),
              Contains(StartsWith("outer/p/node_modules: is of tier caution by now")));
}

TEST_F(NestedPlaces, NoOptionHidesWhatIsOfAHigherTierInOne) {
  auto asked = withRules({{"outer", "outer", "safe", "mine"}});
  asked.catalog.systemRules.back().ecosystem = "x";
  EXPECT_EQ(tiersOf(asked).at("outer"), safe) << "holds a finding of its own";
  const auto narrowed = [&](auto change) {
    auto other = asked;
    change(other);
    return other;
  };
  const auto withoutRule = narrowed([](auto& it) { it.catalog.projectRules.pop_back(); });
  for (const auto& one :
       {narrowed([](auto& it) { it.scanProjects = false; }), narrowed([](auto& it) { it.ecosystems = {"x"}; }),
        narrowed([&](auto& it) { it.catalog = withoutRule.catalog, it.wholeCatalog = asked.catalog; }),
        narrowed([&](auto& it) {
          it.roots = {tree_.makeFolder("home")};
          it.systemReach = SystemReach::everywhere;
        })}) {
    const auto findings = runScan(one).findings;
    ASSERT_EQ(findings.at(0).finding.path, tree_.path("code/outer"));
    EXPECT_EQ(findings.at(0).finding.safetyTier, caution);
    EXPECT_THAT(findings.at(0).finding.restoreHint.value_or(""), HasSubstr("outer/p/build), which is of this tier"));
  }
  auto ofPackages = withRules({{"outer", "outer", "safe", "globalCaches"}});
  ofPackages.categories = {"globalCaches"};
  ofPackages.scanProjects = false;
  EXPECT_EQ(runScan(ofPackages).findings.at(0).finding.safetyTier, safe) << "packages ship folders of any name";
  const auto plan = makeCleanupPlan(selectedFrom(withoutRule), DisposalMethod::delete_, withoutRule);
  EXPECT_THAT(described(checkPlan(plan, asked, {}).candidates),
              Contains(StartsWith("outer: is of tier caution by now")));
  asked.exclusions.globPatterns = {"build"};
  EXPECT_EQ(runScan(asked).withheld.at(tree_.path("code/outer")),
            (KeptInside{tree_.path("code/outer/p/build"), KeptInside::Why::excluded}));
}

TEST_F(CleanupSession, AnArtefactTakesTheTierOfWhatLiesInItButNotOfFoldersThatToolsMakeEverywhere) {
  for (const char* file :
       {"a/node_modules/x/build/f", "b/vendor/x/notes/f", "c/vendor/x/.crush/agents.md", "d/vendor/x/.crush/crush.db"})
    tree_.writeFile("code/" + std::string(file));
  auto asked = request();
  ProjectArtifactRule& notes = asked.catalog.projectRules.emplace_back();
  notes.id = notes.folderName = notes.label = "notes";
  notes.tier = warning;
  auto& crush = asked.catalog.projectRules.emplace_back(notes);
  crush.id = crush.folderName = ".crush";
  EXPECT_EQ(tiersOf(asked),
            (Tiers{{"a/node_modules", safe}, {"b/vendor", warning}, {"c/vendor", safe}, {"d/vendor", warning}}));
  EXPECT_THAT(runScan(asked).findings.at(1).finding.restoreHint.value_or(""),
              HasSubstr("(" + tree_.path("code/b/vendor/x/notes") + ")"));
}

TEST_F(NestedPlaces, WhatHoldsFilesOfOtherUsersIsNoSafeFinding) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root makes files of strangers";
  constexpr uid_t stranger = 65534;
  tree_.writeFile("code/outer/X.app/f");
  const auto rules = withRules({{"outer", "outer", "safe", "mine"}});
  EXPECT_EQ(tiersOf(rules).at("outer"), safe);
  for (const char* entry : {"X.app", "mid/inner/f", "p/node_modules/f"}) {
    const std::string path = tree_.path("code/outer/" + std::string(entry));
    ASSERT_EQ(::chown(path.c_str(), stranger, stranger), 0);
    const auto found = runScan(rules).findings;
    const bool isOuter = found.at(0).finding.path == tree_.path("code/outer");
    const auto& outer = found.at(isOuter ? 0 : found.size() - 1).finding;
    EXPECT_EQ(outer.restoreHint, "Holds files of other users: " + std::string(entry));
    ASSERT_EQ(::chown(path.c_str(), 0, 0), 0);
  }
  // Root's files are anybody's, and a folder of one user is that user's.
  ASSERT_EQ(::chown(tree_.path("code/outer").c_str(), stranger, stranger), 0);
  EXPECT_EQ(tiersOf(rules).at("outer"), safe);
}

TEST(NestedFindings, ProtectAndDateWhatContainsThemEvenWhereTheyAreNotShown) {
  constexpr TimePoint early{std::chrono::seconds{1000}};
  constexpr TimePoint late{std::chrono::seconds{2000}};
  std::vector<FoundArtifact> findings(2);
  findings[0].finding.path = findings[0].place = "/c";
  findings[0].finding.source = ArtifactSource::systemProbe;
  findings[0].finding.lastActivityDate = early;
  findings[1].finding.path = findings[1].place = "/c/p/out";
  findings[1].finding.groupRoot = "/c/p";
  findings[1].finding.lastActivityDate = late;
  const auto nested = nestedFindings(findings);
  EXPECT_EQ(nested, std::vector{(NestedFinding{"/c", "/c/p/out", safe, "/c/p"})});
  const Refusal held = nested[0].refusalOfOuter({Refusal::Why::inUse, "is in use: make"});
  EXPECT_EQ(held, (Refusal{Refusal::Why::inUse, "holds /c/p/out, which is in use: make", true}));
  EXPECT_TRUE(held.canBeForced());
  EXPECT_EQ(findings[0].finding.lastActivityDate, late);
  dropPartsOfPlaces(findings, nested, [](const FoundArtifact&) { return true; });
  EXPECT_EQ(findings.size(), 1U);
}

}  // namespace
}  // namespace tidra
