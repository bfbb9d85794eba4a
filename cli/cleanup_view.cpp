#include "cli/cleanup_view.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/scan_view.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/tool_targets.h"
#include "core/model/byte_formatting.h"
#include "core/platform/path_resolver.h"
#include "core/platform/platform.h"

namespace tidra {
namespace {

constexpr std::size_t candidatesOnScreen = 30;
constexpr std::size_t tierWidth = 7;
constexpr std::string_view about = "about ";

std::string ageOf(const CleanupCandidate& candidate, TimePoint now) {
  return shortAge(candidate.found != nullptr ? candidate.found->finding.lastActivityDate : std::nullopt, now);
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

/// How to restore the item, what to mind before removing it, or that it cannot be undone. Only the hint of a safe item
/// is surely a way back.
std::string hintText(const CleanupCandidate& candidate) {
  const std::string& path = candidate.item.path;
  const bool isLost = removerOf(path) == Remover::tool && !ToolTargets::canBeUndone(path);
  const ScanArtifactFinding* finding = candidate.found != nullptr ? &candidate.found->finding : nullptr;
  const auto hint = finding != nullptr ? finding->restoreHint : std::nullopt;
  if (!hint) return isLost ? "cannot be undone" : "";
  const bool isSafe = candidate.item.tier == ArtifactSafetyTier::safe;
  std::string text = (isLost ? "cannot be undone; " : isSafe ? "to get it back: " : "careful: ") + shown(*hint);
  if (finding->evidence) text += fmt::format(" ({})", shown(*finding->evidence));
  return text;
}

std::string itemText(const CleanupCandidate& candidate, const Columns& columns, const CleanupViewOptions& options) {
  const Style style(options.terminal.colored);
  const bool onScreen = options.terminal.isTerminal;
  const std::string label = shown(candidate.item.label);
  const std::string place = shown(TidraPathResolver{options.home, {}}.displayPath(candidate.item.path));
  const bool isToolItem = removerOf(candidate.item.path) == Remover::tool;
  const std::size_t width = sizeWidth + (isToolItem ? about.size() : 0);
  const std::string size = fmt::format("{}{}", isToolItem ? about : "", ByteFormatting::compact(candidate.item.bytes));
  std::string text = fmt::format("  {}  {}  {}  {}  {}\n", paddedLeft(size, width),
                                 paddedRight(onScreen ? fitted(label, columns.label) : label, columns.label),
                                 style.tier(candidate.item.tier, paddedRight(rawValue(candidate.item.tier), tierWidth)),
                                 paddedLeft(ageOf(candidate, options.now), columns.age), place);
  const std::string command = isToolItem ? shown(ToolTargets::commandLine(candidate.item.path)) : "";
  for (const std::string& line : {command.empty() ? "" : "runs: " + command, hintText(candidate)}) {
    if (!line.empty()) text += fmt::format("  {}  {}\n", std::string(width, ' '), style.dim(line));
  }
  return text;
}

/// Lists the items of one remover.
std::string blockText(std::vector<const CleanupCandidate*> listed, const CleanupViewOptions& options) {
  const std::size_t all = listed.size();
  const std::size_t limit = options.limit.value_or(options.terminal.isTerminal ? candidatesOnScreen : 0);
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

/// "docker and conda", in the order of the items.
std::string toolNames(const std::vector<std::string_view>& paths) {
  std::vector<std::string> names;
  for (const std::string_view path : paths) {
    const std::string name(ToolTargets::toolOf(path));
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  if (names.size() < 2) return joined(names, "");
  const std::string last = names.back();
  names.pop_back();
  return joined(names, ", ") + " and " + last;
}

/// Everything removed by one remover.
struct Removed {
  std::vector<DisposalReceipt> receipts;
  std::vector<UnmeasuredSize> unmeasured;

  Removed(const CleanupOutcome& outcome, Remover remover)
      : receipts(outcome.disposal.receipts), unmeasured(outcome.unmeasured) {
    const auto isOthers = [remover](const auto& item) { return removerOf(item.path) != remover; };
    std::erase_if(receipts, isOthers);
    std::erase_if(unmeasured, isOthers);
  }

  std::string items() const { return counted(receipts.size(), "item", "items"); }
  std::string size() const {
    const bool isExact =
        std::all_of(unmeasured.begin(), unmeasured.end(), [](const auto& each) { return each.reportedByTool; });
    return fmt::format("{}{}", isExact ? "" : about, ByteFormatting::compact(disposedBytes(receipts, unmeasured)));
  }
  std::string tools() const {
    std::vector<std::string_view> paths;
    for (const DisposalReceipt& receipt : receipts) paths.push_back(receipt.path);
    return toolNames(paths);
  }
};

constexpr bool isTrashOfFinder = currentPlatform == TidraPlatform::macOS;

std::string undoHint(const Removed& own) {
  return fmt::format("; tidra undo brings {} back", own.receipts.size() == 1 ? "it" : "them");
}

std::string ownText(const Removed& own, DisposalMethod method) {
  // Leftovers of an interrupted removal are deleted by any method.
  const auto wasDeleted = [](const DisposalReceipt& receipt) { return receipt.method == DisposalMethod::delete_; };
  if (std::all_of(own.receipts.begin(), own.receipts.end(), wasDeleted)) method = DisposalMethod::delete_;
  switch (method) {
    case DisposalMethod::trash:
      return fmt::format("{} with {} moved to the trash{}. The space is free once the trash is emptied.\n", own.items(),
                         own.size(), isTrashOfFinder ? "" : undoHint(own));
    case DisposalMethod::quarantine:
      return fmt::format("{} with {} moved into quarantine{}. tidra quarantine purge frees the space.\n", own.items(),
                         own.size(), undoHint(own));
    case DisposalMethod::delete_:
      break;
  }
  return fmt::format("{} deleted, {} freed.\n", own.items(), own.size());
}

}  // namespace

Remover removerOf(std::string_view path) { return isToolBackedTarget(path) ? Remover::tool : Remover::tidra; }

std::string planText(const std::vector<CleanupCandidate>& candidates, const CleanupViewOptions& options) {
  std::vector<const CleanupCandidate*> own;
  std::vector<const CleanupCandidate*> byTools;
  for (const CleanupCandidate& candidate : candidates) {
    if (candidate.refusal) continue;
    (removerOf(candidate.item.path) == Remover::tool ? byTools : own).push_back(&candidate);
  }
  std::string text = blockText(std::move(own), options);
  if (byTools.empty()) return text;
  return text + "Removed by their tool, at once; no trash, no quarantine:\n" + blockText(std::move(byTools), options);
}

std::string planQuestion(const CleanupPlan& plan, Remover remover) {
  const std::string items = counted(plan.items.size(), "item", "items");
  const std::string size = ByteFormatting::compact(plan.totalBytes());
  if (remover == Remover::tool) {
    std::vector<std::string_view> paths;
    for (const CleanupPlan::Item& item : plan.items) paths.push_back(item.path);
    return fmt::format("Have {} remove {} ({}{}) at once and for good?", toolNames(paths), items, about, size);
  }
  switch (plan.method) {
    case DisposalMethod::trash:
      return fmt::format("Move {} ({}) to the trash?", items, size);
    case DisposalMethod::quarantine:
      return fmt::format("Move {} ({}) into quarantine?", items, size);
    case DisposalMethod::delete_:
      break;
  }
  return fmt::format("Delete {} ({}) for good?", items, size);
}

std::string outcomeText(const CleanupOutcome& outcome, DisposalMethod method, bool dryRun) {
  const Removed own(outcome, Remover::tidra);
  const Removed byTools(outcome, Remover::tool);
  if (dryRun) {
    std::string text;
    if (!own.receipts.empty() || byTools.receipts.empty()) {
      text = fmt::format("{} with {} would be removed; ", own.items(), own.size());
    }
    if (!byTools.receipts.empty()) {
      text += fmt::format("{} with {} would be removed by {}; ", byTools.items(), byTools.size(), byTools.tools());
    }
    return text + "nothing was changed.\n";
  }
  if (outcome.disposal.receipts.empty()) {
    return outcome.disposal.failures.empty() ? "Nothing was removed.\n" : "No item was removed completely.\n";
  }
  std::string text;
  if (!own.receipts.empty()) text += ownText(own, method);
  if (!byTools.receipts.empty()) {
    text += fmt::format("{} removed by {}, {} freed.\n", byTools.items(), byTools.tools(), byTools.size());
  }
  return text;
}

void writeFailures(const std::vector<TidraDeletionFailure>& failures) {
  for (const TidraDeletionFailure& failure : failures) {
    writeError(fmt::format("{}: {}", shown(failure.path), shown(failure.message)));
  }
}

}  // namespace tidra
