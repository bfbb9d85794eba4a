#include "cli/removal_recorder.h"

#include <utility>
#include <variant>

#include "app/state/state_folders.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "cli/user_state.h"
#include "core/base/quantities.h"
#include "core/scan/stores.h"

namespace tidra {

RemovalHistory removalHistory(const TidraPathResolver& resolver) {
  return {stateFolders(currentPlatform, resolver).applicationData, [](const std::string& note) {
            // Also with --quiet: an undo does not reach what the damaged history holds.
            writeLoudNote(shown(note));
          }};
}

void recordRestored(const std::vector<MovedBack>& items, const TidraPathResolver& resolver) {
  if (items.empty()) return;
  try {
    UserState(resolver).requireHome();
    removalHistory(resolver).markRestored(items, currentTime());
  } catch (const PreferencesError& error) {
    writeNote(shown(error.what()));
  }
}

RemovalRecorder::RemovalRecorder(RemovalCommand command, DisposalMethod method, const TidraPathResolver& resolver,
                                 TimePoint at)
    : resolver_(resolver) {
  run_.command = command;
  run_.method = method;
  run_.at = at;
}

CleanupSetting RemovalRecorder::watching(CleanupSetting setting) {
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

void RemovalRecorder::addPartial(const PartialRemoval& partial) {
  RemovedItem item{{partial.path, DisposalMethod::delete_, std::nullopt, std::nullopt, run_.at},
                   partial.freedBytes,
                   std::nullopt,
                   std::nullopt};
  item.isPartial = true;
  add(std::move(item));
}

void RemovalRecorder::addPurged(const FreedesktopTrash::Entry& entry) {
  addPurged(entry.originalPath.value_or(entry.path), entry.bytes, entry.freeable);
}

void RemovalRecorder::addPurged(const QuarantineDisposer::Entry& entry) {
  addPurged(entry.manifest.originalPath, entry.manifest.bytes, entry.freeable());
}

void RemovalRecorder::addPurged(const std::string& path, std::optional<std::int64_t> bytes, std::int64_t freedBytes) {
  add(RemovedItem{{path, DisposalMethod::delete_, std::nullopt, bytes, run_.at}, freedBytes, freedBytes, std::nullopt});
}

void RemovalRecorder::addFailures(const std::vector<TidraDeletionFailure>& failures) {
  for (const TidraDeletionFailure& failure : failures) add(failure);
}

void RemovalRecorder::setDeleted(const std::string& destination, std::int64_t freedBytes, bool isPartial) {
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

void RemovalRecorder::begin(const std::string& path, std::int64_t freeableBytes) {
  openJournal();
  if (journal_) journal_->begin(path, freeableBytes);
}

/// A failure is not final: write() reports it if there is still no way to write then.
void RemovalRecorder::openJournal() {
  if (std::exchange(isBegun_, true)) return;
  try {
    UserState(resolver_).requireHome();
    journal_ = removalHistory(resolver_).begin(run_);
  } catch (const PreferencesError&) {
    journal_.reset();
  }
}

void RemovalRecorder::add(RemovedItem item) {
  openJournal();
  if (journal_) journal_->add(item);
  run_.add(std::move(item));
}

void RemovalRecorder::add(const TidraDeletionFailure& failure) {
  if (journal_) journal_->add(failure);
  run_.add(failure);
}

void RemovalRecorder::write() {
  try {
    if (!run_.items.empty()) UserState(resolver_).requireHome();
    if (isBegun_) removalHistory(resolver_).finish(std::exchange(run_, {}), journal_.get());
  } catch (const PreferencesError& error) {
    isKept_ = false;
    writeNote(shown(error.what()));
  }
  journal_.reset();
}

}  // namespace tidra
