// What git says about a project. A repository is foreign input: none of the commands that its configuration names may
// run.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/platform/path_resolver.h"
#include "core/platform/process_runner.h"

namespace tidra {

struct ProjectGitMetadata {
  bool isGitRepo = false;                   // the folder holds ".git" and git was found
  std::optional<TimePoint> lastCommitDate;  // committer time of the newest commit on the checked-out branch
  std::string commitSubject;                // empty when unknown
  bool isClean = false;                     // no uncommitted change
  std::string gitStatusLine;                // about the working tree, for people
  std::uint64_t totalProjectSizeBytes = 0;
  std::optional<TimePoint> lastModified;  // of the project folder, when read

  bool operator==(const ProjectGitMetadata&) const = default;
};

template <>
struct JsonCodec<ProjectGitMetadata> {
  static nlohmann::json encode(const ProjectGitMetadata& metadata);
  static ProjectGitMetadata decode(const nlohmann::json& value, const std::string& where);
};

class TidraGitMetadataReader {
 public:
  struct ParsedCommit {
    TimePoint date{};
    std::string subject;

    bool operator==(const ParsedCommit&) const = default;
  };

  static constexpr double commandTimeoutSeconds = 8;
  /// A repository may lead git to a file without an end. An index of a million files takes a third of this.
  static constexpr std::uint64_t commandDataBytes = std::uint64_t{512} << 20U;

  /// `git` is the executable, absent when there is none; `environment` is what git runs with, made safe. Cheap to copy.
  TidraGitMetadataReader(std::optional<std::string> git, TidraPathResolver resolver,
                         std::function<bool()> shouldCancel = {});

  /// The usual places of git, then the search path.
  static std::optional<std::string> findGit(const Environment& environment);

  /// Everything about a project folder, a leading "~" expanded. Never shows a project smaller than `knownSize`, the
  /// bytes of its artefacts. Takes up to 20 seconds for the size and 8 for each git command. Never throws.
  ProjectGitMetadata read(const std::string& path, std::uint64_t knownSize) const;

  /// True when the folder holds ".git" and there is a git to ask.
  bool isRepository(const std::string& path) const;

  /// The committer time of the newest commit on the checked-out branch of a repository, which holds ".git"; none when
  /// there is none. When git gives no answer, latestCommitDate(). Runs one git command at most.
  std::optional<TimePoint> lastCommitDate(const std::string& repository) const;

  /// A date that no commit made here is later than, learnt without git: the modification of the folder that ".git" is
  /// or names, which every commit changes, as other work with git does. None when there is no such folder.
  static std::optional<TimePoint> latestCommitDate(const std::string& repository);

  /// The modification of the project's folder, links followed; none when it cannot be read.
  static std::optional<TimePoint> folderActivity(const std::string& path);

  /// What git knows of folders.
  struct Tracked {
    std::set<std::string> held;     // hold a file that git tracks, or are a repository themselves
    std::set<std::string> unknown;  // lie in a repository that git could not be asked about
  };

  /// Which of these folders hold tracked files. One git command for each repository, several at a time, and none for a
  /// folder outside any. Stops asking when git hangs again and again. Never throws.
  Tracked tracked(const std::vector<std::string>& folders) const;

  /// For each of these repositories whether it holds work that no remote brings back: uncommitted changes, untracked
  /// files, commits or stashes of its own. None where git gives no answer, false where ".git" is no repository. Several
  /// at a time. Changes nothing and never throws.
  std::vector<std::optional<bool>> holdOwnWork(const std::vector<std::string>& repositories) const;

  /// "seconds" + 0x1C + "subject", cut at the first 0x1C; none for anything else.
  static std::optional<ParsedCommit> parseCommit(std::string_view output);

  /// The line for a number of changed files.
  static std::string statusLine(std::size_t changes);

 private:
  /// What git answered, whatever its status; none when it was not started or had to be ended.
  std::optional<ProcessRunner::Result> run(const std::string& path, std::vector<std::string> arguments,
                                           std::function<bool(std::string_view)> isEnough = {}) const;
  /// What git wrote; none when it failed.
  std::optional<std::string> answer(const std::string& path, std::vector<std::string> arguments,
                                    std::function<bool(std::string_view)> isEnough = {}) const;
  std::optional<std::vector<std::string>> trackedAmong(const std::string& repository,
                                                       const std::vector<std::string>& folders) const;
  std::optional<bool> holdsOwnWork(const std::string& repository) const;
  std::optional<ParsedCommit> lastCommit(const std::string& path) const;
  std::optional<std::size_t> countChanges(const std::string& path) const;
  std::optional<std::vector<std::string>> filterOverrides(const std::string& path) const;

  std::optional<std::string> git_;
  TidraPathResolver resolver_;
  Environment environment_;
  std::function<bool()> shouldCancel_;
};

}  // namespace tidra
