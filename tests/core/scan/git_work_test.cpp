// What git knows to be somebody's work: tracked files, and commits and changes that no remote has.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "core/platform/files.h"
#include "core/platform/host.h"
#include "core/scan/git_metadata.h"
#include "core/scan/git_subfolders.h"
#include "tests/core/scan/scan_fixture.h"
#include "tests/support/git_repositories.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

using Answer = std::optional<bool>;

class GitWork : public WithGitRepositories {
 protected:
  TidraGitMetadataReader reader() const { return {git_, {tree_.path("home"), environment_}}; }

  /// A clone of a repository with the tag "v1", made with these options.
  std::string cloned(const std::string& name, std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"clone", "-q"});
    options.insert(options.end(), {"file://" + tree_.path("origin"), tree_.path(name)});
    git(tree_.root(), options, std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
    return tree_.path(name);
  }

  Answer holdsWork(const std::string& path, const std::vector<std::string>& removed = {}) const {
    PlaceSet places;
    for (const std::string& place : removed) places.add(place);
    return reader().holdOwnWork({path}, places).front();
  }

  const std::vector<std::string> emptyCommit_{"commit", "-q", "--allow-empty", "-m", "mine"};
};

TEST_F(GitWork, IsNotHiddenByTagsReflogsOrMarks) {
  // "v1" is in no branch, as tags of releases often are.
  const std::string origin = makeRepository("origin");
  git(origin, {"checkout", "-q", "--detach"});
  git(origin, emptyCommit_);
  git(origin, {"tag", "v1"});
  git(origin, {"checkout", "-q", "main"});
  git(origin, emptyCommit_);

  using Commands = std::vector<std::vector<std::string>>;
  const std::vector<std::string> tag{"tag", "a/wip"};
  const std::string server = "https://example.org/x";
  const std::vector<std::pair<Commands, Answer>> rows{
      {{}, false},
      {{{"checkout", "-q", "v1"}}, false},
      {{emptyCommit_}, true},
      {{emptyCommit_, tag}, true},
      {{emptyCommit_, tag, {"pack-refs", "--all"}}, true},
      {{{"checkout", "-q", "v1"}, emptyCommit_, {"tag", "-f", "v1"}, {"config", "core.logAllRefUpdates", "no"}}, true},
      {{emptyCommit_, {"reset", "-q", "--hard", "HEAD~"}}, true},
      {{{"reset", "-q", "--hard", "HEAD~"}, {"pull", "-q"}}, false},
      {{{"update-index", "--assume-unchanged", "file"}}, true},
      {{{"update-index", "--skip-worktree", "file"}}, true},
      {{{"sparse-checkout", "set", "--no-cone", "/other"}}, false},
      {{{"commit", "-q", "--allow-empty", "-m", "On merging: Fast-forward"}, {"reset", "-q", "--hard", "HEAD~"}}, true},
      {{{"checkout", "-q", "--detach"},
        emptyCommit_,
        tag,
        {"checkout", "-q", "main"},
        {"reflog", "expire", "--expire=now", "--all"},
        {"pack-refs", "--all"}},
       true},
      {{{"remote", "set-url", "origin", "https://example.org/x"}}, false},
      {{{"remote", "set-url", "origin", tree_.path("origin/.git")}}, false},
      {{{"remote", "set-url", "origin", tree_.path("gone")}}, true},
      {{{"remote", "set-url", "origin", tree_.path("gone")}, {"config", "remote.*.url", "https://example.org/x"}},
       true},
      {{{"remote", "set-url", "origin", "."}}, true},
      {{{"remote", "set-url", "origin", server}, {"remote", "set-url", "--push", "origin", tree_.path("gone")}}, true},
      {{{"config", "url." + tree_.path("gone") + ".insteadOf", "my:x"}, {"remote", "set-url", "origin", "my:x"}}, true},
      {{{"config", "url." + server + ".insteadOf", "/my:"}, {"remote", "set-url", "origin", "/my:x"}}, false},
      {{{"remote", "set-url", "origin", makeRepository("anew", "Begin anew")}}, true},
      {{{"config", "--unset", "remote.origin.url"}}, true},
      {{{"config", "core.worktree", tree_.path("same")}, {"archive", "-o", "new", "HEAD"}}, true},
  };
  tree_.writeFile("same/file", "text");
  int number = 0;
  for (const auto& [commands, answer] : rows) {
    const std::string path = cloned("clone" + std::to_string(number++));
    for (const auto& command : commands) git(path, command);
    EXPECT_EQ(reader().holdOwnWork({path}).front(), answer) << testing::PrintToString(commands);
  }
  EXPECT_EQ(reader().holdOwnWork({cloned("shallow", {"--depth", "1", "--branch", "v1"})}).front(), false);
  const std::string local = makeRepository("local");
  for (const auto& command : Commands{tag, {"pack-refs", "--all"}}) git(local, command);
  std::filesystem::remove_all(local + "/.git/logs");
  EXPECT_EQ(reader().holdOwnWork({local}).front(), true);
}

