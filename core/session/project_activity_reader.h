// When projects were last worked on, asked of git in the background while a walk goes on.
#pragma once

#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <queue>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "core/base/time_point.h"
#include "core/scan/git_metadata.h"

namespace tidra {

/// Reads each project once, several at a time; a repository on which git hangs holds up only its own answer, for git's
/// time limit. When it hangs again and again, the other projects' dates come from their folders alone. add() is for one
/// thread.
class ProjectActivityReader {
 public:
  ProjectActivityReader(std::optional<std::string> git, TidraPathResolver resolver);
  /// Ends what still runs.
  ~ProjectActivityReader();

  /// Asks for a project; again for the same one is free.
  void add(const std::string& project);

  /// Gives up what is not answered yet. Prompt; does not wait.
  void cancel() { cancelled_ = true; }

  /// Waits at most this long for the answers; true when all are there.
  bool waitFor(std::chrono::milliseconds most);

  /// The answers so far. A project that could not be read has none.
  std::map<std::string, TimePoint> answers();

 private:
  void work();
  /// For a single thread: where the system allows no other.
  void answerHere();
  std::optional<TimePoint> ask(const std::string& project);

  std::atomic<bool> cancelled_{false};
  std::atomic<std::size_t> hangs_{0};
  TidraGitMetadataReader reader_;
  std::mutex mutex_;
  std::condition_variable waitingChanged_;
  std::condition_variable answered_;
  std::set<std::string> seen_;
  std::queue<std::string> waiting_;
  std::map<std::string, TimePoint> answers_;
  std::size_t running_ = 0;
  bool closed_ = false;
  std::vector<std::jthread> threads_;
};

}  // namespace tidra
