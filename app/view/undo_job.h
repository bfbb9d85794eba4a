// Looks beside a face at what the last removal moved away, or brings it back.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/view/mailbox.h"
#include "app/view/undo_list.h"
#include "core/base/joining_thread.h"

namespace tidra {

/// All calls on the face's thread.
class UndoJob {
 public:
  struct News {
    std::optional<RemovalRun> run;                // the newest of which something may come back; absent: there is none
    std::vector<UndoList::Item> items;            // of it, as they are now
    std::optional<UndoList::Result> result = {};  // of bringing it back
    std::string failure = {};                     // a sentence; empty if there was none
  };

  /// Starts. Without the `id` of a run it only looks. `wake` as for Mailbox. Throws std::system_error when the system
  /// allows no more threads.
  UndoJob(UndoList::Setting setting, std::optional<std::string> id, std::function<void()> wake);
  /// Cancels between items and waits.
  ~UndoJob() { isCancelled_ = true; }
  UndoJob(const UndoJob&) = delete;
  UndoJob& operator=(const UndoJob&) = delete;

  /// Returns the news, once; null until then.
  [[nodiscard]] std::shared_ptr<const News> drain() { return mailbox_.drain(); }

 private:
  News work() const;

  const UndoList::Setting setting_;
  const std::optional<std::string> id_;
  std::atomic<bool> isCancelled_{false};
  Mailbox<std::shared_ptr<const News>> mailbox_;
  JoiningThread thread_;  // last: it uses the others
};

}  // namespace tidra