TEST_F(GitWork, CommitsCountWhereTheirObjectsStay) {
  const std::string origin = makeRepository("origin");
  const std::string clone = cloned("clone");
  EXPECT_EQ(holdsWork(clone), false);
  EXPECT_EQ(holdsWork(clone, {origin}), true) << "its remote goes along";
  git(origin, {"worktree", "add", "-q", tree_.path("linked"), "-b", "linked"});
  EXPECT_EQ(holdsWork(tree_.path("linked")), false);
  EXPECT_EQ(holdsWork(tree_.path("linked"), {origin}), true) << "its main repository goes along";
  // As of a submodule "worktrees/x".
  tree_.makeFolder("clone/.git/modules/worktrees");
  const std::string module = cloned("module", {"--separate-git-dir", clone + "/.git/modules/worktrees/x"});
  EXPECT_EQ(holdsWork(clone), false);
  git(module, emptyCommit_);
  EXPECT_EQ(holdsWork(module), true);
  std::filesystem::remove_all(module);
  EXPECT_EQ(holdsWork(clone), true) << "a submodule without a work tree";

  const std::string bare = tree_.makeFolder("bare");
  git(bare, {"init", "-q", "--bare"});
  git(bare, {"fetch", "-q", origin, "main:refs/remotes/a/main"});
  git(bare, {"remote", "add", "a", origin});
  EXPECT_EQ(holdsWork(bare), false);
  git(bare, {"update-ref", "refs/heads/own", git(bare, {"commit-tree", "-m", "own", "a/main^{tree}"}).substr(0, 40)});
  EXPECT_EQ(holdsWork(bare), true);
}

TEST_F(GitWork, ARepositoryOfAWorktreeElsewhereStays) {
  makeRepository("origin");
  const std::string clone = cloned("item/clone");
  const auto holds = [&](const std::string& item) { return reader().holdOwnWork({{clone, tree_.path(item)}}).front(); };
  const auto addWorktree = [&](const char* name) {
    git(clone, {"worktree", "add", "-q", "--detach", tree_.path(name)});
  };
  addWorktree("item/linked");
  EXPECT_EQ(holds("item"), false) << "goes along";
  EXPECT_EQ(holds("item/clone"), true);
  addWorktree("away");
  EXPECT_EQ(holds("item"), true);
  std::filesystem::remove_all(tree_.path("away"));
  EXPECT_EQ(holds("item"), false);
  git(clone, {"worktree", "lock", tree_.path("away")});
  EXPECT_EQ(holds("item"), true) << "on a removable drive";
  git(clone, {"worktree", "unlock", tree_.path("away")});
  tree_.makeFolder("item/clone/.git/worktrees/away/modules");
  const std::string module = cloned("module", {"--separate-git-dir", clone + "/.git/worktrees/away/modules/x"});
  EXPECT_EQ(holds("item"), false);
  git(module, {"worktree", "add", "-q", tree_.path("of-module")});
  EXPECT_EQ(holds("item"), true) << "of a submodule";
  std::filesystem::remove_all(tree_.path("of-module"));
  git(module, emptyCommit_);
  EXPECT_EQ(holds("item"), true) << "a submodule of a worktree that is gone";
  cloned("work", {"--separate-git-dir", tree_.path("apart")});
  EXPECT_EQ(holdsWork(tree_.path("apart")), std::nullopt);
  tree_.symlink("item/clone/.git/modules", "worktrees/away/modules");
  std::filesystem::remove_all(tree_.path("item/clone/.git/worktrees"));
  EXPECT_EQ(holds("item"), std::nullopt) << "a link is not followed";
}

