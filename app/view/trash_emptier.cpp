#include "app/view/trash_emptier.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/trash_disposer.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/scan/stores.h"

namespace tidra {
namespace {

using Entry = FreedesktopTrash::Entry;
using Receipts = std::vector<DisposalReceipt>;

Receipts::iterator receiptOf(const Entry& entry, CleanupOutcome& outcome) {
  auto& receipts = outcome.disposal.receipts;
  return std::find_if(receipts.begin(), receipts.end(),
                      [&](const DisposalReceipt& each) { return each.destination == entry.path; });
}

/// What was moved to the trash becomes deleted. Returns its receipt, null if the entry is no such item.
const DisposalReceipt* settle(const Entry& entry, CleanupOutcome& outcome, HistoryRecorder& recorder) {
  const auto receipt = receiptOf(entry, outcome);
  if (receipt == outcome.disposal.receipts.end()) return nullptr;
  receipt->destination.reset();
  receipt->method = DisposalMethod::delete_;
  outcome.freedEach[static_cast<std::size_t>(receipt - outcome.disposal.receipts.begin())] = entry.freeable;
  recorder.setDeleted(entry.path, entry.freeable);
  return &*receipt;
}

/// Takes the failure of an entry from a purge.
TidraDeletionFailure takeFailure(const Entry& entry, FreedesktopTrash::Purged& purged) {
  const auto failure = std::find_if(purged.failures.begin(), purged.failures.end(),
                                    [&](const TidraDeletionFailure& each) { return each.path == entry.path; });
  TidraDeletionFailure taken = std::move(*failure);
  purged.failures.erase(failure);
  return taken;
}

/// What was moved to the trash and deleted there in part becomes a failure. Returns whether the entry is such an item.
bool settlePartial(const FreedesktopTrash::Partial& partial, FreedesktopTrash::Purged& purged, CleanupOutcome& outcome,
                   HistoryRecorder& recorder) {
  auto& receipts = outcome.disposal.receipts;
  const auto receipt = receiptOf(partial.entry, outcome);
  if (receipt == receipts.end()) return false;
  const std::string path = receipt->path;
  outcome.freedEach.erase(outcome.freedEach.begin() + (receipt - receipts.begin()));
  receipts.erase(receipt);
  std::erase_if(outcome.unmeasured, [&](const UnmeasuredSize& size) { return size.path == path; });
  outcome.partial.push_back({path, partial.freedBytes});
  outcome.disposal.failures.push_back({path, takeFailure(partial.entry, purged).message});
  recorder.setDeleted(partial.entry.path, partial.freedBytes, true);
  recorder.addFailures({outcome.disposal.failures.back()});
  return true;
}

}  // namespace

WholeTrashes wholeTrashesAmong(const std::vector<CleanupCandidate>& candidates, TimePoint now, TimePoint seenAt,
                               bool includesUndated) {
  WholeTrashes trashes;
  for (const CleanupCandidate& candidate : candidates) {
    const std::string& path = candidate.item.path;
    if (candidate.refusal || !StoreNames::isWholeTrash(path)) continue;
    try {
      auto entries = FreedesktopTrash::listOf(parentPath(path), now);
      auto choice = FreedesktopTrash::choose(std::move(entries), seenAt, includesUndated);
      FreedesktopTrash::measure(choice.due);
      trashes.emplace(path, std::move(choice));
    } catch (const std::runtime_error&) {
      continue;
    }
  }
  return trashes;
}

std::string interruptedText(const FreedesktopTrash::Purged& purged) {
  const auto verb = [](std::size_t count, const char* one, const char* many) { return count == 1 ? one : many; };
  const std::size_t gone = purged.paths.size();
  const std::size_t partial = purged.partial.size();
  const std::size_t staying = purged.failures.size() - partial + purged.notBegun;
  std::string text = fmt::format("Interrupted; {} of the trash {} deleted", counted(gone, "entry", "entries"),
                                 verb(gone, "is", "are"));
  if (partial > 0) text += fmt::format(", {} {} deleted in part", partial, verb(partial, "is", "are"));
  if (staying > 0 || partial == 0) {
    text += fmt::format(", {} that {} to go {} still in it", staying, verb(staying, "was", "were"),
                        verb(staying, "is", "are"));
  }
  return text + ".";
}

void recordEmptiedTrashes(const WholeTrashes& emptied, HistoryRecorder& recorder) {
  for (const auto& [path, choice] : emptied) {
    for (const Entry& entry : choice.due) {
      if (entry.identity && !pathFacts(entry.path)) recorder.addPurged(entry);
    }
  }
}

TrashEmptier::TrashEmptier(const TidraPathResolver& resolver, const std::vector<MountPoint>& mounts, TimePoint now,
                           bool includesUndated, const std::set<std::string>& others)
    : resolver_(resolver), mounts_(mounts) {
  if (!isReadable) return;
  std::vector<std::string> notes;  // emptying notes them
  auto entries = FreedesktopTrash(resolver, mounts).list(now, notes);
  std::erase_if(entries, [&](const Entry& entry) { return others.contains(parentPath(entry.path)); });
  seen_ = FreedesktopTrash::choose(std::move(entries), now + std::chrono::seconds{1}, includesUndated);
  FreedesktopTrash::measure(seen_.due);
}

bool TrashEmptier::isMeant(const Entry& entry, const CleanupOutcome& outcome) const {
  const auto& receipts = outcome.disposal.receipts;
  const auto isSame = [&](const Entry& seen) { return seen.path == entry.path && seen.identity == entry.identity; };
  return entry.dating == FreedesktopTrash::Dating::leftover ||
         std::any_of(seen_.due.begin(), seen_.due.end(), isSame) ||
         std::any_of(seen_.undated.begin(), seen_.undated.end(), isSame) ||
         std::any_of(receipts.begin(), receipts.end(),
                     [&](const DisposalReceipt& receipt) { return receipt.destination == entry.path; });
}

void TrashEmptier::Result::addOther(const Entry& entry, TimePoint now, const OnDeleted& onDeleted) {
  ++others;
  othersBytes = saturatedSum(othersBytes, entry.freeable);
  othersSize = saturatedSum(othersSize, entry.bytes);
  if (!onDeleted) return;
  const DisposalReceipt receipt{entry.path, DisposalMethod::delete_, std::nullopt, entry.bytes, now};
  onDeleted(receipt, entry.bytes, entry.freeable, entry.originalPath);
}

TrashEmptier::Result TrashEmptier::run(CleanupOutcome& outcome, HistoryRecorder& recorder, HistoryRecorder& ofOthers,
                                       TimePoint now, bool includesUndated, const std::function<bool()>& shouldCancel,
                                       const OnDeleted& onDeleted) const {
  TrashDisposer trash(resolver_, mounts_);
  const auto isChosen = [&](const Entry& entry) { return isMeant(entry, outcome); };
  Result result;
  const auto begins = [&](const Entry& entry) {
    if (receiptOf(entry, outcome) == outcome.disposal.receipts.end()) ofOthers.begin(entry.path, entry.freeable);
  };
  const auto gone = [&](const Entry& entry) {
    outcome.freedBytes = saturatedSum(outcome.freedBytes, entry.freeable);
    if (const DisposalReceipt* receipt = settle(entry, outcome, recorder)) {
      if (onDeleted) onDeleted(*receipt, entry.bytes, entry.freeable, std::nullopt);
      return;
    }
    ofOthers.addPurged(entry);
    result.addOther(entry, now, onDeleted);
  };
  auto emptied = trash.emptyTrash(now, includesUndated, isChosen, shouldCancel, {begins, gone});
  result.purged = std::move(emptied.purged);
  result.undated = std::move(emptied.undated);
  result.later = emptied.later;
  outcome.cancelled = shouldCancel() && (result.purged.notBegun > 0 || !result.purged.failures.empty());
  if (outcome.cancelled) result.interruption = interruptedText(result.purged);
  for (const FreedesktopTrash::Partial& partial : result.purged.partial) {
    outcome.freedBytes = saturatedSum(outcome.freedBytes, partial.freedBytes);
    if (settlePartial(partial, result.purged, outcome, recorder)) continue;
    result.othersInPart.push_back({partial.entry.originalPath.value_or(partial.entry.path), partial.freedBytes});
    ofOthers.addPartial(result.othersInPart.back());
  }
  ofOthers.addFailures(result.purged.failures);
  recorder.write();
  ofOthers.write();
  return result;
}

}  // namespace tidra
