#include "cli/removal_recorder.h"

#include <string_view>
#include <unordered_map>
#include <utility>

#include "app/state/state_folders.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "cli/user_state.h"
#include "core/base/quantities.h"

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

void RemovalRecorder::add(const CleanupOutcome& outcome, const std::vector<CleanupCandidate>& candidates) {
  std::unordered_map<std::string_view, std::int64_t> freeable;
  for (const CleanupCandidate& candidate : candidates) {
    freeable.emplace(candidate.item.path, candidate.freeableBytes());
  }
  const auto& receipts = outcome.disposal.receipts;
  for (std::size_t i = 0; i < receipts.size(); ++i) {
    const auto known = freeable.find(receipts[i].path);
    add(RemovedItem{receipts[i], outcome.freedEach[i],
                    known == freeable.end() ? std::nullopt : std::optional(known->second), std::nullopt});
  }
  addFailures(outcome.disposal.failures);
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
  run_.failures.insert(run_.failures.end(), failures.begin(), failures.end());
}

void RemovalRecorder::add(RemovedItem item) {
  run_.freedBytes = saturatedSum(run_.freedBytes, item.freedBytes);
  run_.items.push_back(std::move(item));
}

std::int64_t RemovalRecorder::write() {
  const std::int64_t freed = run_.freedBytes;
  if (run_.items.empty()) return freed;
  try {
    UserState(resolver_).requireHome();
    removalHistory(resolver_).append(std::exchange(run_, {}));
  } catch (const PreferencesError& error) {
    writeNote(shown(error.what()));
  }
  return freed;
}

}  // namespace tidra