TEST_F(GitWork, WorkThatIsFoundCountsDespiteMissingAnswers) {
  makeRepository("origin");
  const auto spoilt = [&](const std::string& name, const char* obstacle) {
    const std::string clone = cloned(name);
    git(clone, emptyCommit_);
    tree_.writeFile(name + obstacle);
    return clone;
  };
  // A submodule whose cloning was interrupted, and one whose folder is no folder.
  EXPECT_EQ(holdsWork(spoilt("submodule", "/.git/modules/m/HEAD")), true);
  EXPECT_EQ(holdsWork(spoilt("modules", "/.git/modules")), true);
  EXPECT_EQ(holdsWork(spoilt("worktrees", "/.git/worktrees/w/gitdir/x")), true);
  const std::string work = cloned("work", {"--separate-git-dir", tree_.path("apart")});
  git(work, emptyCommit_);
  EXPECT_EQ(holdsWork(tree_.path("apart")), true) << "its work tree is elsewhere";
}

TEST_F(GitWork, ManyFoldersOrHangsInOneItemConcernOnlyThat) {
  makeRepository("origin");
  const std::string honest = cloned("honest");
  const std::string many = cloned("many/a");
  tree_.makeFolder("many/a/.git/modules");
  for (int i = 0; i < 1001; ++i) std::filesystem::create_directory(many + "/.git/modules/" + std::to_string(i));
  const std::string item = tree_.path("many");
  using Answers = std::vector<Answer>;
  EXPECT_EQ(reader().holdOwnWork({{many, item}, {honest, honest}}), (Answers{std::nullopt, false}));

  std::atomic<std::size_t> all{0};
  GitBounds hanging(all);
  GitBounds other(all);
  for (int i = 0; i < 2; ++i) hanging.noteHang();
  EXPECT_TRUE(hanging.isSpent());
  EXPECT_FALSE(other.isSpent());
}

TEST_F(GitWork, IsUnknownWhereARepositoryIsTornOrOthersReachItsConfiguration) {
  makeRepository("origin");
  constexpr std::filesystem::perms grouped{0775};
  constexpr std::filesystem::perms open{0777};
  using Rows = std::vector<std::tuple<std::string, std::filesystem::perms, Answer>>;
  const Answer ifShared = TidraHost::isOwnGroup(::getegid()) ? Answer(false) : std::nullopt;
  for (const auto& [place, mode, answer] : Rows{{"in/clone", std::filesystem::perms{0755}, false},
                                                {"in/clone", grouped, ifShared},
                                                {"in", open, std::nullopt},
                                                {"in/clone", open, std::nullopt},
                                                {"in/clone/.git", open, std::nullopt},
                                                {"in/clone/.git/config", open, std::nullopt},
                                                {"in/clone/.git/config.worktree", open, std::nullopt}}) {
    std::filesystem::remove_all(tree_.path("in"));
    tree_.makeFolder("in");
    const std::string path = cloned("in/clone");
    if (!pathExists(tree_.path(place))) tree_.writeFile(place);
    std::filesystem::permissions(tree_.path(place), mode);
    EXPECT_EQ(holdsWork(path), answer) << place;
  }
  const std::string ahead = cloned("in/ahead");
  git(ahead, emptyCommit_);
  const std::string head = git(ahead, {"rev-parse", "HEAD"});
  std::filesystem::permissions(ahead, open);
  EXPECT_EQ(holdsWork(ahead), true) << "commits show without reading the work tree";
  const std::string path = cloned("including");
  git(path, {"config", "include.path", "../more"});
  EXPECT_EQ(holdsWork(path), std::nullopt);
  const std::vector<const char*> references{"HEAD", "refs", "packed-refs", "logs"};
  for (const auto& [lost, answer] : std::vector<std::pair<std::vector<const char*>, Answer>>{
           {{"HEAD"}, std::nullopt}, {references, std::nullopt}, {{"objects/pack"}, false}}) {
    for (const char* part : lost) std::filesystem::remove_all(ahead + "/.git/" + part);
    std::filesystem::remove_all(ahead + (answer ? "/.git/objects/" + head.substr(0, 2) : "/none"));
    EXPECT_EQ(holdsWork(ahead), answer) << testing::PrintToString(lost);
  }
  // A list of paths would end at the colon.
  const std::string around = makeRepository("a:b");
  tree_.writeFile("a:b/.git/info/exclude", "inner");
  const std::string torn = makeRepository("a:b/inner");
  tree_.writeFile("a:b/inner/.git/HEAD");
  EXPECT_EQ(holdsWork(torn), std::nullopt);
}

