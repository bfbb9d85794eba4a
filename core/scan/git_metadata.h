// Git metadata of a project. Repositories are untrusted: no command in their configuration may run.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/byte_units.h"
#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/platform/path_resolver.h"
#include "core/platform/process_runner.h"
#include "core/scan/place_set.h"

namespace tidra {

struct ProjectGitMetadata {
  bool isGitRepo = false;                   // ".git" exists and git was found
  std::optional<TimePoint> lastCommitDate;  // committer time of the newest commit on the checked-out branch
  std::string commitSubject;                // empty when unknown
  bool isClean = false;                     // no uncommitted changes
  std::string gitStatusLine;                // display text on the working tree
  std::uint64_t totalProjectSizeBytes = 0;
  std::optional<TimePoint> lastModified;  // mtime of the project folder, when read

  bool operator==(const ProjectGitMetadata&) const = default;
};

extern template struct RecordCodec<ProjectGitMetadata>;
template <>
struct JsonCodec<ProjectGitMetadata> : RecordCodec<ProjectGitMetadata> {};

class GitBounds;

/// Whether a place, with symbolic links resolved, is removed together with the repository in question.
using RemovalTest = std::function<bool(const std::string&)>;

class TidraGitMetadataReader {
 public:
  struct ParsedCommit {
    TimePoint date{};
    std::string subject;

    bool operator==(const ParsedCommit&) const = default;
  };

  static constexpr double commandTimeoutSeconds = 8;
  /// Memory limits against repositories that lead git to an endless file. A command that needs more than the usual
  /// limit runs again with the larger one, one at a time in this process. An index of a million files needs a third of
  /// that.
  static constexpr std::uint64_t usualDataBytes = 64_MiB;
  static constexpr std::uint64_t commandDataBytes = 512_MiB;

  /// `git` is the executable, absent if there is none. `resolver` supplies the environment, which is sanitised. Cheap
  /// to copy.
  TidraGitMetadataReader(std::optional<std::string> git, TidraPathResolver resolver,
                         std::function<bool()> shouldCancel = {});

  /// Searches the usual places of git, then PATH.
  static std::optional<std::string> findGit(const Environment& environment);

  /// Returns everything about a project folder; expands a leading "~". The size is at least `knownSize`, the bytes of
  /// its artefacts. Takes up to 20 seconds for the size and 8 per git command. Does not throw.
  ProjectGitMetadata read(const std::string& path, std::uint64_t knownSize) const;
  /// The same with a size of 0.
  ProjectGitMetadata readWithoutSize(const std::string& path) const;

  /// Whether the folder contains ".git" and git is available.
  bool isRepository(const std::string& path) const;

  /// Returns the committer time of the newest commit on the checked-out branch of a repository; nullopt without
  /// commits. Falls back to latestCommitDate() when git fails or is missing. Runs at most one git command.
  std::optional<TimePoint> lastCommitDate(const std::string& repository) const;

  /// Returns an upper bound of commit dates without git: the mtime of the folder that ".git" is or names, or of the
  /// reflog in it; every commit changes both. nullopt if there is no such folder.
  static std::optional<TimePoint> latestCommitDate(const std::string& repository);

  /// Returns the mtime of the project folder, following symbolic links; nullopt if unreadable.
  static std::optional<TimePoint> folderActivity(const std::string& path);

  /// Folders by their relation to git.
  struct Tracked {
    std::set<std::string> held;     // contain a tracked file or are a repository
    std::set<std::string> unknown;  // in a repository for which git failed
  };

  /// Finds the folders that contain tracked files, in the index or the checked-out commit of any repository above. Runs
  /// two git commands per repository, several in parallel, none for folders outside repositories. Stops after repeated
  /// timeouts. Does not throw.
  Tracked tracked(const std::vector<std::string>& folders) const;

  /// A repository, and the item that it is removed with, with symbolic links resolved.
  struct Inside {
    Inside(std::string inner, std::string outer = {}) : repository(std::move(inner)), item(std::move(outer)) {}

    std::string repository;
    std::string item;  // empty: the repository itself
  };

  /// Returns for each repository whether it has work that no remote has: uncommitted changes, untracked files, files
  /// whose changes git is configured to overlook, commits (also only in the reflog), stashes, a linked worktree outside
  /// its item, which also keeps what is staged there in its repository. nullopt when git fails, nullopt as well where
  /// others could make git run a program, false when ".git" is no repository. Remotes and main repositories in
  /// `removed` go along and do not count. Too many submodules, and repeated timeouts, concern the item that has them.
  /// Runs in parallel, changes nothing, does not throw.
  std::vector<std::optional<bool>> holdOwnWork(const std::vector<Inside>& repositories,
                                               const PlaceSet& removed = {}) const;

  /// Parses "seconds" + 0x1C + "subject" at the first 0x1C; nullopt for anything else.
  static std::optional<ParsedCommit> parseCommit(std::string_view output);

  /// Returns the status line for a number of changed files.
  static std::string statusLine(std::size_t changes);

 private:
  struct Remotes {
    std::vector<std::string> names = {};    // whose commits exist on servers
    std::vector<std::string> commits = {};  // of remotes on this machine, which have them
    bool areAll = false;                    // there is no further remote, and none lost a commit
  };

  /// Runs git in a repository or a bare git folder. Returns its result with any status; nullopt when it was not started
  /// or had to be ended.
  std::optional<ProcessRunner::Result> run(const std::string& path, std::vector<std::string> arguments,
                                           std::function<bool(std::string_view)> isEnough = {}) const;
  /// Returns git's standard output; nullopt on failure.
  std::optional<std::string> answer(const std::string& path, std::vector<std::string> arguments,
                                    std::function<bool(std::string_view)> isEnough = {}) const;
  Tracked trackedAmong(const std::string& repository, const std::vector<std::string>& folders) const;
  std::optional<std::string> committedAmong(const std::string& repository, const std::vector<std::string>& paths) const;
  TidraGitMetadataReader boundedBy(GitBounds& bounds) const;
  std::optional<bool> holdsOwnWork(const Inside& inside, const RemovalTest& isRemoved) const;
  std::optional<bool> holdsFurtherWork(const Inside& inside, const RemovalTest& isRemoved) const;
  std::optional<bool> servesWorktreeOutside(const std::string& gitFolder, const std::string& item) const;
  std::optional<bool> overlooksChanges(const std::string& repository) const;
  std::optional<bool> holdsUnpushedCommits(const std::string& repository, const RemovalTest& isRemoved) const;
  std::optional<Remotes> lastingRemotes(const std::string& repository, const RemovalTest& isRemoved) const;
  std::vector<std::string> commitsReachableIn(const std::string& gitFolder,
                                              const std::vector<std::string>& commits) const;
  bool addCommitsOf(const std::string& remote, const std::vector<std::string>& gitFolders,
                    const std::string& repository, std::vector<std::string>& commits) const;
  std::optional<ParsedCommit> lastCommit(const std::string& path) const;
  std::optional<std::size_t> countChanges(const std::string& path) const;
  std::optional<std::vector<std::string>> filterOverrides(const std::string& path) const;

  std::optional<std::string> git_;
  TidraPathResolver resolver_;
  Environment environment_;
  std::function<bool()> shouldCancel_;
  GitBounds* bounds_ = nullptr;  // while many are asked
};

}  // namespace tidra
