#include "app/terminal/removal_flow.h"

#include <algorithm>
#include <set>
#include <utility>

#include "app/view/exclusions_view.h"
#include "core/base/text.h"
#include "core/model/stable_id.h"

namespace tidra {
namespace {

/// The marked rows, or what is under the cursor: a row, or all of a group.
std::vector<const ResultRow*> chosenRows(const UiState& state) {
  if (!state.selection.empty()) return state.selection.rowsIn(state.view);
  if (const ResultRow* row = state.cursor.row()) return {row};
  const ResultsLine* line = state.cursor.at();
  if (line == nullptr) return {};
  const ResultsGroup& group = state.list->groups[line->group];
  const auto first = state.list->items.begin() + static_cast<std::ptrdiff_t>(group.first);
  return {first, first + static_cast<std::ptrdiff_t>(group.count)};
}

std::set<std::string> pathsOf(const std::vector<const ResultRow*>& rows) {
  std::set<std::string> paths;
  for (const ResultRow* row : rows) {
    // What is kept is shown with its reason; what an interrupted scan has not checked is not to be removed.
    if (row->isMarkable() || row->mark.kind == ItemMark::Kind::kept) paths.insert(row->path);
  }
  return paths;
}

}  // namespace

CleanupOrder RemovalFlow::orderOf(std::shared_ptr<const ScanOutcome> scan, const std::set<std::string>& paths) const {
  if (scan != nullptr) return ChosenFindings{std::move(scan), paths};
  return environment_.last->planOf(paths, choice_.method);
}

/// What was excluded since the scan stays, marked or not. Returns whether there was any.
bool RemovalFlow::dropExcluded(std::set<std::string>& paths) const {
  if (environment_.preferences == nullptr) return false;
  ExclusionsStore store(*environment_.preferences);
  return ExclusionsView(store, environment_.resolver).eraseExcluded(paths);
}

bool RemovalFlow::beginReview(UiState& state, const ScanRequest& request, std::shared_ptr<const ScanOutcome> scan) {
  std::set<std::string> paths = pathsOf(chosenRows(state));
  if (dropExcluded(paths) && paths.empty()) {
    state.notice = "It is excluded now, and stays; 3 shows the exclusions";
    return false;
  }
  if (paths.empty()) {
    state.notice = "There is nothing here that a whole scan has found; r scans again";
    return false;
  }
  // Deleting for good, chosen for one review, is not what the next one begins with.
  choice_ = usual_;
  request_ = request;
  looked_.reset();
  screen_.begin(paths.size(), choice_);
  looking_ = std::make_unique<ReviewJob>(request, orderOf(std::move(scan), paths), choice_.emptiesTrash, wake_);
  return true;
}

void RemovalFlow::cancelReview() {
  looking_.reset();
  looked_.reset();
}

void RemovalFlow::choose(const ReviewChoice& choice) {
  choice_ = choice;
  showReview();
}

void RemovalFlow::showReview() {
  if (!looked_) return;
  if (!looked_->failure.empty()) return screen_.fail(looked_->failure);
  screen_.show(Review::of(looked_->candidates, choice_, looked_->inTrash, request_->resolver), looked_->methods);
}

bool RemovalFlow::drainReview() {
  if (!looking_) return false;
  looked_ = looking_->drain();
  if (!looked_) return false;
  looking_.reset();
  showReview();
  return true;
}

void RemovalFlow::start(UiState& state) {
  if (!looked_) return;
  std::set<std::string> paths;
  for (const CleanupCandidate& candidate : Review::goingOf(looked_->candidates, choice_)) {
    if (screen_.includes(removerOf(candidate.item.path))) paths.insert(candidate.item.path);
  }
  const ChosenFindings order{looked_->scan, std::move(paths)};
  const auto looked = std::exchange(looked_, nullptr);
  if (!begin(order, *looked)) {
    state.notice = "Another removal is still running; review it again when that is done";
    return;
  }
  std::set<RowID> going;
  for (const std::string& path : order.paths) {
    state.selection.unmark(StableID::number(path));
    going.insert(StableID::number(path));
  }
  state.cursor.leave(going);
  if (state.removal.empty()) state.removal = "removing…";
  state.refresh();
}

bool RemovalFlow::begin(const ChosenFindings& order, const ReviewJob::Result& looked) {
  const bool isSame = choice_.method == runningMethod_ && choice_.emptiesTrash == runningEmpties_;
  if (job_) return isSame && job_->add(order);
  runningMethod_ = choice_.method;
  runningEmpties_ = choice_.emptiesTrash;
  CleanupJob::Setting setting{.request = *request_, .method = choice_.method, .clock = environment_.clock};
  // Read before another method was chosen.
  if (choice_.emptiesTrash) setting.emptying = looked.emptying;
  job_ = std::make_unique<CleanupJob>(std::move(setting), order, wake_);
  return true;
}

void RemovalFlow::cancel() {
  if (job_) job_->cancel();
}

/// What is gone leaves the list.
void RemovalFlow::drop(const std::vector<CleanedItem>& items, UiState& state) {
  std::set<RowID> gone;
  for (const CleanedItem& item : items) {
    if (item.failure.empty() && item.remainder.empty()) gone.insert(item.id);
  }
  if (gone.empty()) return;
  state.view.drop(gone);
  state.refresh();
}

bool RemovalFlow::drain(UiState& state, SummaryScreen& summary) {
  bool hasNews = drainReview();
  if (!job_) return hasNews;
  CleanupJob::News news = job_->drain();
  if (news.progress) state.removal = removalLine(*news.progress);
  drop(news.items, state);
  hasNews = hasNews || news.progress || !news.items.empty() || news.result;
  if (news.result) finish(*news.result, state, summary);
  return hasNews;
}

void RemovalFlow::finish(const CleanupResult& result, UiState& state, SummaryScreen& summary) {
  RemovalSummary made = RemovalSummary::of(result);
  const auto sentences = made.sentences();
  state.notice = sentences.empty() ? "" : sentences.front();
  if (!made.failures.empty())
    state.notice = counted(made.failures.size(), "item stays", "items stay") + ", 5 says why. " + state.notice;
  if (!result.failure.empty()) state.notice = result.failure;
  std::vector<std::string> notes;
  try {
    if (environment_.last && environment_.removedFromLast)
      environment_.removedFromLast(result.outcome.disposal.receipts);
  } catch (const PreferencesError& error) {
    notes.emplace_back(error.what());
  }
  summary.show(std::move(made), std::move(notes));
  state.removal.clear();
  job_.reset();
}

}  // namespace tidra
