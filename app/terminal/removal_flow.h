// From what is marked through the review to the removal, which goes on in the background.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "app/terminal/review_screen.h"
#include "app/terminal/summary_screen.h"
#include "app/terminal/ui_environment.h"
#include "app/terminal/ui_state.h"
#include "app/view/cleanup_job.h"
#include "app/view/review_job.h"

namespace tidra {

class RemovalFlow {
 public:
  RemovalFlow(const UiEnvironment& environment, std::function<void()> wake)
      : environment_(environment), wake_(std::move(wake)) {}

  /// Settings take effect on the next scan: this is one, or an earlier one is shown.
  void adoptSettings() {
    if (environment_.usualRemoval) usual_ = environment_.usualRemoval();
  }

  /// Begins to look at what is marked, or else at what is under the cursor. `scan` is the outcome that the rows are of;
  /// null for an earlier scan, whose items are looked for again. Returns whether there is something to look at; if not,
  /// the notice says why. What is excluded by now is left out. May throw PreferencesError.
  bool beginReview(UiState& state, const ScanRequest& request, std::shared_ptr<const ScanOutcome> scan);
  void cancelReview();
  /// Makes the review anew after another choice.
  void choose(const ReviewChoice& choice);
  /// Starts the removal of what the review was agreed to. Once: the review is over.
  void start(UiState& state);

  /// Takes the news. Returns whether there were any.
  bool drain(UiState& state, SummaryScreen& summary);

  ReviewScreen& screen() { return screen_; }
  const ReviewScreen& screen() const { return screen_; }
  bool isLooking() const { return looking_ != nullptr; }
  bool isRemoving() const { return job_ != nullptr; }
  /// What is begun is ended, the rest stays.
  void cancel();

 private:
  CleanupOrder orderOf(std::shared_ptr<const ScanOutcome> scan, const std::set<std::string>& paths) const;
  bool dropExcluded(std::set<std::string>& paths) const;
  /// Returns whether the items go; false while another removal runs that they cannot join.
  bool begin(const ChosenFindings& order, const ReviewJob::Result& looked);
  bool drainReview();
  void showReview();
  void drop(const std::vector<CleanedItem>& items, UiState& state);
  void finish(const CleanupResult& result, UiState& state, SummaryScreen& summary);

  const UiEnvironment& environment_;
  std::function<void()> wake_;
  ReviewScreen screen_;
  ReviewChoice usual_;  // that each review begins with
  ReviewChoice choice_;
  std::optional<ScanRequest> request_;
  std::unique_ptr<ReviewJob> looking_;
  std::shared_ptr<const ReviewJob::Result> looked_;  // null until then
  std::unique_ptr<CleanupJob> job_;
  DisposalMethod runningMethod_ = DisposalMethod::trash;
  bool runningEmpties_ = false;
};

}  // namespace tidra
