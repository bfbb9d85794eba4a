#include "cli/trash_emptying.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "cli/interrupt.h"
#include "cli/removal_recorder.h"
#include "cli/scan_options.h"
#include "cli/shown_sizes.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/scan/stores.h"

namespace tidra {
namespace {

using Entry = FreedesktopTrash::Entry;

std::set<std::string> foldersOf(const WholeTrashes& trashes) {
  std::set<std::string> folders;
  for (const auto& [folder, choice] : trashes) folders.insert(folder);
  return folders;
}

}  // namespace

TrashEmptying::TrashEmptying(const ScanRequest& request, bool includesUndated, const WholeTrashes& selected)
    : resolver_(request.resolver),
      emptier_(request.resolver, request.mounts, currentTime(), includesUndated, foldersOf(selected)) {}

std::string TrashEmptying::listText(const CleanupViewOptions& options) const {
  return emptyingText({{"", emptier_.seen()}}, options);
}

std::string TrashEmptying::others(bool apparentSize) const {
  return fmt::format("({}, {})", counted(presentEntries(emptier_.seen().due).size(), "entry", "entries"),
                     ByteFormatting::readable(sizeOf(emptier_.seen().due, apparentSize)));
}

std::string TrashEmptying::question(std::int64_t selectedBytes, bool apparentSize) const {
  if (!TrashEmptier::isReadable) return "Empty the trash for good?";
  if (selectedBytes == 0) return fmt::format("Empty the trash {} for good?", others(apparentSize));
  return fmt::format("Empty the trash ({}) for good?",
                     ByteFormatting::readable(saturatedSum(selectedBytes, sizeOf(emptier_.seen().due, apparentSize))));
}

std::string TrashEmptying::remark(std::size_t moved, bool apparentSize) const {
  const std::string way = moved == 0   ? " The trash is emptied afterwards"
                          : moved == 1 ? " It goes through the trash, which is emptied"
                                       : " They go through the trash, which is emptied";
  if (!TrashEmptier::isReadable) return way + ": everything in it is deleted for good.";
  if (presentEntries(emptier_.seen().due).empty()) return way + "; nothing else is in it.";
  return fmt::format("{}: what is in it now {} is deleted for good, too.", way, others(apparentSize));
}

std::string TrashEmptying::dryText(bool apparentSize) const {
  const std::string now =
      !TrashEmptier::isReadable ? "" : fmt::format(" of what is in it now {}", others(apparentSize));
  return fmt::format("The trash would be emptied{}{}.\n", now,
                     emptier_.seen().undated.empty() ? "" : ", except entries without a usable date");
}

TrashEmptier::Result TrashEmptying::foresee(CleanupOutcome& outcome, const std::vector<CleanupCandidate>& candidates,
                                            const TrashEmptier::OnDeleted& onDeleted) const {
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
  TrashEmptier::Result result;
  for (const Entry& entry : presentEntries(emptier_.seen().due)) result.addOther(entry, currentTime(), onDeleted);
  const std::int64_t freed =
      ShownSizes(candidates, false).ofThose([&](std::size_t i) { return moved.contains(candidates[i].item.path); });
  outcome.freedBytes = saturatedSum(outcome.freedBytes, saturatedSum(freed, result.othersBytes));
  return result;
}

TrashEmptier::Result TrashEmptying::run(CleanupOutcome& outcome, HistoryRecorder& recorder, bool includesUndated,
                                        const TrashEmptier::OnDeleted& onDeleted) const {
  HistoryRecorder ofOthers(RemovalCommand::emptyTrash, DisposalMethod::delete_, resolver_, currentTime());
  auto result =
      emptier_.run(outcome, recorder, ofOthers, currentTime(), includesUndated, &InterruptGuard::requested, onDeleted);
  noteHistory(ofOthers);
  return result;
}

std::string emptiedTrashText(const TrashEmptier::Result& result) {
  std::string text;
  if (result.others > 0) {
    text = fmt::format("{} deleted from the trash, {} freed.\n", counted(result.others, "other entry", "other entries"),
                       ByteFormatting::readable(result.othersBytes));
  }
  text += partialText(result.othersInPart, "other entry of the trash", "other entries of the trash");
  const bool isEmpty = result.purged.failures.empty() && result.interruption.empty() && result.purged.notes.empty() &&
                       result.undated.empty() && result.later == 0;
  return text + (isEmpty ? "The trash is empty.\n" : "");
}

}  // namespace tidra
