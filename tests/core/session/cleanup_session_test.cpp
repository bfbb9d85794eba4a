// From findings, or an edited plan, to what is removed and what stays.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <thread>

#include <fmt/format.h>

#include "core/model/removal_leftover.h"
#include "core/session/removal_guard.h"
#include "core/session/removal_progress.h"
#include "tests/core/session/cleanup_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/noted_removal.h"
#include "tests/support/other_process.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

TEST_F(CleanupSession, SelectsTheLargestFirstWithoutWhatAKeepFileProtects) {
  tree_.writeFileOfSize("code/a/node_modules/f", 10);
  tree_.writeFileOfSize("code/b/node_modules/f", 3000);
  tree_.writeFileOfSize("code/c/node_modules/f", 200);
  tree_.writeFile("code/c/node_modules/.tidra-keep");
  tree_.writeFileOfSize("code/d/build/f", 20);
  tree_.symlink("code/d/.tidra-keep", "nowhere");
  const auto candidates = selected();
  EXPECT_THAT(
      described(candidates),
      ElementsAre("b/node_modules: -", AllOf(HasSubstr("c/node_modules: is kept by"), Not(HasSubstr("--force"))),
                  HasSubstr("d/build: is kept by " + tree_.path("code/d/.tidra-keep")), "a/node_modules: -"));
  const auto plan = makeCleanupPlan(candidates, DisposalMethod::trash, request());
  EXPECT_EQ(plan.items.size(), 2U);
  EXPECT_EQ(plan.totalBytes(), 3010);
  EXPECT_EQ(plan.highestTier(), ArtifactSafetyTier::safe);
  EXPECT_EQ(CleanupPlan{}.highestTier(), ArtifactSafetyTier::safe);
  EXPECT_THAT(described(selected({.force = true})), Each(EndsWith(": -")));
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
  EXPECT_THAT(described(selectedFrom(linked)),
              ElementsAre(HasSubstr(kept(tree_.path("code/mono"))), HasSubstr(kept(tree_.path("elsewhere")))));
  // The home folder is an ordinary folder here.
  tree_.writeFile("home/.tidra-keep");
  tree_.writeFileOfSize("home/p/node_modules/f", 3);
  RemovalGuard guard(request().resolver, {});
  EXPECT_EQ(guard.reasonToKeep(tree_.path("home/p/node_modules"), tree_.path("home/p")),
            (Refusal{Refusal::Why::keepFile, "is kept by " + tree_.path("home/.tidra-keep")}));
  if (::geteuid() != 0) GTEST_SKIP() << "only root makes files of strangers";
  constexpr uid_t stranger = 65534;
  const std::string home = tree_.path("home");
  ASSERT_EQ(::chown((home + "/.tidra-keep").c_str(), stranger, stranger), 0);
  for (const mode_t mode : {0755, 01777}) {
    ASSERT_EQ(::chmod(home.c_str(), mode), 0);
    EXPECT_EQ(RemovalGuard(request().resolver, {}).reasonToKeep(home + "/p/node_modules", {}).has_value(),
              mode == 0755);
  }
}

TEST_F(CleanupSession, WhatTheUserMayNotRemoveIsNotSelected) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  for (const char* place : {"code/mine/node_modules/f", "code/roots/node_modules/f"}) tree_.writeFile(place);
  handOver(tree_);
  ASSERT_EQ(::chown(tree_.path("code/roots/node_modules").c_str(), 0, 0), 0);
  const WithoutPrivileges bound(tree_);
  for (const bool force : {false, true}) {
    EXPECT_THAT(described(selected({.force = force})),
                ElementsAre("mine/node_modules: -",
                            "roots/node_modules: belongs to root and may not be emptied by you; "
                            "run tidra as that user"));
  }
}

