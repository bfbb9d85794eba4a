#include "cli/cleanup_view.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/scan_view.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/path_resolver.h"

namespace tidra {
namespace {

constexpr std::size_t itemsOnScreen = 30;
constexpr std::size_t sizeWidth = 8;
constexpr std::size_t tierWidth = 7;
constexpr std::size_t widestLabel = 28;

std::string shown(std::string_view text) { return escapedForTerminal(text); }

std::string ageOf(const CleanupCandidate& candidate, TimePoint now) {
  return shortAge(candidate.reported ? candidate.reported->lastActivity : std::nullopt, now);
}

struct Columns {
  std::size_t label = 0;
  std::size_t age = 0;
};

Columns columnsFor(const std::vector<const CleanupCandidate*>& listed, const CleanupViewOptions& options) {
  Columns columns;
  for (const CleanupCandidate* candidate : listed) {
    columns.label = std::max(columns.label, displayWidth(shown(candidate->item.label)));
    columns.age = std::max(columns.age, displayWidth(ageOf(*candidate, options.now)));
  }
  if (options.terminal.isTerminal) columns.label = std::min(columns.label, widestLabel);
  return columns;
}

std::string itemText(const CleanupCandidate& candidate, const Columns& columns, const CleanupViewOptions& options) {
  const Style style(options.terminal.colored);
  const bool onScreen = options.terminal.isTerminal;
  const std::string label = shown(candidate.item.label);
  const std::string place = shown(TidraPathResolver{options.home, {}}.displayPath(candidate.item.path));
  std::string text =
      fmt::format("  {}  {}  {}  {}  {}\n", paddedLeft(ByteFormatting::compact(candidate.item.bytes), sizeWidth),
                  paddedRight(onScreen ? fitted(label, columns.label) : label, columns.label),
                  style.tier(candidate.item.tier, paddedRight(rawValue(candidate.item.tier), tierWidth)),
                  paddedLeft(ageOf(candidate, options.now), columns.age), place);
  if (candidate.reported && candidate.reported->restoreHint) {
    std::string hint = "to get it back: " + shown(*candidate.reported->restoreHint);
    if (candidate.reported->evidence) hint += fmt::format(" ({})", shown(*candidate.reported->evidence));
    text += fmt::format("  {}  {}\n", std::string(sizeWidth, ' '), style.dim(hint));
  }
  return text;
}

std::int64_t sumOf(const std::vector<DisposalReceipt>& receipts) {
  std::int64_t sum = 0;
  for (const DisposalReceipt& receipt : receipts) sum = saturatedSum(sum, receipt.bytes.value_or(0));
  return sum;
}

}  // namespace

std::string planText(const std::vector<CleanupCandidate>& candidates, const CleanupViewOptions& options) {
  std::vector<const CleanupCandidate*> listed;
  for (const CleanupCandidate& candidate : candidates) {
    if (!candidate.refusal) listed.push_back(&candidate);
  }
  const std::size_t all = listed.size();
  const std::size_t limit = options.limit.value_or(options.terminal.isTerminal ? itemsOnScreen : 0);
  std::int64_t hidden = 0;
  if (limit > 0 && limit < all) {
    for (std::size_t i = limit; i < all; ++i) hidden = saturatedSum(hidden, listed[i]->item.bytes);
    listed.resize(limit);
  }
  const Columns columns = columnsFor(listed, options);
  std::string text;
  for (const CleanupCandidate* candidate : listed) text += itemText(*candidate, columns, options);
  if (listed.size() < all) {
    text += fmt::format("  … and {} more with {}; --limit 0 shows all\n", all - listed.size(),
                        ByteFormatting::compact(hidden));
  }
  return text;
}

std::string planQuestion(const CleanupPlan& plan) {
  const std::string what =
      fmt::format("{} ({})", counted(plan.items.size(), "item", "items"), ByteFormatting::compact(plan.totalBytes()));
  switch (plan.method) {
    case DisposalMethod::trash:
      return fmt::format("Move {} to the trash?", what);
    case DisposalMethod::quarantine:
      return fmt::format("Move {} into quarantine?", what);
    case DisposalMethod::delete_:
      break;
  }
  return fmt::format("Delete {} for good?", what);
}

std::string outcomeText(const DisposalOutcome& outcome, DisposalMethod method, bool dryRun) {
  const auto count = outcome.receipts.size();
  const std::string size = ByteFormatting::compact(sumOf(outcome.receipts));
  const std::string items = counted(count, "item", "items");
  if (dryRun) return fmt::format("{} with {} would go; nothing was changed.\n", items, size);
  if (count == 0) return outcome.failures.empty() ? "Nothing was removed.\n" : "No item was removed as a whole.\n";
  // What an earlier removal left is deleted whatever the method.
  const auto wasDeleted = [](const DisposalReceipt& receipt) { return receipt.method == DisposalMethod::delete_; };
  if (std::all_of(outcome.receipts.begin(), outcome.receipts.end(), wasDeleted)) method = DisposalMethod::delete_;
  switch (method) {
    case DisposalMethod::trash:
      return fmt::format("{} with {} moved to the trash. The space is free once the trash is emptied.\n", items, size);
    case DisposalMethod::quarantine:
      return fmt::format(
          "{} with {} moved into quarantine. tidra quarantine restore brings things back, purge frees the space.\n",
          items, size);
    case DisposalMethod::delete_:
      break;
  }
  return fmt::format("{} deleted, {} freed.\n", items, size);
}

void writeFailures(const std::vector<TidraDeletionFailure>& failures) {
  for (const TidraDeletionFailure& failure : failures) {
    writeError(fmt::format("{}: {}", shown(failure.path), shown(failure.message)));
  }
}

}  // namespace tidra
