// Looks beside a face at what a removal of marked findings would take: what keeps files, processes and mounts say now,
// and what is in the trash.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/view/cleanup_job.h"
#include "app/view/mailbox.h"
#include "app/view/review.h"
#include "app/view/trash_emptier.h"
#include "core/base/joining_thread.h"

namespace tidra {

/// All calls on the face's thread.
class ReviewJob {
 public:
  struct Result {
    std::shared_ptr<const ScanOutcome> scan;   // the candidates refer to its findings; for a plan a new one
    std::vector<CleanupCandidate> candidates;  // in the order of selectForCleanup()
    std::optional<TrashEmptier> emptying;      // present if that was asked for
    TrashContents inTrash;
    std::vector<MethodChoice> methods;
    std::string failure;  // a sentence; empty if there was none
  };

  /// Starts. `request` is that of the scan; the items of a plan are looked at with its rules. Reads the contents of the
  /// trash if `emptiesTrash`. `wake` as for Mailbox. Throws std::system_error when the system allows no more threads.
  ReviewJob(ScanRequest request, CleanupOrder order, bool emptiesTrash, std::function<void()> wake);
  /// Cancels and waits.
  ~ReviewJob() { isCancelled_ = true; }
  ReviewJob(const ReviewJob&) = delete;
  ReviewJob& operator=(const ReviewJob&) = delete;

  /// Returns the result, once; null until then.
  [[nodiscard]] std::shared_ptr<const Result> drain() { return mailbox_.drain(); }

 private:
  Result look();
  void addCandidates(Result& result, const ChosenFindings& chosen) const;
  void addCandidates(Result& result, const CleanupPlan& plan) const;
  CleanupOptions options() const;

  const ScanRequest request_;
  const CleanupOrder order_;
  const bool emptiesTrash_;
  std::atomic<bool> isCancelled_{false};
  Mailbox<std::shared_ptr<const Result>> mailbox_;
  JoiningThread thread_;  // last: it uses the others
};

}  // namespace tidra
