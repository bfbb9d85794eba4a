// From findings, or an edited plan, to what is removed and what stays.
#include "core/session/cleanup_session.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <deque>
#include <filesystem>
#include <map>

#include "core/model/removal_leftover.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/session/removal_guard.h"
#include "tests/support/git_repositories.h"
#include "tests/support/matchers.h"
#include "tests/support/noted_removal.h"
#include "tests/support/other_process.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

constexpr TimePoint now{std::chrono::seconds{1750000000}};

class CleanupSession : public WithGitRepositories {
 protected:
  ScanRequest request() const {
    ScanRequest request;
    request.roots = {tree_.path("code")};
    request.catalog = RuleCatalog::load(R"({"catalogVersion": "test", "projectRules": [
      {"id": "nm", "folderName": "node_modules", "ecosystem": "npm"},
      {"id": "vendor", "folderName": "vendor", "ecosystem": "npm"},
      {"id": "build", "folderName": "build", "ecosystem": "general", "tier": "caution"}], "systemRules": [
      {"id": "cache", "category": "mine", "label": "Cache", "ecosystem": "general",
       "paths": {"linux": ["~/.cache/mine"], "macos": ["~/.cache/mine"]}},
      {"id": "sdk", "category": "mine", "label": "SDK", "ecosystem": "general", "tier": "warning", "mode": "children",
       "paths": {"linux": ["~/sdks"], "macos": ["~/sdks"]}}]})");
    request.resolver = {tree_.path("home"), environment_};
    request.host = "a-host";
    request.mounts = mountPoints();
    request.git = git_;
    request.scanSystem = false;
    request.now = now;
    return request;
  }
  CleanupSetting setting(DisposalMethod method = DisposalMethod::delete_) const {
    CleanupSetting setting;
    setting.service = {.resolver = request().resolver,
                       .host = "a-host",
                       .mounts = mountPoints(),
                       .protectedFolders = {},
                       .clock = [] { return now; },
                       .shouldCancel = {}};
    setting.method = method;
    setting.quarantine = QuarantineConfig::makeDefault(request().resolver);
    return setting;
  }
  static std::vector<ScanArtifactFinding> findingsOf(const ScanRequest& asked) {
    std::vector<ScanArtifactFinding> findings;
    for (const FoundArtifact& found : runScan(asked).findings) findings.push_back(found.finding);
    return findings;
  }
  /// The outcome lives as long as the test, for candidates refer to it.
  const ScanOutcome& scanned(const ScanRequest& asked) const { return outcomes_.emplace_back(runScan(asked)); }
  std::vector<CleanupCandidate> selected(CleanupOptions options = {}) const {
    options.takesUnproven = true;
    return selectForCleanup(scanned(request()), request().resolver, options);
  }
  /// "path: refusal" of each, with the path relative to "code".
  std::vector<std::string> told(const std::vector<CleanupCandidate>& candidates) const {
    std::vector<std::string> lines;
    for (const auto& candidate : candidates) {
      lines.push_back(candidate.item.path.substr(tree_.path("code/").size()) + ": " + candidate.refusal.value_or("-"));
    }
    return lines;
  }
  bool exists(const std::string& relative) const { return static_cast<bool>(pathFacts(tree_.path(relative))); }

 private:
  mutable std::deque<ScanOutcome> outcomes_;
};

TEST_F(CleanupSession, SelectsTheLargestFirstWithoutWhatAKeepFileProtects) {
  tree_.writeFileOfSize("code/a/node_modules/f", 10);
  tree_.writeFileOfSize("code/b/node_modules/f", 3000);
  tree_.writeFileOfSize("code/c/node_modules/f", 200);
  tree_.writeFile("code/c/node_modules/.tidra-keep");
  tree_.writeFileOfSize("code/d/build/f", 20);
  tree_.symlink("code/d/.tidra-keep", "nowhere");
  const auto candidates = selected();
  EXPECT_THAT(told(candidates),
              ElementsAre("b/node_modules: -", AllOf(HasSubstr("c/node_modules: is kept by"), HasSubstr("--force")),
                          HasSubstr("d/build: is kept by " + tree_.path("code/d/.tidra-keep")), "a/node_modules: -"));
  const auto plan = makeCleanupPlan(candidates, DisposalMethod::trash, request());
  EXPECT_EQ(plan.items.size(), 2U);
  EXPECT_EQ(plan.totalBytes(), 3010);
  EXPECT_EQ(plan.highestTier(), ArtifactSafetyTier::safe);
  EXPECT_EQ(CleanupPlan{}.highestTier(), ArtifactSafetyTier::safe);
  EXPECT_THAT(told(selected({.force = true})), Each(EndsWith(": -")));
}

