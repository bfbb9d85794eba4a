#include "core/scan/git_metadata.h"

#include <sys/resource.h>

#include <chrono>
#include <filesystem>

#include "core/base/json_fields.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "tests/core/scan/scan_fixture.h"
#include "tests/support/git_repositories.h"

namespace tidra {
namespace {

class GitMetadata : public WithGitRepositories {
 protected:
  TidraGitMetadataReader reader() const { return {git_, {tree_.path("home"), environment_}}; }

  TidraGitMetadataReader readerWithFake(const std::string& body, std::function<bool()> shouldCancel = {}) const {
    return {tree_.writeProgram("fake-git", body), {tree_.path("home"), environment_}, std::move(shouldCancel)};
  }
};

TEST_F(GitMetadata, ReadsCommitAndWorkingTree) {
  const std::string path = makeRepository("p", "One: a\ttab, a colon and \x1c");
  auto metadata = reader().read(path, 3);
  EXPECT_TRUE(metadata.isGitRepo);
  EXPECT_EQ(metadata.lastCommitDate, commitDate);
  EXPECT_EQ(metadata.commitSubject, "One: a\ttab, a colon and \x1c");
  EXPECT_TRUE(metadata.isClean);
  EXPECT_EQ(metadata.gitStatusLine, "Clean (no uncommitted changes)");
  EXPECT_GT(metadata.totalProjectSizeBytes, 4U) << "the repository's own files count too";
  EXPECT_EQ(reader().lastCommitDate(path), commitDate);

  tree_.writeFile("p/new\nline", "1");
  metadata = reader().read("~/../p", 1U << 30U);
  EXPECT_FALSE(metadata.isClean);
  EXPECT_EQ(metadata.gitStatusLine, "1 uncommitted change");
  EXPECT_EQ(metadata.totalProjectSizeBytes, 1U << 30U);

  tree_.writeFile("p/file", "changed");
  tree_.writeFile("p/third", "");
  EXPECT_EQ(reader().read(path, 0).gitStatusLine, "3 uncommitted changes");
}

TEST_F(GitMetadata, ARepositoryWithoutACommitHasNoDate) {
  tree_.makeFolder("p");
  git(tree_.path("p"), {"init", "-q"});
  tree_.setModified("p/.git", commitDate);
  const auto metadata = reader().read(tree_.path("p"), 0);
  EXPECT_TRUE(metadata.isGitRepo);
  EXPECT_EQ(metadata.lastCommitDate, std::nullopt);
  EXPECT_EQ(metadata.commitSubject, "");
  EXPECT_TRUE(metadata.isClean);
  EXPECT_EQ(reader().lastCommitDate(tree_.path("p")), std::nullopt);
}

TEST_F(GitMetadata, WhatIsNoRepositoryHasOnlySizeAndFolderDate) {
  makeEntries(tree_, {"p/f=12345", "home/file=1"});
  constexpr TimePoint modified{std::chrono::seconds{1600000000}};
  tree_.setModified("p", modified);
  ProjectGitMetadata expected;
  expected.totalProjectSizeBytes = 5;
  expected.lastModified = modified;
  EXPECT_EQ(reader().read(tree_.path("p"), 3), expected);
  EXPECT_EQ(reader().lastCommitDate(tree_.path("p")), std::nullopt);
  tree_.symlink("link", "p");
  EXPECT_EQ(TidraGitMetadataReader::folderActivity(tree_.path("link")), modified)
      << "of the folder, not of the link to it";
  makeEntries(tree_, {"$NOWHERE/f=1234"});
  EXPECT_EQ(reader().read(tree_.path("$NOWHERE"), 0).totalProjectSizeBytes, 4U);

  ProjectGitMetadata unknown;
  unknown.totalProjectSizeBytes = 77;
  for (const char* path : {"~/missing", "~/file", "$NOWHERE/x"}) EXPECT_EQ(reader().read(path, 77), unknown) << path;
  EXPECT_EQ(TidraGitMetadataReader::folderActivity(tree_.path("missing")), std::nullopt);

  // Without git no project is a repository.
  const std::string repository = makeRepository("r");
  EXPECT_FALSE(TidraGitMetadataReader(std::nullopt, {tree_.path("home"), {}}).read(repository, 0).isGitRepo);
}

/// A repository whose configuration makes git run a program.
struct Trap {
  std::string name;
  std::vector<std::pair<std::string, std::string>> settings;  // "EVIL" is replaced by the program
  std::string attributes = {};
  std::vector<std::string> sprungBy = {"status"};  // a command that triggers it; empty: none known
  bool needsAnObject = false;                      // that has to be fetched
};

const std::vector<Trap>& traps() {
  static const std::vector<Trap> all{
      {"fsmonitor", {{"core.fsmonitor", "EVIL"}}},
      {"hooks", {{"core.hooksPath", "hooks"}}},
      {"included", {{"include.path", "../included"}}},
      {"clean-filter", {{"filter.x.clean", "EVIL"}, {"filter.x.required", "true"}}, "* filter=x"},
      {"process-filter", {{"filter.x.process", "EVIL"}, {"filter.x.required", "true"}}, "* filter=x"},
      {"signature", {{"log.showSignature", "true"}, {"gpg.program", "EVIL"}}, "", {"log", "-1"}},
      {"submodule", {}},
      {"lazy-fetch",
       {{"core.repositoryFormatVersion", "1"},
        {"extensions.partialClone", "origin"},
        {"remote.origin.promisor", "true"},
        {"remote.origin.url", "."},
        {"remote.origin.uploadpack", "EVIL"}},
       "",
       {"status"},
       true},
      {"remote-helper",
       {{"core.repositoryFormatVersion", "1"},
        {"extensions.partialClone", "origin"},
        {"remote.origin.promisor", "true"},
        {"remote.origin.url", "ext::EVIL"},
        {"protocol.ext.allow", "always"}},
       "",
       {"status"},
       true},
      {"ssh", {{"core.sshCommand", "EVIL"}, {"remote.origin.url", "ssh://host/x"}}, "", {"fetch", "origin"}},
      {"diff", {{"diff.external", "EVIL"}}, "", {"diff"}},
      {"text-conversion", {{"diff.x.textconv", "EVIL"}}, "* diff=x", {"diff"}},
      {"alias", {{"alias.trap", "!EVIL"}, {"alias.status", "!EVIL"}, {"alias.log", "!EVIL"}}, "", {"trap"}},
      {"pager", {{"core.pager", "EVIL"}, {"pager.log", "EVIL"}, {"pager.status", "EVIL"}}, "", {}},
  };
  return all;
}

TEST_F(GitMetadata, RunsNothingThatARepositoryNames) {
  for (const Trap& trap : traps()) {
    SCOPED_TRACE(trap.name);
    const std::string canary = tree_.path(trap.name + "-canary");
    const std::string evil = tree_.writeProgram(trap.name + "-evil", "touch '" + canary + "'");
    const std::string path = makeRepository(trap.name);
    if (trap.name == "submodule") {
      const std::string inner = makeRepository(trap.name + "/inner");
      git(path, {"add", "inner"});
      git(path, {"commit", "-q", "-m", "Embed"});
      git(inner, {"config", "filter.inner.clean", evil});
      tree_.writeFile(trap.name + "/inner/.git/info/attributes", "* filter=inner\n");
      tree_.writeFile(trap.name + "/inner/file", "TEXT");
      tree_.setModified(trap.name + "/inner/file", commitDate);
    }
    if (trap.name == "signature") {
      const std::string signer = tree_.writeProgram(
          "signer", "cat >/dev/null; echo >&2; echo '[GNUPG:] SIG_CREATED ' >&2; echo -----BEGIN PGP SIGNATURE-----");
      git(path, {"-c", "gpg.program=" + signer, "commit", "-q", "--amend", "--no-edit", "-S"});
    }
    if (trap.name == "hooks")
      std::filesystem::create_symlink(evil, tree_.makeFolder("hooks/hooks") + "/post-index-change");
    tree_.writeFile(trap.name + "/included", "[core]\nfsmonitor = " + evil + "\n");
    tree_.writeFile(trap.name + "/.git/info/attributes", trap.attributes + "\n");
    const std::string tree = git(path, {"rev-parse", "HEAD^{tree}"});
    for (const auto& [key, value] : trap.settings) {
      const auto at = value.find("EVIL");
      git(path, {"config", key, at == std::string::npos ? value : value.substr(0, at) + evil});
    }
    if (trap.needsAnObject) std::filesystem::remove(path + "/.git/objects/" + tree.substr(0, 2) + "/" + tree.substr(2));
    // Equal length, so that git must read the content, through a filter if configured.
    tree_.writeFile(trap.name + "/file", trap.name == "hooks" ? "text" : "TEXT");
    tree_.setModified(trap.name + "/file", commitDate);

    const auto metadata = reader().read(path, 0);
    reader().lastCommitDate(path);
    EXPECT_FALSE(pathFacts(canary)) << "the repository had its program run";
    EXPECT_TRUE(metadata.isGitRepo);
    EXPECT_FALSE(metadata.gitStatusLine.empty());

    if (trap.sprungBy.empty()) continue;
    tree_.setModified(trap.name + "/file", commitDate + std::chrono::hours{1});
    tryGit(path, trap.sprungBy);
    EXPECT_TRUE(pathFacts(canary)) << "the trap is not set, so that its silence proves nothing";
  }
}

TEST_F(GitMetadata, AFilterThatCannotBeSwitchedOffLeavesTheStatusUnknown) {
  const std::string path = makeRepository("p");
  git(path, {"config", "filter.a=b.clean", "cat"});
  const auto metadata = reader().read(path, 0);
  EXPECT_FALSE(metadata.isClean);
  EXPECT_EQ(metadata.gitStatusLine, "Unable to read git status");
  EXPECT_EQ(metadata.lastCommitDate, commitDate);
}

TEST_F(GitMetadata, TheStatusIsNotAskedForWithoutKnowingTheFilters) {
  const std::string path = makeRepository("p");
  const std::string evil = tree_.writeProgram("evil", "touch '" + tree_.path("canary") + "'; cat");
  git(path, {"config", "filter.x.clean", evil});
  tree_.writeFile("p/.git/info/attributes", "* filter=x\n");
  tree_.writeFile("p/file", "TEXT");
  tree_.setModified("p/file", commitDate);
  // Output longer than the limit.
  const std::string config = *readFile(path + "/.git/config");
  std::string many = config + "[filter \"" + std::string(1000, 'y') + "\"]\n";
  for (int i = 0; i < 70'000; ++i) many += "clean = cat\n";
  tree_.writeFile("p/.git/config", many);
  EXPECT_EQ(reader().read(path, 0).gitStatusLine, "Unable to read git status");
  EXPECT_EQ(reader().holdOwnWork({path}), std::vector<std::optional<bool>>{true}) << "it has no remote";
  EXPECT_FALSE(pathFacts(tree_.path("canary")));

  tree_.writeFile("p/.git/config", config);
  for (const char* failure : {"exit 128", "exit 2", "kill -9 $$", "echo no; exit 1"}) {
    const auto fake = readerWithFake(std::string("case \"$*\" in *get-regexp*) ") + failure + ";; *) exec '" + *git_ +
                                     "' \"$@\";; esac");
    EXPECT_EQ(fake.read(path, 0).gitStatusLine, "Unable to read git status") << failure;
    EXPECT_FALSE(pathFacts(tree_.path("canary"))) << failure;
  }
  tryGit(path, {"status"});
  EXPECT_TRUE(pathFacts(tree_.path("canary"))) << "the trap is not set, so that its silence proves nothing";
}

TEST_F(GitMetadata, AConfigurationThatHidesUntrackedFilesDoesNotMakeItClean) {
  const std::string path = makeRepository("p");
  git(path, {"config", "status.showUntrackedFiles", "no"});
  tree_.writeFile("p/new", "1");
  EXPECT_EQ(reader().read(path, 0).gitStatusLine, "1 uncommitted change");
}

TEST_F(GitMetadata, ACallersEnvironmentDoesNotPointGitElsewhere) {
  const std::string path = makeRepository("p", "Mine");
  const std::string other = makeRepository("other", "Not mine");
  environment_["GIT_DIR"] = other + "/.git";
  environment_["GIT_CONFIG_COUNT"] = "1";
  environment_["GIT_CONFIG_KEY_0"] = "core.fsmonitor";
  environment_["GIT_CONFIG_VALUE_0"] = tree_.writeProgram("evil", "touch '" + tree_.path("canary") + "'");
  EXPECT_EQ(reader().read(path, 0).commitSubject, "Mine");
  EXPECT_FALSE(pathFacts(tree_.path("canary")));
}

TEST_F(GitMetadata, AGitThatFailsOrTalksNonsenseGivesTheFallbackTexts) {
  makeEntries(tree_, {"p/.git/", "p/f"});
  for (const char* body : {"exit 1", "echo 12; exit 128", "kill -9 $$", "echo; echo garbage", "printf 'x\\034y'",
                           "printf '\\377\\000\\034'", "printf '99999999999999999999\\034s'"}) {
    const auto metadata = readerWithFake(body).read(tree_.path("p"), 9);
    EXPECT_TRUE(metadata.isGitRepo) << body;
    EXPECT_EQ(metadata.lastCommitDate, std::nullopt) << body;
    EXPECT_EQ(metadata.commitSubject, "") << body;
    EXPECT_EQ(metadata.totalProjectSizeBytes, 9U) << body;
    EXPECT_FALSE(metadata.isClean) << body;
    // A commit may be newer than every file of the project, but not than .git, which each commit changes.
    tree_.setModified("p/.git", commitDate);
    EXPECT_EQ(readerWithFake(body).lastCommitDate(tree_.path("p")), commitDate) << body;
  }
  makeEntries(tree_, {"w/sub/f", "gone/f"});
  tree_.writeFile("w/sub/.git", "gitdir: ../../p/.git\n");
  tree_.writeFile("gone/.git", "gitdir: ../nowhere\n");
  EXPECT_EQ(reader().lastCommitDate(tree_.path("w/sub")), commitDate);
  EXPECT_EQ(reader().lastCommitDate(tree_.path("gone")), std::nullopt);
  EXPECT_EQ(readerWithFake("exit 1").read(tree_.path("p"), 0).gitStatusLine, "Unable to read git status");
  const TidraGitMetadataReader withoutGit(std::nullopt, {tree_.path("home"), environment_});
  EXPECT_EQ(withoutGit.lastCommitDate(tree_.path("p")), commitDate);
  const std::string lost = makeRepository("lost");
  std::filesystem::remove(lost + "/.git/refs/heads/main");
  constexpr auto later = commitDate + std::chrono::hours{24};
  tree_.setModified("lost/.git/logs/HEAD", later);
  tree_.setModified("lost/.git", commitDate);
  EXPECT_EQ(reader().lastCommitDate(lost), later);
}

TEST_F(GitMetadata, AFileWithoutAnEndTakesLittleMemory) {
#ifndef __linux__
  GTEST_SKIP() << "only Linux limits what others allocate";
#endif
  const std::string path = makeRepository("p");
  tree_.makeFolder("p/.git/objects/info");
  tree_.symlink("p/.git/objects/info/alternates", "/dev/zero");
  EXPECT_EQ(reader().holdOwnWork({path}), std::vector<std::optional<bool>>{std::nullopt});
  rusage usage{};
  ASSERT_EQ(::getrusage(RUSAGE_CHILDREN, &usage), 0);
  constexpr std::uint64_t kibibyte = 1024;
  EXPECT_LE(static_cast<std::uint64_t>(usage.ru_maxrss) * kibibyte, TidraGitMetadataReader::commandDataBytes * 3 / 2);
}

TEST_F(GitMetadata, AHungGitEndsWhenTheCallerGivesUp) {
  makeEntries(tree_, {"p/.git/"});
  int asked = 0;
  const auto reader = readerWithFake("touch '" + tree_.path("started") + "'\nsleep 1000", [&] {
    ++asked;
    return static_cast<bool>(pathFacts(tree_.path("started")));
  });
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(reader.read(tree_.path("p"), 0).gitStatusLine, "Unable to read git status");
  EXPECT_GT(asked, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - began,
            std::chrono::duration<double>(TidraGitMetadataReader::commandTimeoutSeconds));
}

constexpr TimePoint date{std::chrono::seconds{1700000000}};

TEST(GitMetadataText, CommitsAndStatusLines) {
  using Parsed = TidraGitMetadataReader::ParsedCommit;
  const auto parse = [](std::string_view text) { return TidraGitMetadataReader::parseCommit(text); };
  EXPECT_EQ(parse("1700000000\x1cSubject"), (Parsed{date, "Subject"}));
  EXPECT_EQ(parse("1700000000\x1c"), (Parsed{date, ""}));
  EXPECT_EQ(parse("1700000000\034a\034b: c\td"), (Parsed{date, "a\034b: c\td"}));
  EXPECT_EQ(parse("-5\x1cold"), (Parsed{TimePoint{std::chrono::seconds{-5}}, "old"}));
  for (const char* text :
       {"", "\x1cx", "1700000000", "1700000000 Subject", "17x\x1cs", " 17\x1cs", "17 \x1cs", "1.5\x1cs"})
    EXPECT_EQ(parse(text), std::nullopt) << text;
  EXPECT_EQ(TidraGitMetadataReader::statusLine(0), "Clean (no uncommitted changes)");
  EXPECT_EQ(TidraGitMetadataReader::statusLine(1), "1 uncommitted change");
  EXPECT_EQ(TidraGitMetadataReader::statusLine(1234), "1234 uncommitted changes");
}

TEST(GitMetadataText, JsonComesBack) {
  const ProjectGitMetadata full{true, date, "a \"subject\"", true, "line", 1ULL << 63U, date};
  for (const auto& metadata : {full, ProjectGitMetadata{}})
    EXPECT_EQ(JsonCodec<ProjectGitMetadata>::decode(toJson(metadata), "m"), metadata);
  const auto json = toJson(full);
  for (const auto& key : {"isGitRepo", "lastCommitDate", "commitSubject", "isClean", "gitStatusLine",
                          "totalProjectSizeBytes", "lastModified"})
    EXPECT_TRUE(json.contains(key)) << key;
  EXPECT_THROW(JsonCodec<ProjectGitMetadata>::decode(nlohmann::json::object(), "m"), DecodingError);
}

}  // namespace
}  // namespace tidra
