// The last work on a project, regardless of dates changed by building, installing and unpacking.
#include <filesystem>
#include <memory>

#include "core/platform/files.h"
#include "core/session/project_activity_reader.h"
#include "tests/support/git_repositories.h"

namespace tidra {
namespace {

using std::chrono::days;

constexpr TimePoint today{std::chrono::seconds{1790000000}};
constexpr TimePoint daysAgo(int count) { return today - days{count}; }

class ProjectActivityDates : public WithGitRepositories {
 protected:
  /// Writes a file with this date into folders that were changed just now.
  void writeAt(const std::string& path, TimePoint date) const {
    tree_.writeFile(path, "x");
    tree_.setModified(path, date);
  }

  std::shared_ptr<const SourceDateReader> sources(SourceDateReader::Limits limits = {}) const {
    FilesystemArtifactScanner::Request walk;
    walk.root = tree_.root();
    walk.catalog = &catalog_;
    walk.resolver = {tree_.path("home"), environment_};
    walk.exclusionFilter = TidraScanExclusionFilter{{tree_.path("p/excluded")}, {"*.tmp"}};
    walk.mounts = {{"/", "ext4", "8:1"}, {tree_.path("p/mounted"), "ext4", "8:2"}};
    return std::make_shared<const SourceDateReader>(walk, today, limits);
  }

  std::map<std::string, TimePoint> activityOf(const std::vector<std::string>& projects) const {
    ProjectActivityReader reader(git_, {tree_.path("home"), environment_});
    const auto dates = sources();
    for (const std::string& project : projects) reader.add(project, tree_.path(project), dates);
    while (!reader.waitFor(std::chrono::milliseconds{100})) {
    }
    return reader.answers();
  }

  RuleCatalog catalog_ = RuleCatalog::load(R"({"projectRules": [{"id": "made", "folderName": "made"},
      {"id": "trees", "folderName": "worktrees", "parentName": ".agent"}]})");
};

TEST_F(ProjectActivityDates, IsTheNewestCredibleDateOfAProjectsOwnFiles) {
  const std::vector<std::pair<std::string, TimePoint>> old{{"README", daysAgo(900)}};
  struct Case {
    const char* name;
    std::vector<std::pair<std::string, TimePoint>> added;
    std::optional<TimePoint> expected;
  };
  const auto npmPack = TimePoint{std::chrono::seconds{499162500}};
  for (const Case& tried : std::vector<Case>{
           {"deep source", {{"src/a/b/c", daysAgo(3)}, {"src/z", daysAgo(70)}}, daysAgo(3)},
           {"folder of that name elsewhere", {{"worktrees/a", daysAgo(3)}}, daysAgo(3)},
           {"made by building",
            {{"made/f", today}, {"sub/made/deep/f", today}, {"node_modules/f", today}, {".agent/worktrees/f", today}},
            daysAgo(900)},
           {"version control", {{".hg/f", today}, {"sub/.svn/f", today}, {"module/.git", today}}, daysAgo(900)},
           {"kept out",
            {{"excluded/f", today}, {"sub/f.tmp", today}, {"mounted/f", today}, {"X.app/f", today}},
            daysAgo(900)},
           {"looked at", {{".DS_Store", today}}, daysAgo(900)},
           {"from the future", {{"f", today + days{2}}, {"g", today + days{20000}}}, daysAgo(900)},
           {"a clock that is ahead", {{"f", today + std::chrono::hours{14}}}, today},
           {"packed", {{"f", npmPack}, {"g", TimePoint{}}}, daysAgo(900)},
       }) {
    for (const auto* files : {&old, &tried.added}) {
      for (const auto& [file, date] : *files) writeAt("p/" + file, date);
    }
    tree_.symlink("p/link", "/dev/null");
    EXPECT_EQ(activityOf({"p"})["p"], tried.expected) << tried.name;
    std::filesystem::remove_all(tree_.path("p"));
  }
}