TEST_F(CleanupSession, AKeepFileKeepsAllBelowItsFolder) {
  tree_.writeFile("code/mono/.tidra-keep");
  tree_.writeFileOfSize("code/mono/packages/p/node_modules/f", 3);
  tree_.writeFile("elsewhere/.tidra-keep");
  tree_.writeFileOfSize("elsewhere/q/node_modules/f", 2);
  tree_.symlink("code/way", tree_.path("elsewhere/q"));
  auto linked = request();
  linked.roots.push_back(tree_.path("code/way"));
  const auto kept = [](const std::string& by) { return "node_modules: is kept by " + by + "/.tidra-keep"; };
  EXPECT_THAT(told(selectForCleanup(scanned(linked), linked.resolver, {.takesUnproven = true})),
              ElementsAre(HasSubstr(kept(tree_.path("code/mono"))), HasSubstr(kept(tree_.path("elsewhere")))));
  // The home folder is an ordinary folder here.
  tree_.writeFile("home/.tidra-keep");
  tree_.writeFileOfSize("home/p/node_modules/f", 3);
  RemovalGuard guard(request().resolver);
  EXPECT_EQ(guard.reasonToKeep(tree_.path("home/p/node_modules"), tree_.path("home/p")),
            "is kept by " + tree_.path("home/.tidra-keep"));
  if (::geteuid() != 0) GTEST_SKIP() << "only root makes files of strangers";
  constexpr uid_t stranger = 65534;
  const std::string home = tree_.path("home");
  ASSERT_EQ(::chown((home + "/.tidra-keep").c_str(), stranger, stranger), 0);
  for (const mode_t mode : {0755, 01777}) {
    ASSERT_EQ(::chmod(home.c_str(), mode), 0);
    EXPECT_EQ(RemovalGuard(request().resolver).reasonToKeep(home + "/p/node_modules", {}).has_value(), mode == 0755);
  }
}

TEST_F(CleanupSession, TakesWithoutAskingOnlyWhatAToolIsKnownToHaveMade) {
  tree_.writeFileOfSize("code/a/node_modules/f", 10);
  tree_.writeFileOfSize("code/b/node_modules/f", 20);
  tree_.writeFile("code/b/package.json");
  tree_.writeFile("code/b/node_modules/.package-lock.json");
  const auto outcome = runScan(request());
  EXPECT_THAT(told(selectForCleanup(outcome, request().resolver, {})), ElementsAre("b/node_modules: -"));
  EXPECT_THAT(told(selected()), ElementsAre("b/node_modules: -", "a/node_modules: -"));
  const auto unproven = unprovenIn(outcome);
  EXPECT_EQ(unproven.count, 1U);
  EXPECT_EQ(unproven.bytes, 10);
}

