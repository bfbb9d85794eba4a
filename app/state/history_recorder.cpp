#include "app/state/history_recorder.h"

#include <utility>
#include <variant>

#include "app/state/state_folders.h"
#include "app/state/state_home.h"
#include "core/base/quantities.h"
#include "core/scan/stores.h"

namespace tidra {

HistoryRecorder::HistoryRecorder(RemovalCommand command, DisposalMethod method, TidraPathResolver resolver,
                                 TimePoint at)
    : resolver_(std::move(resolver)) {
  run_.command = command;
  run_.method = method;
  run_.at = at;
}

RemovalHistory HistoryRecorder::history() {
  return {stateFolders(currentPlatform, resolver_).applicationData, [this](const std::string& note) {
            notes_.insert(note);
            damage_.insert(note);
          }};
}

CleanupSetting HistoryRecorder::watching(CleanupSetting setting) {
  setting.beforeItem = [this, former = std::move(setting.beforeItem)](const CleanupCandidate& candidate) {
    if (former) former(candidate);
    begin(candidate.item.path, candidate.freeableBytes());
  };
  setting.onResult = [this, former = std::move(setting.onResult)](const CleanupCandidate& candidate,
                                                                  const TidraDeletionService::Result& result,
                                                                  std::int64_t counted) {
    const auto* disposed = std::get_if<TidraDeletionService::Disposed>(&result);
    // Of a trash, its entries are recorded.
    if (disposed != nullptr && !StoreNames::isWholeTrash(candidate.item.path)) {
      add(RemovedItem{disposed->receipt, freedBytesOf(candidate, *disposed, counted), candidate.freeableBytes(),
                      std::nullopt});
    }
    if (disposed == nullptr) add(std::get<TidraDeletionFailure>(result));
    if (former) former(candidate, result, counted);
  };
  return setting;
}

void HistoryRecorder::addPartial(const PartialRemoval& partial) {
  RemovedItem item{{partial.path, DisposalMethod::delete_, std::nullopt, std::nullopt, run_.at},
                   partial.freedBytes,
                   std::nullopt,
                   std::nullopt};
  item.isPartial = true;
  add(std::move(item));
}

void HistoryRecorder::addPurged(const FreedesktopTrash::Entry& entry) {
  addPurged(entry.originalPath.value_or(entry.path), entry.bytes, entry.freeable);
}

void HistoryRecorder::addPurged(const QuarantineDisposer::Entry& entry) {
  addPurged(entry.manifest.originalPath, entry.manifest.bytes, entry.freeable());
}

void HistoryRecorder::addPurged(const std::string& path, std::optional<std::int64_t> bytes, std::int64_t freedBytes) {
  add(RemovedItem{{path, DisposalMethod::delete_, std::nullopt, bytes, run_.at}, freedBytes, freedBytes, std::nullopt});
}

void HistoryRecorder::addFailures(const std::vector<TidraDeletionFailure>& failures) {
  for (const TidraDeletionFailure& failure : failures) add(failure);
}

void HistoryRecorder::setDeleted(const std::string& destination, std::int64_t freedBytes, bool isPartial) {
  for (RemovedItem& item : run_.items) {
    if (item.destination != destination) continue;
    item.destination.reset();
    item.method = DisposalMethod::delete_;
    item.freedBytes = freedBytes;
    item.isPartial = isPartial;
    if (isPartial) item.freeableBytes.reset();
  }
  run_.freedBytes = saturatedSum(run_.freedBytes, freedBytes);
}

void HistoryRecorder::begin(const std::string& path, std::int64_t freeableBytes) {
  openJournal();
  if (journal_) journal_->begin(path, freeableBytes);
}

/// A failure is not final: write() reports it if there is still no way to write then.
void HistoryRecorder::openJournal() {
  if (std::exchange(isBegun_, true)) return;
  try {
    requireHomeForState(resolver_);
    journal_ = history().begin(run_);
  } catch (const PreferencesError&) {
    journal_.reset();
  }
}

void HistoryRecorder::add(RemovedItem item) {
  openJournal();
  if (journal_) journal_->add(item);
  run_.add(std::move(item));
}

void HistoryRecorder::add(const TidraDeletionFailure& failure) {
  if (journal_) journal_->add(failure);
  run_.add(failure);
}

std::int64_t HistoryRecorder::write() {
  const std::int64_t freed = run_.freedBytes;
  try {
    if (!run_.items.empty()) requireHomeForState(resolver_);
    if (isBegun_) history().finish(std::exchange(run_, {}), journal_.get());
  } catch (const PreferencesError& error) {
    isKept_ = false;
    notes_.insert(error.what());
  }
  journal_.reset();
  return freed;
}

}  // namespace tidra
