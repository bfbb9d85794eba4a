// Reads beside a face what git says about a project.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/view/mailbox.h"
#include "core/base/joining_thread.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// Texts as they were found: a face escapes them.
struct ProjectFacts {
  std::string path;
  std::string branch;  // empty: none is checked out
  std::string status;  // "2 uncommitted changes"; empty: no repository
  std::string commit;  // subject of the last commit; empty: none

  bool operator==(const ProjectFacts&) const = default;
};

/// All calls on the face's thread.
class ProjectJob {
 public:
  /// Starts. `git` is the executable, absent if there is none. `wake` as for Mailbox. Throws std::system_error when the
  /// system allows no more threads.
  ProjectJob(std::string path, std::optional<std::string> git, TidraPathResolver resolver, std::function<void()> wake);
  /// Cancels and waits.
  ~ProjectJob() { isCancelled_ = true; }
  ProjectJob(const ProjectJob&) = delete;
  ProjectJob& operator=(const ProjectJob&) = delete;

  /// Returns the facts, once; null until then.
  [[nodiscard]] std::shared_ptr<const ProjectFacts> drain() { return mailbox_.drain(); }

 private:
  std::atomic<bool> isCancelled_{false};
  Mailbox<std::shared_ptr<const ProjectFacts>> mailbox_;
  JoiningThread thread_;  // last: it uses the others
};

}  // namespace tidra
