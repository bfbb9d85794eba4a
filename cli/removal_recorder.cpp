#include "cli/removal_recorder.h"

#include <utility>

#include "app/state/state_folders.h"
#include "cli/terminal.h"
#include "cli/user_state.h"
#include "core/base/quantities.h"
#include "core/platform/standard_streams.h"

namespace tidra {
namespace {

/// Tools report what they reclaimed; without a report their item counts with its size.
RemovedItem removedItem(const TidraDeletionService::Disposed& disposed, std::int64_t countedBytes) {
  const DisposalReceipt& receipt = disposed.receipt;
  RemovedItem item;
  item.path = receipt.path;
  item.method = receipt.method;
  item.destination = receipt.destination;
  item.bytes = receipt.bytes;
  item.freedBytes = isToolBackedTarget(receipt.path) ? disposed.reclaimed.value_or(countedBytes) : disposed.freed;
  item.at = receipt.at;
  return item;
}

}  // namespace

RemovalHistory removalHistory(const TidraPathResolver& resolver) {
  return {stateFolders(currentPlatform, resolver).applicationData, [](const std::string& note) {
            // Also with --quiet: an undo does not reach what the damaged history holds.
            writeStandardError("note: " + shown(note) + "\n");
          }};
}

RemovalRecorder::RemovalRecorder(RemovalCommand command, DisposalMethod method, const TidraPathResolver& resolver,
                                 TimePoint at)
    : resolver_(resolver) {
  run_.command = command;
  run_.method = method;
  run_.at = at;
}

CleanupSetting RemovalRecorder::watching(CleanupSetting setting) {
  setting.onResult = [this, next = std::move(setting.onResult)](const CleanupCandidate& candidate,
                                                                const TidraDeletionService::Result& result,
                                                                std::int64_t bytes) {
    if (const auto* disposed = std::get_if<TidraDeletionService::Disposed>(&result)) {
      add(removedItem(*disposed, bytes));
    } else {
      addFailures({std::get<TidraDeletionFailure>(result)});
    }
    if (next) next(candidate, result, bytes);
  };
  return setting;
}

void RemovalRecorder::addPurged(const std::string& path, std::optional<std::int64_t> bytes, std::int64_t freedBytes) {
  RemovedItem item;
  item.path = path;
  item.method = DisposalMethod::delete_;
  item.bytes = bytes;
  item.freedBytes = freedBytes;
  item.at = run_.at;
  add(std::move(item));
}

void RemovalRecorder::addFailures(const std::vector<TidraDeletionFailure>& failures) {
  run_.failures.insert(run_.failures.end(), failures.begin(), failures.end());
}

void RemovalRecorder::add(RemovedItem item) {
  run_.freedBytes = saturatedSum(run_.freedBytes, item.freedBytes);
  run_.items.push_back(std::move(item));
}

void RemovalRecorder::write() {
  if (run_.items.empty()) return;
  try {
    UserState(resolver_).requireHome();
    removalHistory(resolver_).append(std::exchange(run_, {}));
  } catch (const PreferencesError& error) {
    writeNote(shown(error.what()));
  }
}

}  // namespace tidra