TEST_F(ProjectActivityDates, AFoldersOwnDateCountsWhereNoFileSaysAnything) {
  writeAt("empty/made/f", today);
  writeAt("packed/f", TimePoint{});
  tree_.setModified("empty", daysAgo(40));
  tree_.setModified("packed", daysAgo(50));
  tree_.makeFolder("future");
  tree_.setModified("future", today + days{9999});
  EXPECT_EQ(activityOf({"empty", "packed", "future", "missing"}),
            (std::map<std::string, TimePoint>{{"empty", daysAgo(40)}, {"packed", daysAgo(50)}}));
}

TEST_F(ProjectActivityDates, IsTheLastCommitOfTheRepositoryAroundItUnlessFilesAreNewer) {
  makeRepository("mono");
  writeAt("mono/file", daysAgo(3000));
  for (const char* package : {"mono/packages/a/f", "mono/packages/b/f"}) writeAt(package, daysAgo(3000));
  writeAt("mono/packages/changed/f", daysAgo(5));
  makeRepository("home");
  for (const char* file : {"home/file", "home/project/f"}) writeAt(file, daysAgo(3000));
  auto dates =
      activityOf({"mono", "mono/packages/a", "mono/packages/b", "mono/packages/changed", "home", "home/project"});
  EXPECT_EQ(dates["mono"], daysAgo(5));
  EXPECT_EQ(dates["mono/packages/a"], commitDate);
  EXPECT_EQ(dates["mono/packages/b"], commitDate);
  EXPECT_EQ(dates["mono/packages/changed"], daysAgo(5));
  EXPECT_EQ(dates["home"], commitDate);
  EXPECT_EQ(dates["home/project"], daysAgo(3000)) << "settings under version control are not the project";
}

TEST_F(ProjectActivityDates, AsksEachRepositoryOnceAndBelievesNoCommitFromTheFuture) {
  git_ = tree_.writeProgram("fake-git", "echo asked >>'" + tree_.path("log") + "'\necho 4070908800");
  tree_.makeFolder("mono/.git");
  for (const char* file : {"mono/a/f", "mono/b/f", "mono/c/f"}) writeAt(file, daysAgo(10));
  for (const auto& [project, date] : activityOf({"mono/a", "mono/b", "mono/c"})) EXPECT_EQ(date, daysAgo(10));
  EXPECT_EQ(*readFile(tree_.path("log")), "asked\n");
}

TEST_F(ProjectActivityDates, ReadsNoFurtherThanItsLimitsTheTopFirst) {
  for (int i = 0; i < 50; ++i) writeAt("p/a/" + std::to_string(i), daysAgo(100));
  writeAt("p/z", daysAgo(90));
  writeAt("p/a/deep/er/f", daysAgo(80));
  const auto newest = [&](SourceDateReader::Limits limits) {
    return sources(limits)->newest(tree_.path("p"), [] { return false; });
  };
  EXPECT_EQ(newest({}), daysAgo(80));
  EXPECT_EQ(newest({.depth = 2}), daysAgo(90));
  EXPECT_EQ(newest({.entries = 40}), daysAgo(90));
  for (const char* folder : {"p/a/quiet", "p/a/busy"}) {
    for (int i = 0; i < 9; ++i) writeAt(std::string(folder) + "/" + std::to_string(i), daysAgo(70));
  }
  writeAt("p/a/busy/in/f", daysAgo(20));
  for (const char* folder : {"p/a/deep", "p/a/quiet"}) tree_.setModified(folder, daysAgo(60));
  for (const char* folder : {"p/a/busy", "p/a/busy/in"}) tree_.setModified(folder, daysAgo(20));
  EXPECT_EQ(newest({.entries = 70}), daysAgo(20)) << "folders that were changed last come first";
  EXPECT_EQ(newest({.fresh = days{95}}), daysAgo(90)) << "what is fresh ends the search";
  EXPECT_EQ(sources()->newest(tree_.path("p"), [] { return true; }), std::nullopt);
}

}  // namespace
}  // namespace tidra