TEST_F(GitWork, TrackedFilesSurviveALostIndexAndAreSeenFromOuterRepositories) {
  const auto answerOn = [&](const std::string& folder) {
    const auto tracked = reader().tracked({tree_.path(folder)});
    return std::pair(tracked.held.size(), tracked.unknown.size());
  };
  using Counts = std::pair<std::size_t, std::size_t>;
  makeEntries(tree_, {"r/sub/node_modules/x/f", "r/other/f"});
  const std::string path = makeRepository("r");
  EXPECT_EQ(answerOn("r/sub/node_modules"), Counts(1, 0));
  EXPECT_EQ(answerOn("r/other/dist"), Counts(0, 0));
  makeRepository("r/other");
  EXPECT_EQ(answerOn("r/other/dist"), Counts(0, 0));

  tree_.makeFolder("r/sub/.git");
  EXPECT_EQ(answerOn("r/sub/node_modules"), Counts(1, 0)) << "the outer one is sure";
  EXPECT_EQ(answerOn("r/sub/dist"), Counts(0, 1));
  git(tree_.path("r/sub"), {"init", "-q"});
  EXPECT_EQ(answerOn("r/sub/node_modules"), Counts(1, 0));
  EXPECT_EQ(answerOn("r/sub/dist"), Counts(0, 0));

  const std::string branch = path + "/.git/refs/heads/main";
  std::filesystem::rename(branch, path + "/lost");
  EXPECT_EQ(answerOn("r/sub/node_modules"), Counts(1, 0)) << "the index is left";
  EXPECT_EQ(answerOn("r/sub/dist"), Counts(0, 1));
  std::filesystem::rename(path + "/lost", branch);
  std::filesystem::resize_file(path + "/.git/index", 100);
  EXPECT_EQ(answerOn("r/sub/node_modules"), Counts(1, 0));
  std::filesystem::remove(path + "/.git/index");
  EXPECT_EQ(answerOn("r/sub/node_modules"), Counts(1, 0));
  std::filesystem::remove(branch);
  EXPECT_EQ(answerOn("r/sub/node_modules"), Counts(0, 1));
}

TEST_F(GitWork, MuchMemoryIsForOneCommandAtATime) {
#ifndef __linux__
  GTEST_SKIP() << "only Linux limits what others allocate";
#endif
  constexpr std::size_t count = 4;
  std::vector<TidraGitMetadataReader::Inside> repositories;
  for (std::size_t i = 0; i < count; ++i) {
    repositories.emplace_back(tree_.path("p" + std::to_string(i)));
    tree_.writeFile("p" + std::to_string(i) + "/.git/HEAD");
  }
  const std::string at = tree_.root();
  const std::string fake =
      tree_.writeProgram("fake-git",
                         "while [ $(ulimit -d) = unlimited ]; do :; done\n"
                         "[ $(ulimit -d) -gt 100000 ] || { echo 'fatal: Out of memory' >&2; exit 128; }\n"
                         "mkdir '" +
                             at + "/busy' || touch '" + at +
                             "/overlap'\n"
                             "sleep 0.1; rmdir '" +
                             at + "/busy'; touch \"" + at + "/$(basename \"$PWD\")-done\"");
  TidraGitMetadataReader(fake, {tree_.path("home"), environment_}).holdOwnWork(repositories);
  for (const auto& inside : repositories) EXPECT_TRUE(pathFacts(inside.repository + "-done"));
  EXPECT_FALSE(pathFacts(tree_.path("overlap")));
}

}  // namespace
}  // namespace tidra