TEST_F(CleanupSession, TakesWithoutAskingOnlyWhatAToolIsKnownToHaveMade) {
  tree_.writeFileOfSize("code/a/node_modules/f", 10);
  tree_.writeFileOfSize("code/b/node_modules/f", 20);
  tree_.writeFile("code/b/package.json", R"({"dependencies": {"a": "1"}})");
  tree_.writeFile("code/b/node_modules/.package-lock.json");
  const auto outcome = runScan(request());
  RemovalGuard guard(request().resolver, {});
  EXPECT_THAT(described(selectForCleanup(outcome, guard, {})), ElementsAre("b/node_modules: -"));
  EXPECT_THAT(described(selected()), ElementsAre("b/node_modules: -", "a/node_modules: -"));
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
      described(candidates),
      ElementsAre("idle/node_modules: -",
                  AllOf(HasSubstr("locks/node_modules: is in use: "),
                        HasSubstr("has locked " + tree_.path("code/locks/node_modules/sub/f"))),
                  HasSubstr("has opened " + tree_.path("code/opens/node_modules/sub/f")),
                  HasSubstr("works in its repository, in " + tree_.path("code/team/a")), "team/c/node_modules: -",
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
  const auto refused = checkPlan(plan, excluding, {});
  EXPECT_THAT(
      described(refused.candidates),
      ElementsAre(HasSubstr("p/build: Path not found"), "p/node_modules: -",
                  HasSubstr("p/vendor: is of tier warning by now (Holds files tracked by git), but the plan says"),
                  HasSubstr("q/node_modules: is kept by"), HasSubstr("r/node_modules: is excluded"),
                  HasSubstr("p/src: matches no rule")));
  using enum Refusal::Why;
  const std::array<std::optional<Refusal::Why>, 6> whys{gone, std::nullopt, changed, keepFile, excluded, unmatched};
  for (std::size_t i = 0; i < whys.size(); ++i) {
    const auto& refusal = refused.candidates[i].refusal;
    ASSERT_EQ(refusal.has_value(), whys[i].has_value()) << i;
    if (!refusal) continue;
    EXPECT_EQ(refusal->why, whys[i]) << i;
    EXPECT_EQ(refusal->canBeForced(), whys[i] == keepFile) << i;
    EXPECT_EQ(refusal->canBeAllowed(), whys[i] == unmatched) << i;
  }
  const auto rechecked = checkPlan(plan, excluding, {.force = true, .allowAnyPath = true});
  const auto& allowed = rechecked.candidates;
  EXPECT_THAT(described(allowed),
              ElementsAre("p/build: -", "p/node_modules: -", HasSubstr("p/vendor: is of tier"), "q/node_modules: -",
                          HasSubstr("r/node_modules: is excluded"), "p/src: -"));
  ASSERT_TRUE(allowed[1].identity());
  std::filesystem::rename(tree_.path("code/p/node_modules"), tree_.path("code/p/before"));
  tree_.writeFile("code/p/node_modules/other");
  const auto outcome = runCleanup(allowed, setting());
  EXPECT_TRUE(exists("code/p/node_modules/other")) << "swapped since it was looked at";
  EXPECT_TRUE(exists("code/p/vendor/f"));
  EXPECT_TRUE(exists("code/q/node_modules/f")) << "kept, and the run is not forced";
  EXPECT_EQ(outcome.disposal.receipts.size(), 1U);
  EXPECT_EQ(outcome.disposal.failures.size(), 5U);
}

/// The group of "globalCaches" is named "caches".
TEST_F(CleanupSession, ACategoryMayBeNamedLikeTheGroupOfAnother) {
  tree_.writeFile("home/.cache/mine/f");
  auto asked = everywhere();
  asked.categories = {"caches"};
  for (auto& rule : asked.catalog.systemRules) rule.category = "caches";
  RemovalGuard guard(asked.resolver, asked.mounts);
  const auto plan = makeCleanupPlan(selectForCleanup(scanned(asked), guard, {}), DisposalMethod::trash, asked);
  ASSERT_EQ(plan.items.size(), 1U);
  EXPECT_EQ(plan.items[0].category, "caches");
  EXPECT_EQ(checkPlan(plan, asked, {}).candidates.at(0).refusal, std::nullopt);
}

/// A scan takes time; a replacement of a measured folder was never examined.
TEST_F(CleanupSession, WhatReplacesAFindingDuringTheScanStays) {
  const std::vector<std::string> places{"code/p/node_modules", "home/.cache/mine", "home/sdks/one", "home/sdks/file"};
  for (const auto& place : places) tree_.writeFile(place + (place.ends_with("file") ? "" : "/f"));
  auto all = everywhere();
  std::set<std::string> swapped;
  all.onProgress = [&](const ScanProgress& progress) {
    // Outside projects, findings are reported after all are measured.
    for (const auto& place : places) {
      if (progress.artifactsFound < (place.starts_with("code") ? 1U : 2U) || !swapped.insert(place).second) continue;
      std::filesystem::rename(tree_.path(place), tree_.path("home/before" + std::to_string(swapped.size())));
      tree_.writeFile(place + (place.ends_with("file") ? "" : "/precious"), "precious");
    }
  };
  const auto candidates = selectedFrom(all);
  const auto outcome = runCleanup(candidates, setting());
  EXPECT_EQ(outcome.disposal.failures.size(), places.size());
  for (const auto& place : places) EXPECT_TRUE(exists(place)) << place;
}

TEST_F(CleanupSession, ARepositoryThatAppearedSinceTheScanStays) {
  for (const char* project : {"known", "new", "other"})
    tree_.writeFile("code/" + std::string(project) + "/node_modules/left/f");
  tree_.writeFile("code/known/node_modules/left/.git/HEAD");
  const auto candidates = selected();
  tree_.writeFile("code/new/node_modules/left/.git/HEAD");
  tree_.writeFile("code/other/node_modules/left/.hg/store");
  for (const bool dryRun : {true, false}) {
    auto how = setting();
    how.dryRun = dryRun;
    const auto failures = runCleanup(candidates, how).disposal.failures;
    ASSERT_EQ(failures.size(), 2U);
    for (const auto& failure : failures)
      EXPECT_EQ(failure.message, "holds a repository since the scan; scan again") << failure.path;
  }
  EXPECT_FALSE(exists("code/known/node_modules"));
}

TEST_F(CleanupSession, WorkThatIsBegunInAKnownRepositoryStays) {
  const std::string origin = makeRepository("origin");
  for (const char* project : {"pushed", "changed", "remains"}) {
    const std::string modules = tree_.makeFolder("code/" + std::string(project) + "/node_modules");
    if (project != std::string("remains")) git(modules, {"clone", "-q", "file://" + origin, "left"});
  }
  tree_.writeFile("code/remains/node_modules/left/.git/hooks/README.sample");
  const auto candidates = selected();
  tree_.writeFile("code/changed/node_modules/left/new");
  git(tree_.path("code/remains/node_modules/left"), {"init", "-q"});
  tree_.writeFile("code/remains/node_modules/left/new");
  const auto failures = runCleanup(candidates, setting()).disposal.failures;
  ASSERT_EQ(failures.size(), 2U);
  for (const auto& failure : failures)
    EXPECT_EQ(failure.message,
              "is of tier warning by now (Holds work that is in no remote repository: left); scan again")
        << failure.path;
  EXPECT_FALSE(exists("code/pushed/node_modules"));
}

TEST_F(CleanupSession, InterruptedRemovalsAreFoundAndFinished) {
  const std::string name = RemovalLeftover::name(7);
  for (const std::string folder : {"code/p/", "home/.cache/", "home/sdks/", "code/p/node_modules/"}) {
    tree_.writeFileOfSize(folder + name + "/f", 9);
    noteRemoval(tree_.path(folder + name));
  }
  tree_.writeFile("code/p/.tidra-removing-xyz/f");
  auto all = everywhere();
  RemovalGuard guard(all.resolver, all.mounts);
  const auto candidates = selectForCleanup(scanned(all), guard, {});
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
  auto all = everywhere();
  const auto outcome = runScan(all);
  EXPECT_THAT(outcome.findings, IsEmpty());
  EXPECT_THAT(outcome.notes, Contains(AllOf(HasSubstr("12 folders are named like interrupted removals"),
                                            HasSubstr("code/p/.tidra-removing-"))));
  CleanupPlan plan{.createdAt = now, .host = "a-host", .method = DisposalMethod::delete_, .reason = {}, .items = {}};
  for (const std::string& name : names)
    plan.items.push_back({.id = {}, .path = tree_.path(name), .label = {}, .category = "mine", .ruleID = {}});
  const CleanupOptions anything{.force = true, .allowAnyPath = true};
  auto run = setting();
  run.options = anything;
  EXPECT_EQ(runCleanup(checkPlan(plan, all, anything).candidates, run).disposal.failures.size(), names.size());
  for (const std::string& name : names) EXPECT_TRUE(exists(name + "/precious")) << name;
}

TEST_F(CleanupSession, ProgressGoesOnInsideAnItem) {
  tree_.writeFileOfSize("code/p1/node_modules/f", 100);
  const auto candidates = selected();
  auto run = setting();
  run.method = DisposalMethod::delete_;
  std::vector<CleanupProgress> seen;
  run.onProgress = [&](const CleanupProgress& progress) { seen.push_back(progress); };
  RemovalProgress progress(candidates, run);
  const auto service = progress.observed();
  progress.begin(candidates[0]);
  *service.removedEntries += 7;
  std::this_thread::sleep_for(std::chrono::milliseconds{110});
  service.whileRemoving();
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[1].entriesRemoved, 7U);
  EXPECT_EQ(seen[1].currentPath, candidates[0].item.path);
  EXPECT_LE(seen[1].bytesDone, candidates[0].freeableBytes());
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
  const auto step = [&](std::size_t done) {
    std::int64_t freed = 0, all = 0;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
      all += candidates[i].freeableBytes();
      if (i < done) freed += candidates[i].freeableBytes();
    }
    return fmt::format("{}/3 {}/{}", done, freed, all);
  };
  EXPECT_THAT(steps, ElementsAre(step(0), step(1), step(2), step(3)));
  run.dryRun = false;
  run.onProgress = [&](const CleanupProgress& progress) { cancel = progress.itemsDone == 1; };
  const auto outcome = runCleanup(candidates, run);
  EXPECT_TRUE(outcome.cancelled);
  EXPECT_FALSE(exists("code/p3/node_modules"));
  EXPECT_TRUE(exists("code/p1/node_modules/f"));
}

}  // namespace
}  // namespace tidra
