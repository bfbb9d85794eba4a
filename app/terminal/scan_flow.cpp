#include "app/terminal/scan_flow.h"

#include <utility>

#include "app/view/last_scan_view.h"
#include "core/base/text.h"

namespace tidra {

void ScanFlow::start(ScanRequest request, bool isStored, UiState& state) {
  job_.reset();
  outcome_.reset();
  request_ = request;
  state.now = request.now;
  state.banner.clear();
  state.scan = {.isRunning = true};
  state.view.replaceAll({});
  state.refresh();
  job_ = std::make_unique<ScanJob>(std::move(request), isStored, wake_);
}

void ScanFlow::stop(UiState& state) {
  if (!job_) return;
  job_->cancel();
  state.scan.isStopping = true;
}

bool ScanFlow::drain(UiState& state) {
  if (!job_) return false;
  ScanJob::News news = job_->drain();
  if (news.progress) {
    state.scan.entries = news.progress->entriesVisited;
    state.scan.phase = news.progress->phaseLabel;
  }
  const bool hasRows = !news.rows.empty();
  if (hasRows) state.view.add(std::move(news.rows));
  state.scan.findings = state.view.size();
  if (news.result) {
    finish(*news.result, std::move(news.view), state);
  } else if (hasRows) {
    state.refresh();
  }
  return news.progress || hasRows || news.result;
}

void ScanFlow::finish(const ScanJob::Result& result, std::optional<ResultsView> view, UiState& state) {
  state.scan = {.isPartial = result.scan != nullptr && result.scan->circumstances.partial};
  if (result.scan != nullptr) {
    outcome_ = result.scan;
    state.view = std::move(*view);
    if (state.scan.isPartial) state.banner = std::string(LastScanView::partialBanner);
    state.notice = state.selection.recheck(state.view).sentence();
  }
  if (state.notice.empty() && !result.notes.empty()) {
    const std::size_t others = result.notes.size() - 1;
    state.notice = result.notes.front();
    if (others > 0) state.notice += " (and " + counted(others, "more note", "more notes") + ")";
  }
  if (!result.failure.empty()) state.notice = result.failure;
  state.refresh();
  job_.reset();
}

}  // namespace tidra
