#include "cli/trash_emptying.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "cli/interrupt.h"
#include "cli/scan_options.h"
#include "cli/shown_sizes.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/trash_disposer.h"
#include "core/model/byte_formatting.h"
#include "core/platform/path_text.h"
#include "core/platform/platform.h"
#include "core/scan/stores.h"

namespace tidra {
namespace {

using Entry = FreedesktopTrash::Entry;

/// The Finder's trash cannot be read here.
constexpr bool isUnknown = currentPlatform == TidraPlatform::macOS;

using Receipts = std::vector<DisposalReceipt>;

Receipts::iterator receiptOf(const Entry& entry, CleanupOutcome& outcome) {
  auto& receipts = outcome.disposal.receipts;
  return std::find_if(receipts.begin(), receipts.end(),
                      [&](const DisposalReceipt& each) { return each.destination == entry.path; });
}

/// What was moved to the trash becomes deleted. Returns its receipt, null if the entry is no such item.
const DisposalReceipt* settle(const Entry& entry, CleanupOutcome& outcome, RemovalRecorder& recorder) {
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
                   RemovalRecorder& recorder) {
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

TrashEmptying::TrashEmptying(const ScanRequest& request, bool includesUndated, const TrashChoices& selected)
    : request_(request) {
  if (isUnknown) return;
  const TimePoint now = currentTime();
  std::vector<std::string> notes;  // emptying notes them
  auto entries = FreedesktopTrash(request.resolver, request.mounts).list(now, notes);
  std::erase_if(entries, [&](const Entry& entry) { return selected.contains(parentPath(entry.path)); });
  seen_ = FreedesktopTrash::choose(std::move(entries), now + std::chrono::seconds{1}, includesUndated);
  FreedesktopTrash::measure(seen_.due);
}

std::string TrashEmptying::listText(const CleanupViewOptions& options) const {
  return emptyingText({{"", seen_}}, options);
}

std::string TrashEmptying::others(bool apparentSize) const {
  return fmt::format("({}, {})", counted(presentEntries(seen_.due).size(), "entry", "entries"),
                     ByteFormatting::readable(sizeOf(seen_.due, apparentSize)));
}

std::string TrashEmptying::question(std::int64_t selectedBytes, bool apparentSize) const {
  if (isUnknown) return "Empty the trash for good?";
  if (selectedBytes == 0) return fmt::format("Empty the trash {} for good?", others(apparentSize));
  return fmt::format("Empty the trash ({}) for good?",
                     ByteFormatting::readable(saturatedSum(selectedBytes, sizeOf(seen_.due, apparentSize))));
}

std::string TrashEmptying::remark(std::size_t moved, bool apparentSize) const {
  const std::string way = moved == 0   ? " The trash is emptied afterwards"
                          : moved == 1 ? " It goes through the trash, which is emptied"
                                       : " They go through the trash, which is emptied";
  if (isUnknown) return way + ": everything in it is deleted for good.";
  if (presentEntries(seen_.due).empty()) return way + "; nothing else is in it.";
  return fmt::format("{}: what is in it now {} is deleted for good, too.", way, others(apparentSize));
}

std::string TrashEmptying::dryText(bool apparentSize) const {
  const std::string now = isUnknown ? "" : fmt::format(" of what is in it now {}", others(apparentSize));
  return fmt::format("The trash would be emptied{}{}.\n", now,
                     seen_.undated.empty() ? "" : ", except entries without a usable date");
}

bool TrashEmptying::isMeant(const Entry& entry, const CleanupOutcome& outcome) const {
  const auto& receipts = outcome.disposal.receipts;
  const auto isSame = [&](const Entry& seen) { return seen.path == entry.path && seen.identity == entry.identity; };
  return entry.dating == FreedesktopTrash::Dating::leftover ||
         std::any_of(seen_.due.begin(), seen_.due.end(), isSame) ||
         std::any_of(seen_.undated.begin(), seen_.undated.end(), isSame) ||
         std::any_of(receipts.begin(), receipts.end(),
                     [&](const DisposalReceipt& receipt) { return receipt.destination == entry.path; });
}

void TrashEmptying::Result::addOther(const Entry& entry, const OnDeleted& onDeleted) {
  ++others;
  othersBytes = saturatedSum(othersBytes, entry.freeable);
  othersSize = saturatedSum(othersSize, entry.bytes);
  if (!onDeleted) return;
  const DisposalReceipt receipt{entry.path, DisposalMethod::delete_, std::nullopt, entry.bytes, currentTime()};
  onDeleted(receipt, entry.bytes, entry.freeable, entry.originalPath);
}

TrashEmptying::Result TrashEmptying::foresee(CleanupOutcome& outcome, const std::vector<CleanupCandidate>& candidates,
                                             const OnDeleted& onDeleted) const {
  std::set<std::string_view> moved;
  for (DisposalReceipt& receipt : outcome.disposal.receipts) {
    const bool isOther = isToolBackedTarget(receipt.path) || StoreNames::isWholeTrash(receipt.path);
    if (receipt.method != DisposalMethod::trash || isOther) continue;
    receipt.method = DisposalMethod::delete_;
    moved.insert(receipt.path);
    const auto candidate = std::find_if(candidates.begin(), candidates.end(),
                                        [&](const auto& each) { return each.item.path == receipt.path; });
    if (onDeleted) onDeleted(receipt, candidate->item.bytes, candidate->freeableBytes(), std::nullopt);
  }
  Result result;
  for (const Entry& entry : presentEntries(seen_.due)) result.addOther(entry, onDeleted);
  const std::int64_t freed =
      ShownSizes(candidates, false).ofThose([&](std::size_t i) { return moved.contains(candidates[i].item.path); });
  outcome.freedBytes = saturatedSum(outcome.freedBytes, saturatedSum(freed, result.othersBytes));
  return result;
}

TrashEmptying::Result TrashEmptying::run(CleanupOutcome& outcome, RemovalRecorder& recorder, bool includesUndated,
                                         const OnDeleted& onDeleted) const {
  TrashDisposer trash(request_.resolver, request_.mounts);
  const auto isChosen = [&](const Entry& entry) { return isMeant(entry, outcome); };
  Result result;
  RemovalRecorder ofOthers(RemovalCommand::emptyTrash, DisposalMethod::delete_, request_.resolver, currentTime());
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
    result.addOther(entry, onDeleted);
  };
  auto emptied = trash.emptyTrash(currentTime(), includesUndated, isChosen, &InterruptGuard::requested, {begins, gone});
  result.purged = std::move(emptied.purged);
  result.undated = std::move(emptied.undated);
  result.later = emptied.later;
  outcome.cancelled = InterruptGuard::requested() && (result.purged.notBegun > 0 || !result.purged.failures.empty());
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

std::string TrashEmptying::Result::text() const {
  std::string text;
  if (others > 0) {
    text = fmt::format("{} deleted from the trash, {} freed.\n", counted(others, "other entry", "other entries"),
                       ByteFormatting::readable(othersBytes));
  }
  text += partialText(othersInPart, "other entry of the trash", "other entries of the trash");
  const bool isEmpty =
      purged.failures.empty() && interruption.empty() && purged.notes.empty() && undated.empty() && later == 0;
  return text + (isEmpty ? "The trash is empty.\n" : "");
}

}  // namespace tidra
