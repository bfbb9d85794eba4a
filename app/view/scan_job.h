// A scan beside a face: it runs on a thread of its own, and the face takes its news when it likes.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/view/mailbox.h"
#include "app/view/result_row.h"
#include "app/view/results_view.h"
#include "core/base/joining_thread.h"
#include "core/session/removal_guard.h"
#include "core/session/scan_session.h"

namespace tidra {

/// All calls on the face's thread.
class ScanJob {
 public:
  struct Result {
    std::shared_ptr<const ScanOutcome> scan;  // null after a failure
    std::vector<ResultRow> rows;              // of its findings, in their order
    bool isUpperBound = false;                // file systems may free less than the rows say
    std::vector<std::string> notes;           // of the scan, and why it could not be stored
    std::string failure;                      // a sentence; empty if there was none
  };

  struct News {
    std::optional<ScanProgress> progress;  // the latest, if there was any
    std::vector<ResultRow> rows;           // found since the last news; unknown marks
    std::shared_ptr<const Result> result;  // once, at the end
    std::optional<ResultsView> view;       // of the result's rows, with it; absent after a failure
  };

  /// Starts. The request's own callbacks are called too, on the job's thread. The result is stored as the last scan if
  /// `isStored`. `wake` is called on the job's thread, as Mailbox does it, until the destructor has returned. Throws
  /// std::system_error when the system allows no more threads.
  ScanJob(ScanRequest request, bool isStored, std::function<void()> wake);
  /// Cancels and waits.
  ~ScanJob() { cancel(); }
  ScanJob(const ScanJob&) = delete;
  ScanJob& operator=(const ScanJob&) = delete;

  /// The scan ends promptly; its result has what was found until then, with unknown marks.
  void cancel() noexcept { isCancelled_ = true; }
  [[nodiscard]] News drain() { return mailbox_.drain(); }
  const ScanRequest& request() const { return request_; }

 private:
  void run();
  void listen();
  Result scan();
  void store(const ScanReport& report, Result& result) const;
  std::vector<ItemMark> marks(const ScanReport& report, const ScanOutcome& outcome, RemovalGuard& guard) const;

  using Clock = std::chrono::steady_clock;

  ScanRequest request_;
  const bool isStored_;
  std::atomic<bool> isCancelled_{false};
  Mailbox<News> mailbox_;
  RowMaker rows_;
  Clock::time_point lastProgress_{};
  ScanPhase phase_ = ScanPhase::projects;
  JoiningThread thread_;  // last: it uses the others
};

}  // namespace tidra
