#include "app/view/removal_summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"

namespace tidra {
namespace {

using ByPath = std::unordered_map<std::string_view, const CleanupCandidate*>;

/// What was moved by this method and is still there.
RemovalSummary::Stored storedBy(DisposalMethod method, const CleanupOutcome& outcome, const ByPath& candidates) {
  RemovalSummary::Stored stored{.method = method};
  std::vector<const FoundArtifact*> found;
  for (const DisposalReceipt& receipt : outcome.disposal.receipts) {
    if (receipt.method != method || !receipt.destination) continue;
    ++stored.items;
    const auto candidate = candidates.find(receipt.path);
    if (candidate != candidates.end() && candidate->second->found != nullptr) {
      found.push_back(candidate->second->found);
    } else {
      stored.freeableBytes = saturatedSum(stored.freeableBytes, receipt.bytes.value_or(0));
    }
  }
  stored.freeableBytes = saturatedSum(stored.freeableBytes, signedBytes(CombinedUse(found).freeableBytes()));
  return stored;
}

std::string storedText(const RemovalSummary::Stored& stored) {
  const bool isTrash = stored.method == DisposalMethod::trash;
  const std::string_view then = isTrash             ? "once it is emptied"
                                : stored.items == 1 ? "once it is purged"
                                                    : "once they are purged";
  return fmt::format("{} {}; {} come free {}.", counted(stored.items, "item is", "items are"),
                     isTrash ? "in the trash" : "in quarantine", ByteFormatting::readable(stored.freeableBytes), then);
}

}  // namespace

RemovalSummary RemovalSummary::of(const CleanupResult& result) {
  const CleanupOutcome& outcome = result.outcome;
  RemovalSummary summary;
  summary.freedBytes = outcome.freedBytes;
  summary.isUpperBound = result.isUpperBound;
  summary.isInHistory = result.isInHistory;
  if (outcome.freedBytes > 0) summary.volumes = result.volumes;
  summary.removed = outcome.disposal.receipts.size();
  summary.failures = outcome.disposal.failures;
  summary.inPart = outcome.partial.size();
  summary.notes = outcome.remainders;
  for (const auto* notes : {&outcome.notes, &result.notes}) {
    summary.notes.insert(summary.notes.end(), notes->begin(), notes->end());
  }
  if (result.emptied) summary.addEmptied(*result.emptied);
  summary.failure = result.failure;
  summary.isCancelled = outcome.cancelled;
  ByPath byPath;
  for (const CleanupCandidate& candidate : result.candidates) byPath.emplace(candidate.item.path, &candidate);
  for (const auto method : {DisposalMethod::trash, DisposalMethod::quarantine}) {
    auto stored = storedBy(method, outcome, byPath);
    if (stored.items > 0) summary.stored.push_back(stored);
  }
  return summary;
}

void RemovalSummary::addEmptied(const TrashEmptier::Result& emptied) {
  failures.insert(failures.end(), emptied.purged.failures.begin(), emptied.purged.failures.end());
  notes.insert(notes.end(), emptied.purged.notes.begin(), emptied.purged.notes.end());
  inPart += emptied.othersInPart.size();
  otherEntries = emptied.others;
  otherBytes = emptied.othersBytes;
  if (!emptied.undated.empty()) {
    notes.push_back(fmt::format("{} still in the trash, since nothing says when they were put there.",
                                counted(emptied.undated.size(), "entry is", "entries are")));
  }
  if (emptied.later > 0) {
    notes.push_back(fmt::format("{} in the trash since you were asked.",
                                counted(emptied.later, "entry is new and stays", "entries are new and stay")));
  }
}

std::vector<std::string> RemovalSummary::sentences() const {
  std::vector<std::string> texts;
  if (freedBytes > 0) {
    const std::string change = volumes.empty() ? "" : "; " + describedChanges(volumes);
    texts.push_back(
        fmt::format("{}{} freed{}.", isUpperBound ? "Up to " : "", ByteFormatting::readable(freedBytes), change));
  } else if (removed == 0) {
    texts.emplace_back("Nothing was removed.");
  }
  if (otherEntries > 0) {
    texts.push_back(fmt::format("{} of that by {} of the trash.", ByteFormatting::readable(otherBytes),
                                counted(otherEntries, "other entry", "other entries")));
  }
  for (const Stored& each : stored) texts.push_back(storedText(each));
  if (inPart > 0) texts.push_back(counted(inPart, "item was", "items were") + " deleted in part.");
  if (!failures.empty()) {
    texts.push_back(counted(failures.size(), "item stays", "items stay") + " for the reason given.");
  }
  if (!failure.empty()) texts.push_back(failure);
  if (isCancelled) texts.emplace_back("Interrupted; what was not begun stays where it is.");
  return texts;
}

}  // namespace tidra
