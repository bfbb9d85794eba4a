// When projects were last worked on, read in the background while a walk goes on.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <queue>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "core/base/time_point.h"
#include "core/scan/git_metadata.h"
#include "core/scan/repository_finder.h"
#include "core/scan/source_dates.h"

namespace tidra {

/// A project was last worked on at the newest of the last commit of the repository that it lies in and its own files'
/// dates; its folder's own date counts only where both say nothing. The home folder's repository, or one around it,
/// says nothing about the projects inside.
///
/// Each repository is asked once and each project read once, several at a time. A repository on which git hangs holds
/// up only its own projects, for git's time limit; when it hangs again and again, the others are no longer asked. Where
/// git gives no answer, the date of the repository's ".git" stands for that of the last commit.
/// add() is for one thread.
class ProjectActivityReader {
 public:
  ProjectActivityReader(std::optional<std::string> git, TidraPathResolver resolver);
  /// Ends what still runs.
  ~ProjectActivityReader();

  /// Asks for a project, whose answer is filed under this name; again for the same name is free. `folder` is its path
  /// without links, `sources` reads what lies below the root that it was found from.
  void add(const std::string& project, const std::string& folder,
           const std::shared_ptr<const SourceDateReader>& sources);

  /// Gives up what is not answered yet. Prompt; does not wait.
  void cancel() { cancelled_ = true; }

  /// Waits at most this long for the answers; true when all are there.
  bool waitFor(std::chrono::milliseconds most);

  /// The answers so far. A project that could not be read has none.
  std::map<std::string, TimePoint> answers();

 private:
  struct Project {
    std::string name;
    std::string folder;
    std::shared_ptr<const SourceDateReader> sources;
  };
  /// Projects that wait for the date of the last commit, which they share.
  struct Repository {
    bool isAsked = false;
    std::optional<TimePoint> lastCommit;
    std::vector<Project> waiting;
  };

  std::string repositoryOf(const std::string& folder);
  void enqueue(std::function<void()> task);
  void work();
  /// Does the first that waits, without the lock meanwhile.
  void runNext(std::unique_lock<std::mutex>& lock);
  void askRepository(const std::string& repository);
  void readProject(const Project& project, std::optional<TimePoint> lastCommit);
  std::optional<TimePoint> askGit(const std::string& repository);

  std::atomic<bool> cancelled_{false};
  std::atomic<std::size_t> hangs_{0};
  const std::string home_;  // without links
  TidraGitMetadataReader reader_;
  RepositoryFinder repositoryFinder_;
  std::set<std::string> seen_;

  std::mutex mutex_;
  std::condition_variable waitingChanged_;
  std::condition_variable answered_;
  std::queue<std::function<void()>> waiting_;
  std::map<std::string, Repository> repositories_;
  std::map<std::string, TimePoint> answers_;
  std::size_t running_ = 0;
  bool closed_ = false;
  std::vector<std::jthread> threads_;
};

}  // namespace tidra