TEST_F(CleanupSession, WhatIsInUseStays) {
#ifndef __linux__
  GTEST_SKIP() << "only Linux reports who uses a folder";
#endif
  for (const char* project : {"works", "works-inside", "locks", "opens", "idle", "works-not", "team/a/b", "team/c"})
    tree_.writeFile("code/" + std::string(project) + "/node_modules/sub/f");
  tree_.symlink("way", "code/works");
  tree_.makeFolder("code/team/.git");
  const auto worksIn = [&](const std::string& relative) {
    return [path = tree_.path(relative)] { ASSERT_EQ(::chdir(path.c_str()), 0); };
  };
  const OtherProcess inProject(worksIn("way"));
  const OtherProcess inArtefact(worksIn("code/works-inside/node_modules/sub"));
  const OtherProcess above(worksIn("code"));
  const OtherProcess inRepository(worksIn("code/team/a"));
  const OtherProcess locker([path = tree_.path("code/locks/node_modules/sub/f")] {
    ASSERT_EQ(::flock(::open(path.c_str(), O_RDWR), LOCK_EX) + ::chdir("/"), 0);
  });
  const OtherProcess opener([path = tree_.path("code/opens/node_modules/sub/f")] {
    ASSERT_TRUE(::open(path.c_str(), O_RDONLY) >= 0 && ::chdir("/") == 0);
  });
  auto candidates = selected();
  std::sort(candidates.begin(), candidates.end(),
            [](const auto& a, const auto& b) { return a.item.path < b.item.path; });
  EXPECT_THAT(
      told(candidates),
      ElementsAre("idle/node_modules: -",
                  AllOf(HasSubstr("locks/node_modules: is in use: "),
                        HasSubstr("has locked " + tree_.path("code/locks/node_modules/sub/f"))),
                  HasSubstr("has opened " + tree_.path("code/opens/node_modules/sub/f")),
                  HasSubstr("works in its repository, in " + tree_.path("code/team/a") + ";"), "team/c/node_modules: -",
                  HasSubstr("works-inside/node_modules: is in use: "), "works-not/node_modules: -",
                  AllOf(HasSubstr("works/node_modules: is in use: "), HasSubstr("works in its project"))));
  // Checked again right before each removal.
  const auto forced = selected({.force = true});
  const auto outcome = runCleanup(forced, setting());
  EXPECT_EQ(outcome.disposal.receipts.size(), 3U);
  EXPECT_EQ(outcome.disposal.failures.size(), 5U);
  auto force = setting();
  force.options.force = true;
  const auto candidatesLeft = selected({.force = true});
  EXPECT_EQ(runCleanup(candidatesLeft, force).disposal.receipts.size(), 5U);
}

TEST_F(CleanupSession, WhatGitTracksIsNoSafeFinding) {
  makeRepository("code/app");
  for (const char* file : {"vendor/lib/f", "node_modules/f", "build/f"})
    tree_.writeFile("code/app/" + std::string(file));
  git(tree_.path("code/app"), {"add", "vendor"});
  makeRepository("code/mono");
  for (const char* file : {"packages/one/build/kept", "packages/two/build/f"}) {
    tree_.writeFile("code/mono/" + std::string(file));
  }
  git(tree_.path("code/mono"), {"add", "packages/one"});
  tree_.writeFile("code/bare/vendor/f");
  std::map<std::string, std::pair<ArtifactSafetyTier, std::string>> found;
  for (const auto& finding : findingsOf(request())) {
    found[finding.path.substr(tree_.path("code/").size())] = {finding.safetyTier, finding.restoreHint.value_or("")};
  }
  using enum ArtifactSafetyTier;
  const std::string tracked = "Holds files tracked by git";
  EXPECT_EQ(found["app/vendor"], std::pair(warning, tracked));
  EXPECT_EQ(found["mono/packages/one/build"], std::pair(warning, tracked));
  EXPECT_EQ(found["app/node_modules"].first, safe);
  EXPECT_EQ(found["app/build"].first, caution);
  EXPECT_EQ(found["mono/packages/two/build"].first, caution);
  EXPECT_EQ(found["bare/vendor"].first, safe);
  // Without a response of git nothing is safe.
  auto silent = request();
  silent.git = script("git", "exit 1");
  for (const auto& finding : findingsOf(silent)) {
    EXPECT_TRUE(finding.safetyTier != safe || finding.path == tree_.path("code/bare/vendor")) << finding.path;
  }
}

TEST_F(CleanupSession, WorkInARepositoryInsideIsNoSafeFinding) {
  const auto inside = [](const std::string& project) { return "code/" + project + "/node_modules/@me/lib"; };
  makeRepository("origin");
  for (const char* project : {"clean", "changed", "untracked", "ahead", "stashed"}) {
    git(tree_.root(), {"clone", "-q", tree_.path("origin"), tree_.path(inside(project))});
  }
  tree_.writeFile(inside("changed") + "/file", "mended");
  tree_.writeFile(inside("untracked") + "/new");
  git(tree_.path(inside("ahead")), {"commit", "-q", "--allow-empty", "-m", "mine"});
  tree_.writeFile(inside("stashed") + "/file", "mended");
  git(tree_.path(inside("stashed")), {"stash", "-q"});
  makeRepository(inside("no-remote"));
  for (const char* project : {"worktree", "worktree-changed"}) {
    git(tree_.path("origin"), {"worktree", "add", "-q", tree_.path(inside(project)), "-b", project});
  }
  tree_.writeFile(inside("worktree-changed") + "/new");
  makeRepository("code/remains");
  tree_.writeFile(inside("remains") + "/.git/hooks/README.sample");
  tree_.writeFile(inside("broken") + "/.git/HEAD", "nonsense");
  const auto before = snapshotOf(tree_.path("code"));
  std::map<std::string, ArtifactSafetyTier> found;
  for (const auto& finding : findingsOf(request())) {
    found[std::string(lastPathComponent(*finding.groupRoot))] = finding.safetyTier;
    EXPECT_EQ(finding.safetyTier == ArtifactSafetyTier::warning,
              finding.restoreHint.value_or("").ends_with("no remote repository: @me/lib"));
  }
  EXPECT_EQ(snapshotOf(tree_.path("code")), before);
  using enum ArtifactSafetyTier;
  EXPECT_EQ(found, (std::map<std::string, ArtifactSafetyTier>{{"clean", safe},
                                                              {"changed", warning},
                                                              {"untracked", warning},
                                                              {"ahead", warning},
                                                              {"stashed", warning},
                                                              {"no-remote", warning},
                                                              {"worktree", safe},
                                                              {"worktree-changed", warning},
                                                              {"remains", safe},
                                                              {"broken", caution}}));
}

