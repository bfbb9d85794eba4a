#include "app/view/scan_job.h"

#include <exception>
#include <iterator>
#include <utility>

#include "app/state/preferences_store.h"
#include "app/state/stored_scan.h"
#include "app/view/volume_figures.h"
#include "core/platform/process_memory.h"

namespace tidra {
namespace {

/// Walks report every few entries, faces draw some ten times a second.
constexpr std::chrono::milliseconds progressPause{40};

}  // namespace

ScanJob::ScanJob(ScanRequest request, bool isStored, std::function<void()> wake)
    : request_(std::move(request)),
      isStored_(isStored),
      mailbox_(std::move(wake)),
      rows_(request_.resolver, request_.thresholds, request_.now) {
  listen();
  thread_ = JoiningThread([this] { run(); });
}

void ScanJob::listen() {
  request_.shouldCancel = [this, more = std::move(request_.shouldCancel)] { return isCancelled_ || (more && more()); };
  request_.onProgress = [this, more = std::move(request_.onProgress)](const ScanProgress& progress) {
    if (more) more(progress);
    const auto now = Clock::now();
    if (progress.phase == phase_ && now - lastProgress_ < progressPause) return;
    phase_ = progress.phase;
    lastProgress_ = now;
    mailbox_.post([&](News& news) { news.progress = progress; });
  };
  request_.onFindings = [this, more = std::move(request_.onFindings)](const std::vector<FoundArtifact>& batch) {
    std::vector<ResultRow> rows;
    rows.reserve(batch.size());
    for (const FoundArtifact& found : batch) rows.push_back(rows_.rowOf(found, {ItemMark::Kind::unknown}));
    mailbox_.post([&](News& news) {
      news.rows.insert(news.rows.end(), std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
    });
    if (more) more(batch);
  };
}

void ScanJob::run() {
  auto result = std::make_shared<Result>();
  try {
    *result = scan();
  } catch (const std::exception& error) {
    result->failure = error.what();
  }
  releaseFreedMemory();
  // Here, as it takes longer than a key may.
  std::optional<ResultsView> view;
  if (result->scan != nullptr)
    view.emplace().replaceAllWith(SharedRows(result, &result->rows), &result->scan->findings);
  mailbox_.post([&](News& news) {
    news.result = std::move(result);
    news.view = std::move(view);
  });
}

ScanJob::Result ScanJob::scan() {
  RemovalGuard guard(request_.resolver, request_.mounts);
  guard.prepare();
  Result result;
  const auto outcome = std::make_shared<const ScanOutcome>(runScan(request_));
  result.scan = outcome;
  result.notes = outcome->notes;
  result.isUpperBound = isUpperBound(outcome->findings, request_.mounts);
  std::vector<ItemMark> marked;
  {
    // The report is as large as the rows, which come after its end.
    const ScanReport report = makeReport(*outcome, request_.resolver);
    marked = marks(report, *outcome, guard);
    store(report, result);
  }
  RowMaker rows(request_.resolver, request_.thresholds, outcome->circumstances.generatedAt);
  result.rows.reserve(marked.size());
  for (std::size_t i = 0; i < marked.size(); ++i)
    result.rows.push_back(rows.rowOf(outcome->findings[i], std::move(marked[i])));
  return result;
}

void ScanJob::store(const ScanReport& report, Result& result) const {
  if (!isStored_) return;
  try {
    storeScan(report, result.scan->findings, request_.resolver);
  } catch (const PreferencesError& error) {
    result.notes.emplace_back(error.what());
  }
}

std::vector<ItemMark> ScanJob::marks(const ScanReport& report, const ScanOutcome& outcome, RemovalGuard& guard) const {
  auto marks = marksOf(report, outcome, request_, guard, request_.shouldCancel);
  if (request_.shouldCancel()) marks.assign(marks.size(), ItemMark{ItemMark::Kind::unknown});
  return marks;
}

}  // namespace tidra
