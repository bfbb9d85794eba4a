// Repositories made by the real git, for programs that link core/platform.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/platform/process_runner.h"
#include "core/scan/git_metadata.h"
#include "tests/support/temporary_tree.h"

namespace tidra {

/// Skips its tests without git. The home folder, "home" in the tree, has no configuration.
class WithGitRepositories : public testing::Test {
 protected:
  static constexpr TimePoint commitDate{std::chrono::seconds{1700000000}};

  void SetUp() override {
    environment_ = {{"HOME", tree_.makeFolder("home")}, {"PATH", processEnvironment()["PATH"]}};
    git_ = TidraGitMetadataReader::findGit(environment_);
    if (!git_) GTEST_SKIP() << "git is not installed";
  }

  /// Runs git as a person would, with the repository's configuration in effect. Commits are of this date.
  std::optional<ProcessRunner::Result> tryGit(const std::string& folder, std::vector<std::string> arguments,
                                              TimePoint date = commitDate) const {
    Environment environment = environment_;
    for (const std::string who : {"GIT_AUTHOR_", "GIT_COMMITTER_"}) {
      environment[who + "NAME"] = "A";
      environment[who + "EMAIL"] = "a@example.org";
      environment[who + "DATE"] = std::to_string(date.time_since_epoch().count()) + " +0500";
    }
    environment["GIT_CONFIG_NOSYSTEM"] = "1";
    arguments.insert(arguments.begin(), {"-c", "init.defaultBranch=main", "-c", "commit.gpgSign=false"});
    return ProcessRunner::run({.executablePath = *git_,
                               .arguments = arguments,
                               .currentDirectory = folder,
                               .environment = environment,
                               .timeoutSeconds = 60});
  }

  /// The output of a command that must succeed.
  std::string git(const std::string& folder, const std::vector<std::string>& arguments,
                  TimePoint date = commitDate) const {
    const auto result = tryGit(folder, arguments, date);
    EXPECT_TRUE(result && result->status == 0) << testing::PrintToString(arguments);
    return result ? result->stdout_ : "";
  }

  /// Commits "file" in a new repository; returns its absolute path.
  std::string makeRepository(const std::string& name, const std::string& subject = "Begin") const {
    tree_.writeFile(name + "/file", "text");
    const std::string path = tree_.path(name);
    git(path, {"init", "-q"});
    git(path, {"add", "."});
    git(path, {"commit", "-q", "--cleanup=verbatim", "-m", subject});
    return path;
  }

  const TemporaryTree tree_;
  Environment environment_;
  std::optional<std::string> git_;
};

}  // namespace tidra
