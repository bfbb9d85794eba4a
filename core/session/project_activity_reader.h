// Reads the last activity of projects in the background during a walk.
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
#include <vector>

#include "core/base/joining_thread.h"
#include "core/base/time_point.h"
#include "core/model/found_artifact.h"
#include "core/scan/git_metadata.h"
#include "core/scan/repository_finder.h"
#include "core/scan/source_dates.h"

namespace tidra {

/// The last activity of a project is the newest of its repository's last commit and its own files' dates, else its
/// folder's date. The repository of the home folder, or one around it, does not count.
///
/// Queries each repository once and reads each project once, in parallel. A hanging repository delays only its own
/// projects, by git's timeout; after repeated timeouts the remaining repositories are not queried. Without an answer of
/// git the date of ".git" substitutes for the last commit. add() and addAgain() are not thread-safe.
class ProjectActivityReader {
 public:
  ProjectActivityReader(std::optional<std::string> git, TidraPathResolver resolver);
  /// Cancels and joins.
  ~ProjectActivityReader();

  /// Queues a project; its answer is stored under `project`. Repeated calls do nothing. `folder` is its path with
  /// symbolic links resolved, `sources` the reader for its root.
  void add(const std::string& project, const std::string& folder,
           const std::shared_ptr<const SourceDateReader>& sources);

  /// Queues added projects again, to read many more of their files; a newer date replaces the answer.
  void addAgain(const std::set<std::string>& projects);

  /// Drops unanswered queries. Returns immediately.
  void cancel() { cancelled_ = true; }

  /// Waits for the answers; returns whether all are available.
  [[nodiscard]] bool waitFor(std::chrono::milliseconds most);

  /// Returns the answers so far. Unreadable projects have none.
  std::map<std::string, TimePoint> answers();

  /// Sets the dates of the findings of projects that have an answer.
  void date(std::vector<FoundArtifact>& findings);

 private:
  struct Project {
    std::string name;
    std::string folder;
    std::shared_ptr<const SourceDateReader> sources;
  };
  /// Projects that wait for the last commit of their common repository.
  struct Repository {
    bool isAsked = false;
    std::optional<TimePoint> lastCommit;
    std::vector<Project> waiting;
  };

  std::string repositoryOf(const std::string& folder);
  using Lock = std::lock_guard<std::mutex>;
  void enqueue(const Lock& held, std::function<void()> task);
  void work();
  /// Runs the first waiting task; releases the mutex meanwhile.
  void runNext(std::unique_lock<std::mutex>& lock);
  void askRepository(const std::string& repository);
  void readProject(const Project& project, std::optional<TimePoint> lastCommit);
  void readMore(const Project& project);
  std::optional<TimePoint> askGit(const std::string& repository);

  std::atomic<bool> cancelled_{false};
  std::atomic<std::size_t> hangs_{0};
  const std::string home_;  // symbolic links resolved
  TidraGitMetadataReader reader_;
  RepositoryFinder repositoryFinder_;
  std::map<std::string, Project> projects_;  // by name

  std::mutex mutex_;  // guards what follows
  std::condition_variable waitingChanged_;
  std::condition_variable answered_;
  std::queue<std::function<void()>> waiting_;
  std::map<std::string, Repository> repositories_;
  std::map<std::string, TimePoint> answers_;
  std::size_t running_ = 0;
  bool closed_ = false;
  std::vector<JoiningThread> threads_;
};

}  // namespace tidra
