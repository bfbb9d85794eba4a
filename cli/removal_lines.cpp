#include "cli/removal_lines.h"

#include <algorithm>
#include <variant>

#include "core/scan/stores.h"

namespace tidra {

bool waitsForEmptying(const TidraDeletionService::Result& result) {
  const auto* disposed = std::get_if<TidraDeletionService::Disposed>(&result);
  if (disposed == nullptr) return false;
  const std::string& path = disposed->receipt.path;
  return disposed->receipt.method == DisposalMethod::trash && !isToolBackedTarget(path) &&
         !StoreNames::isWholeTrash(path);
}

TrashEmptier::OnDeleted lineWriter(const std::shared_ptr<JsonLines>& lines) {
  if (!lines) return {};
  return [lines](const DisposalReceipt& receipt, std::int64_t bytes, std::int64_t freedBytes,
                 const std::optional<std::string>& originalPath) {
    lines->removed(receipt, bytes, freedBytes, originalPath);
  };
}

void writeLinesAfterEmptying(const CleanupOutcome& outcome, std::size_t firstFailure,
                             const std::optional<TrashEmptier::Result>& emptied, JsonLines& lines) {
  for (const DisposalReceipt& receipt : outcome.disposal.receipts) {
    if (receipt.method != DisposalMethod::trash || !receipt.destination) continue;
    const auto size = std::find_if(outcome.unmeasured.begin(), outcome.unmeasured.end(),
                                   [&](const UnmeasuredSize& each) { return each.path == receipt.path; });
    lines.removed(receipt, size == outcome.unmeasured.end() ? 0 : size->bytes, 0);
  }
  const auto& failures = outcome.disposal.failures;
  for (std::size_t i = firstFailure; i < failures.size(); ++i) lines.failed(failures[i]);
  if (!emptied) return;
  for (const TidraDeletionFailure& failure : emptied->purged.failures) lines.failed(failure);
}

JsonLines::Others othersOf(const std::optional<TrashEmptier::Result>& emptied) {
  if (!emptied) return {};
  return {emptied->others, emptied->purged.failures.size(), emptied->othersSize};
}

}  // namespace tidra
