// A removal beside a face: it runs on a thread of its own, and takes further items while it runs.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "app/state/history_recorder.h"
#include "app/view/mailbox.h"
#include "app/view/result_row.h"
#include "app/view/trash_emptier.h"
#include "app/view/volume_figures.h"
#include "core/base/joining_thread.h"
#include "core/session/cleanup_session.h"
#include "core/session/removal_pace.h"
#include "core/session/scan_session.h"

namespace tidra {

/// Items to remove: findings of a scan, by their paths, all of which the user has chosen; or a plan, whose items are
/// looked at again first.
struct ChosenFindings {
  std::shared_ptr<const ScanOutcome> scan;
  std::set<std::string> paths;
};
using CleanupOrder = std::variant<ChosenFindings, CleanupPlan>;

/// Throws InputError for findings of an interrupted scan: not all that keeps them is known.
void requireComplete(const ChosenFindings& chosen);

/// What became of one item.
struct CleanedItem {
  RowID id = 0;
  std::string path;
  std::int64_t freedBytes = 0;             // 0 for what was moved
  std::optional<std::string> destination;  // in the trash or the quarantine; absent otherwise
  std::string remainder;                   // a sentence on what stays of it; empty when nothing does
  std::string failure;                     // why it stays, as the rest of a sentence after its path; empty if it went
  std::optional<Refusal> refusal;          // the same, where it was not attempted

  bool operator==(const CleanedItem&) const = default;
};

struct CleanupJobProgress {
  CleanupProgress removal;  // of all orders so far; `bytes` without those that wait
  RemovalPace pace;
};

struct CleanupResult {
  DisposalMethod method = DisposalMethod::trash;
  CleanupOutcome outcome;
  std::vector<CleanupCandidate> candidates;               // that were begun or refused
  std::vector<std::shared_ptr<const ScanOutcome>> scans;  // own what these refer to
  std::optional<TrashEmptier::Result> emptied;            // absent where the trash was not emptied afterwards
  std::vector<VolumeChange> volumes;
  bool isUpperBound = false;       // file systems may have freed less than the outcome says
  bool isInHistory = true;         // so that an undo knows it
  std::vector<std::string> notes;  // sentences: what could not be written into the history, what plans left out
  std::string failure;             // a sentence on why it ended early; empty if it did not
};

/// All calls on the face's thread.
class CleanupJob {
 public:
  struct Setting {
    ScanRequest request;  // of the scan: its environment, and with a plan its rules
    DisposalMethod method = DisposalMethod::trash;
    bool force = false;                         // also what a keep file protects, and what is in use
    std::optional<TrashEmptier> emptying = {};  // empties the trash at the end if something was moved there
    bool includesUndated = false;               // of a trash: entries without a valid date too
    std::function<TimePoint()> clock;
  };

  struct News {
    std::optional<CleanupJobProgress> progress;   // the latest, if there was any
    std::vector<CleanedItem> items;               // since the last news
    std::shared_ptr<const CleanupResult> result;  // once, at the end
  };

  /// Starts. `wake` is called on the job's thread, as Mailbox does it, until the destructor has returned. Throws
  /// std::system_error when the system allows no more threads.
  CleanupJob(Setting setting, CleanupOrder order, std::function<void()> wake);
  /// Cancels and waits.
  ~CleanupJob() { cancel(); }
  CleanupJob(const CleanupJob&) = delete;
  CleanupJob& operator=(const CleanupJob&) = delete;

  /// Removes these after the others. False when the job is about to end: they are for another one, after it.
  [[nodiscard]] bool add(CleanupOrder order);
  /// What is begun ends as it does after an interruption; the rest stays.
  void cancel() noexcept { isCancelled_ = true; }
  [[nodiscard]] News drain() { return mailbox_.drain(); }

 private:
  using Clock = std::chrono::steady_clock;

  void run();
  void removeAll();
  void requireAllowed() const;
  std::optional<CleanupOrder> next();
  std::vector<CleanupCandidate> candidatesOf(ChosenFindings chosen);
  std::vector<CleanupCandidate> candidatesOf(const CleanupPlan& plan);
  CleanupOptions options() const;
  CleanupSetting listened();
  void remove(const std::vector<CleanupCandidate>& candidates);
  void emptyTrash();
  void finish();
  void publish(const CleanupProgress& progress);
  void publish(const CleanupCandidate& candidate, const TidraDeletionService::Result& result, std::int64_t counted);
  bool isCancelled() const { return isCancelled_; }

  const Setting setting_;
  std::atomic<bool> isCancelled_{false};
  Mailbox<News> mailbox_;

  std::mutex mutex_;  // of the two below
  std::deque<CleanupOrder> orders_;
  bool isClosed_ = false;

  // Of the job's thread.
  CleanupResult result_;
  HistoryRecorder recorder_;
  VolumeFigures volumes_;
  CleanupProgress before_;          // of the finished orders
  std::optional<Refusal> refusal_;  // of the present item
  Clock::time_point begin_{};
  JoiningThread thread_;  // last: it uses the others
};

}  // namespace tidra