TEST_F(CleanupSession, ARepositoryInsideThatMayNotBeReadIsNoSafeFinding) {
  const std::string package = "code/p/node_modules/@me/lib";
  tree_.writeFile(package + "/.git/HEAD", "ref: refs/heads/main");
  tree_.setMode(package + "/.git", 0);
  const WithoutPrivileges unprivileged(tree_);
  const auto outcome = runScan(request());
  ASSERT_EQ(outcome.findings.size(), 1U);
  EXPECT_EQ(outcome.findings[0].finding.safetyTier, ArtifactSafetyTier::caution);
}

TEST_F(CleanupSession, APythonPackageIsNotWhatItsNameSays) {
  tree_.writeFile("code/lib/vendor/__init__.py", "import os");
  tree_.writeFile("code/app/vendor/part/__init__.py");
  std::map<std::string, ArtifactSafetyTier> found;
  for (const auto& finding : findingsOf(request())) found[finding.path] = finding.safetyTier;
  EXPECT_EQ(found.at(tree_.path("code/lib/vendor")), ArtifactSafetyTier::warning);
  EXPECT_EQ(found.at(tree_.path("code/app/vendor")), ArtifactSafetyTier::safe);
}

TEST_F(CleanupSession, APlanIsHeldAgainstWhatIsThereNow) {
  makeRepository("code/p");
  for (const char* file : {"node_modules/f", "vendor/f", "build/f", "src/f"})
    tree_.writeFile("code/p/" + std::string(file));
  tree_.writeFile("code/q/node_modules/f");
  tree_.writeFile("code/r/node_modules/f");
  CleanupPlan plan = makeCleanupPlan(selected(), DisposalMethod::delete_, request());
  ASSERT_EQ(plan.items.size(), 5U);
  std::sort(plan.items.begin(), plan.items.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
  plan.items.push_back(plan.items.front());
  plan.items.back().path = tree_.path("code/p/src");
  git(tree_.path("code/p"), {"add", "-f", "vendor"});
  tree_.writeFile("code/q/.tidra-keep");
  std::filesystem::remove_all(tree_.path("code/p/build"));
  auto excluding = request();
  excluding.exclusions.pathPrefixes.push_back(tree_.path("code/r"));
  const auto checked = told(checkPlan(plan, excluding, {}).candidates);
  EXPECT_THAT(checked,
              ElementsAre(HasSubstr("p/build: Path not found"), "p/node_modules: -",
                          HasSubstr("p/vendor: is of tier warning by now, but the plan says safe"),
                          HasSubstr("q/node_modules: is kept by"), HasSubstr("r/node_modules: is nothing that"),
                          HasSubstr("p/src: is nothing that the rules name there")));
  const auto rechecked = checkPlan(plan, excluding, {.force = true, .allowAnyPath = true});
  const auto& allowed = rechecked.candidates;
  EXPECT_THAT(told(allowed), ElementsAre("p/build: -", "p/node_modules: -", HasSubstr("p/vendor: is of tier"),
                                         "q/node_modules: -", "r/node_modules: -", "p/src: -"));
  ASSERT_TRUE(allowed[1].identity());
  std::filesystem::rename(tree_.path("code/p/node_modules"), tree_.path("code/p/before"));
  tree_.writeFile("code/p/node_modules/other");
  const auto outcome = runCleanup(allowed, setting());
  EXPECT_TRUE(exists("code/p/node_modules/other")) << "swapped since it was looked at";
  EXPECT_TRUE(exists("code/p/vendor/f"));
  EXPECT_TRUE(exists("code/q/node_modules/f")) << "kept, and the run is not forced";
  EXPECT_EQ(outcome.disposal.receipts.size(), 2U);
  EXPECT_EQ(outcome.disposal.failures.size(), 4U);
}

/// The group of "globalCaches" is named "caches".
TEST_F(CleanupSession, ACategoryMayBeNamedLikeTheGroupOfAnother) {
  tree_.writeFile("home/.cache/mine/f");
  auto asked = request();
  asked.scanSystem = true;
  asked.systemReach = SystemReach::everywhere;
  asked.categories = {"caches"};
  for (auto& rule : asked.catalog.systemRules) rule.category = "caches";
  const auto plan = makeCleanupPlan(selectForCleanup(scanned(asked), asked.resolver, {}), DisposalMethod::trash, asked);
  ASSERT_EQ(plan.items.size(), 1U);
  EXPECT_EQ(plan.items[0].category, "caches");
  EXPECT_EQ(checkPlan(plan, asked, {}).candidates.at(0).refusal, std::nullopt);
}

/// A scan takes time; a replacement of a measured folder was never examined.
TEST_F(CleanupSession, WhatReplacesAFindingDuringTheScanStays) {
  const std::vector<std::string> places{"code/p/node_modules", "home/.cache/mine", "home/sdks/one", "home/sdks/file"};
  for (const auto& place : places) tree_.writeFile(place + (place.ends_with("file") ? "" : "/f"));
  auto all = request();
  all.scanSystem = true;
  all.systemReach = SystemReach::everywhere;
  all.categories = {"mine"};
  std::set<std::string> swapped;
  all.onProgress = [&](const ScanProgress& progress) {
    // Outside projects, findings are reported after all are measured.
    for (const auto& place : places) {
      if (progress.artifactsFound < (place.starts_with("code") ? 1U : 2U) || !swapped.insert(place).second) continue;
      std::filesystem::rename(tree_.path(place), tree_.path("home/before" + std::to_string(swapped.size())));
      tree_.writeFile(place + (place.ends_with("file") ? "" : "/precious"), "precious");
    }
  };
  const auto candidates = selectForCleanup(scanned(all), all.resolver, {.takesUnproven = true});
  const auto outcome = runCleanup(candidates, setting());
  EXPECT_EQ(outcome.disposal.failures.size(), places.size());
  for (const auto& place : places) EXPECT_TRUE(exists(place)) << place;
}

class NestedPlaces : public CleanupSession {
 protected:
  NestedPlaces() {
    for (const char* file : {"outer/mid/inner/f", "outer/f", "outer/p/node_modules/f", "outer/p/build/f"}) {
      tree_.writeFileOfSize("code/" + std::string(file), 100);
    }
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
  std::vector<std::string> selectedFrom(ScanRequest asked, std::set<ArtifactSafetyTier> tiers,
                                        CleanupOptions options = {}) const {
    asked.tiers = std::move(tiers);
    options.takesUnproven = true;
    auto lines = told(selectForCleanup(scanned(asked), asked.resolver, options));
    std::sort(lines.begin(), lines.end());
    return lines;
  }

  static constexpr auto safe = ArtifactSafetyTier::safe;
  static constexpr auto caution = ArtifactSafetyTier::caution;
};

TEST_F(NestedPlaces, WhatHoldsAFindingOfAHigherTierGoesOnlyTogetherWithIt) {
  const auto rules = withRules({{"inner", "outer/mid/inner", "caution", "mine"},
                                {"mid", "outer/mid", "safe", "mine"},
                                {"outer", "outer", "safe", "mine"}});
  const std::string inner = tree_.path("code/outer/mid/inner");
  EXPECT_THAT(
      selectedFrom(rules, {safe}),
      ElementsAre("outer/mid: holds " + inner + " of tier caution, which is not selected", HasSubstr("outer: holds ")));
}

TEST_F(NestedPlaces, WhatIsInASelectedOneGoesWithItAndIsNoItemOfItsOwn) {
  // Both tiers, of project folders and of system paths, are selected.
  const auto rules = withRules({{"inner", "outer/mid/inner", "caution", "mine"}, {"outer", "outer", "safe", "mine"}});
  EXPECT_THAT(selectedFrom(rules, {safe, caution}), ElementsAre("outer: -"));
  const auto plan = makeCleanupPlan(selectForCleanup(scanned(rules), rules.resolver, {.takesUnproven = true}),
                                    DisposalMethod::delete_, rules);
  EXPECT_EQ(plan.totalBytes(), 400) << "no byte twice";
  EXPECT_EQ(plan.highestTier(), caution);
  EXPECT_THAT(told(checkPlan(plan, rules, {}).candidates), ElementsAre("outer: -"));
  // A plan with the outer tier only does not cover the inner one.
  auto cut = plan;
  cut.items.at(0).tier = safe;
  EXPECT_THAT(told(checkPlan(cut, rules, {}).candidates), ElementsAre(HasSubstr("outer: holds ")));
  for (const auto& found : runScan(rules).findings) {
    if (found.finding.path != cut.items.at(0).path) cut.items.push_back(CleanupPlan::Item::make(found));
  }
  EXPECT_THAT(told(checkPlan(cut, rules, {}).candidates), ElementsAre("outer: -"));
}

TEST_F(NestedPlaces, WhatIsKeptHoldsBackWhatItLiesIn) {
  tree_.writeFile("code/outer/mid/inner/.tidra-keep");
  const auto rules = withRules({{"inner", "outer/mid/inner", "safe", "mine"}, {"outer", "outer", "caution", "mine"}});
  EXPECT_THAT(selectedFrom(rules, {safe, caution}),
              Contains(HasSubstr("outer: holds " + tree_.path("code/outer/mid/inner") + ", which is kept by")));
  EXPECT_THAT(selectedFrom(rules, {safe, caution}, {.force = true}), ElementsAre("outer: -"));
}

TEST_F(NestedPlaces, AFindingTakesTheTierOfAPlaceInItThatIsNone) {
  const auto tierOf = [&](const ScanRequest& asked, const std::string& place) {
    for (const auto& finding : findingsOf(asked)) {
      if (finding.path == tree_.path("code/" + place)) return std::string(rawValue(finding.safetyTier));
    }
    return std::string("none");
  };
  EXPECT_EQ(tierOf(withRules({{"outer", "outer", "safe", "mine"}, {"inner", "outer/mid", "caution", "mine"}}), "outer"),
            "caution");
  const auto other = withRules({{"outer", "outer", "safe", "mine"}, {"inner", "outer/mid", "warning", "other"}});
  EXPECT_EQ(tierOf(other, "outer"), "warning") << "of a category that is not looked at";
  const auto inProject = withRules({{"inner", "outer/p/node_modules", "caution", "mine"}});
  EXPECT_EQ(tierOf(inProject, "outer/p/node_modules"), "caution") << "a finding of a project";
}

TEST_F(CleanupSession, InterruptedRemovalsAreFoundAndFinished) {
  const std::string name = RemovalLeftover::name(7);
  for (const std::string folder : {"code/p/", "home/.cache/", "home/sdks/", "code/p/node_modules/"}) {
    tree_.writeFileOfSize(folder + name + "/f", 9);
    noteRemoval(tree_.path(folder + name));
  }
  tree_.writeFile("code/p/.tidra-removing-xyz/f");
  auto all = request();
  all.scanSystem = true;
  all.categories = {"mine"};
  all.systemReach = SystemReach::everywhere;
  const auto candidates = selectForCleanup(scanned(all), all.resolver, {});
  std::vector<std::string> leftovers;
  for (const auto& candidate : candidates) {
    if (candidate.item.label == "Interrupted removal") {
      leftovers.push_back(candidate.item.path.substr(tree_.root().size() + 1));
      EXPECT_EQ(candidate.item.bytes, 9);
      EXPECT_EQ(candidate.item.tier, ArtifactSafetyTier::safe);
    }
  }
  EXPECT_THAT(leftovers, UnorderedElementsAre("code/p/" + name, "home/.cache/" + name, "home/sdks/" + name));
  const auto outcome = runCleanup(candidates, setting(DisposalMethod::trash));
  EXPECT_THAT(outcome.disposal.failures, IsEmpty());
  for (const std::string& leftover : leftovers) EXPECT_FALSE(exists(leftover)) << leftover;
  EXPECT_FALSE(exists("home/.local/share/Trash/files/" + name));
  for (const std::string& leftover : leftovers) EXPECT_FALSE(exists(leftover + ".note")) << leftover;
  EXPECT_TRUE(exists("code/p/.tidra-removing-xyz/f"));
}

/// A name proves nothing: only the running user's own note about this very folder does.
TEST_F(CleanupSession, AFolderNamedLikeAnInterruptedRemovalIsNone) {
  const std::vector<std::string> folders{"code/p/", "home/.cache/", "home/sdks/"};
  std::vector<std::string> names;
  for (const std::string& folder : folders) {
    for (std::uint64_t kind = 1; kind <= 4; ++kind) {
      const std::string name = RemovalLeftover::name(kind);
      names.push_back(folder + name);
      tree_.writeFile(folder + name + "/precious");
      if (kind == 1) continue;  // from an earlier version, or a person
      noteRemoval(tree_.path(folder + name));
      if (kind == 2) {  // another folder in its place
        std::filesystem::rename(tree_.path(folder + name), tree_.path("elsewhere" + std::to_string(names.size())));
        tree_.writeFile(folder + name + "/precious");
      } else if (kind == 3) {  // truncated
        const std::string note = tree_.path(folder + name + ".note");
        const auto target = std::filesystem::read_symlink(note).string();
        std::filesystem::remove(note);
        std::filesystem::create_symlink(target.substr(0, target.size() - 9), note);
      } else if (::geteuid() == 0) {
        ASSERT_EQ(::lchown(tree_.path(folder + name + ".note").c_str(), 65534, 65534), 0);
      } else {
        std::filesystem::remove(tree_.path(folder + name + ".note"));
      }
    }
  }
  auto all = request();
  all.scanSystem = true;
  all.systemReach = SystemReach::everywhere;
  all.categories = {"mine"};
  const auto outcome = runScan(all);
  EXPECT_THAT(outcome.findings, IsEmpty());
  EXPECT_THAT(outcome.notes, Contains(AllOf(HasSubstr("12 folders are named like interrupted removals"),
                                            HasSubstr("code/p/.tidra-removing-"))));
  CleanupPlan plan{.createdAt = now, .host = "a-host", .method = DisposalMethod::delete_, .reason = {}, .items = {}};
  for (const std::string& name : names) {
    plan.items.push_back({.id = {}, .path = tree_.path(name), .label = {}, .category = "mine", .ruleID = {}});
  }
  const CleanupOptions anything{.force = true, .allowAnyPath = true};
  auto run = setting();
  run.options = anything;
  EXPECT_EQ(runCleanup(checkPlan(plan, all, anything).candidates, run).disposal.failures.size(), names.size());
  for (const std::string& name : names) EXPECT_TRUE(exists(name + "/precious")) << name;
}

TEST_F(CleanupSession, ProgressAddsUpAndCancellingLeavesTheRest) {
  for (const int i : {1, 2, 3}) tree_.writeFileOfSize("code/p" + std::to_string(i) + "/node_modules/f", 100U * i);
  const auto candidates = selected();
  auto run = setting();
  std::vector<std::string> steps;
  bool cancel = false;
  run.service.shouldCancel = [&] { return cancel; };
  run.onProgress = [&](const CleanupProgress& progress) {
    steps.push_back(std::to_string(progress.itemsDone) + "/" + std::to_string(progress.items) + " " +
                    std::to_string(progress.bytesDone) + "/" + std::to_string(progress.bytes));
  };
  run.dryRun = true;
  const auto before = tree_.snapshot();
  EXPECT_EQ(runCleanup(candidates, run).disposal.receipts.size(), 3U);
  EXPECT_EQ(tree_.snapshot(), before);
  EXPECT_THAT(steps, ElementsAre("0/3 0/600", "1/3 300/600", "2/3 500/600", "3/3 600/600"));
  run.dryRun = false;
  run.onProgress = [&](const CleanupProgress& progress) { cancel = progress.itemsDone == 1; };
  const auto outcome = runCleanup(candidates, run);
  EXPECT_TRUE(outcome.cancelled);
  EXPECT_FALSE(exists("code/p3/node_modules"));
  EXPECT_TRUE(exists("code/p1/node_modules/f"));
}

}  // namespace
}  // namespace tidra
