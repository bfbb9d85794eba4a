#include "cli/cleanup_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "app/view/item_hint.h"
#include "cli/scan_view.h"
#include "cli/shown_sizes.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/tool_targets.h"
#include "core/model/byte_formatting.h"
#include "core/platform/path_resolver.h"
#include "core/platform/platform.h"
#include "core/scan/stores.h"

namespace tidra {
namespace {

constexpr std::size_t candidatesOnScreen = 30;
constexpr std::string_view about = "about ";

std::string ageOf(const CleanupCandidate& candidate, TimePoint now) {
  return shortAge(candidate.found != nullptr ? candidate.found->finding.lastActivityDate : std::nullopt, now);
}

struct PlanColumns {
  std::size_t size = sizeWidth;
  std::size_t label = 0;
  std::size_t age = 0;
  bool hasTier = true;
  bool hasPlace = true;    // else it stands below
  std::size_t indent = 0;  // of what stands below

  std::size_t used() const { return 2 + size + 2 + label + (hasTier ? tierWidth + 2 : 0) + (age > 0 ? age + 2 : 0); }
};

/// The candidates of a list, with the sizes that are shown.
struct Listed {
  std::vector<const CleanupCandidate*> candidates;
  std::vector<std::int64_t> sizes;
  bool areOfTools = false;
};

std::string shownPlace(const CleanupCandidate& candidate, const CleanupViewOptions& options) {
  return shown(TidraPathResolver{options.home, {}}.displayPath(candidate.item.path));
}

PlanColumns columnsFor(const Listed& listed, const CleanupViewOptions& options) {
  PlanColumns columns;
  if (listed.areOfTools) columns.size += about.size();
  columns.indent = columns.size + 4;
  for (const CleanupCandidate* candidate : listed.candidates) {
    columns.label = std::max(columns.label, displayWidth(shownWords(candidate->item.label)));
    columns.age = std::max(columns.age, displayWidth(ageOf(*candidate, options.now)));
  }
  if (!options.terminal.isTerminal) return columns;
  const std::size_t screen = options.terminal.columns;
  constexpr std::size_t fewestWithAge = 44;
  constexpr std::size_t fewestWithTier = 30;
  columns.hasTier = screen >= fewestWithTier;
  if (screen < fewestWithAge) columns.age = 0;
  columns.label = std::min(columns.label, widestLabel);
  const std::size_t others = columns.used() - columns.label;
  columns.label = std::min(columns.label, screen > others ? screen - others : 1);
  constexpr std::size_t fewestWithIndent = 60;
  if (screen < fewestWithIndent) columns.indent = 4;
  columns.hasPlace = std::all_of(listed.candidates.begin(), listed.candidates.end(), [&](const auto* candidate) {
    return columns.used() + 2 + displayWidth(shownPlace(*candidate, options)) <= screen;
  });
  return columns;
}

/// How to restore the item, what to mind before removing it, or that it cannot be undone; and why its size differs.
std::string hintText(const CleanupCandidate& candidate) {
  const std::string& path = candidate.item.path;
  const bool isLost = removerOf(path) == Remover::tool && !ToolTargets::canBeUndone(path);
  const ScanArtifactFinding* finding = candidate.found != nullptr ? &candidate.found->finding : nullptr;
  const auto hint = hintOf(candidate.item, finding != nullptr ? finding->restoreHint : std::nullopt);
  std::string text = isLost ? "cannot be undone" : "";
  if (hint) text += isLost ? "; " + shownWords(hint->text) : shownWords(hint->sentence());
  if (finding == nullptr) return text;
  if (hint && finding->evidence) text += fmt::format(" ({})", shown(*finding->evidence));
  if (!finding->difference) return text;
  return text + (text.empty() ? "" : "; ") + std::string(describedDifference(*finding->difference));
}

std::string itemText(const CleanupCandidate& candidate, std::int64_t bytes, const PlanColumns& columns,
                     const CleanupViewOptions& options) {
  const Style style(options.terminal.colored);
  const bool onScreen = options.terminal.isTerminal;
  const std::string label = shownWords(candidate.item.label);
  const std::string place = shownPlace(candidate, options);
  const bool isToolItem = removerOf(candidate.item.path) == Remover::tool;
  const std::string size = fmt::format("{}{}", isToolItem ? about : "", ByteFormatting::readable(bytes));
  std::string text = "  " + paddedLeft(size, columns.size) + "  " +
                     paddedRight(onScreen ? fitted(label, columns.label) : label, columns.label);
  if (columns.hasTier) {
    text += "  " + style.tier(candidate.item.tier, paddedRight(rawValue(candidate.item.tier), tierWidth));
  }
  if (columns.age > 0) text += "  " + paddedLeft(ageOf(candidate, options.now), columns.age);
  // What goes is shown in full.
  if (columns.hasPlace) {
    text += "  " + place + "\n";
  } else {
    text.erase(text.find_last_not_of(' ') + 1);
    text += "\n" + paragraph(place, options.terminal, columns.indent);
  }
  const std::string command = isToolItem ? shown(ToolTargets::commandLine(candidate.item.path)) : "";
  for (const std::string& line : {command.empty() ? "" : "runs: " + command, hintText(candidate)}) {
    if (!line.empty()) text += dimParagraph(line, options.terminal, columns.indent);
  }
  return text;
}

/// Lists the items of one remover.
std::string blockText(const std::vector<CleanupCandidate>& candidates, const ShownSizes& sizes, Remover remover,
                      const CleanupViewOptions& options) {
  const std::size_t limit = options.limit.value_or(options.terminal.isTerminal ? candidatesOnScreen : 0);
  Listed listed;
  listed.areOfTools = remover == Remover::tool;
  std::set<std::size_t> hidden;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    if (candidates[i].refusal || removerOf(candidates[i].item.path) != remover) continue;
    if (limit > 0 && listed.candidates.size() == limit) {
      hidden.insert(i);
      continue;
    }
    listed.candidates.push_back(&candidates[i]);
    listed.sizes.push_back(sizes.of(i));
  }
  const PlanColumns columns = columnsFor(listed, options);
  std::string text;
  for (std::size_t i = 0; i < listed.candidates.size(); ++i) {
    text += itemText(*listed.candidates[i], listed.sizes[i], columns, options);
  }
  if (hidden.empty()) return text;
  const std::int64_t bytes = sizes.ofThose([&](std::size_t i) { return hidden.contains(i); });
  return text + paragraph(fmt::format("{} and {} more with {}; --limit 0 shows all", glyphs().ellipsis, hidden.size(),
                                      ByteFormatting::readable(bytes)),
                          options.terminal, 2);
}

enum class Way { moved, deleted, withTrash, byTool };

/// Leftovers of an interrupted removal are deleted by any method.
Way wayOf(const DisposalReceipt& receipt) {
  if (removerOf(receipt.path) == Remover::tool) return Way::byTool;
  if (StoreNames::isWholeTrash(receipt.path)) return Way::withTrash;
  return receipt.method == DisposalMethod::delete_ ? Way::deleted : Way::moved;
}

/// Everything that went one way.
struct Gone {
  std::size_t items = 0;
  std::int64_t bytes = 0;  // as they are shown
  bool isExact = true;
  std::vector<std::string_view> paths;

  template <class Predicate>
  Gone(const CleanupOutcome& outcome, const OutcomeContext& context, Predicate isMeant) {
    bool isMoved = false;
    std::set<std::string_view> meant;
    const auto& receipts = outcome.disposal.receipts;
    for (std::size_t i = 0; i < receipts.size(); ++i) {
      if (!isMeant(receipts[i])) continue;
      paths.push_back(receipts[i].path);
      meant.insert(receipts[i].path);
      isMoved = wayOf(receipts[i]) == Way::moved;
      bytes = saturatedSum(bytes, context.apparentSize ? receipts[i].bytes.value_or(0) : outcome.freedEach[i]);
    }
    items = paths.size();
    for (const UnmeasuredSize& size : outcome.unmeasured) {
      if (!meant.contains(size.path)) continue;
      isExact = isExact && size.reportedByTool;
      if (context.apparentSize) bytes = saturatedSum(bytes, size.bytes);
    }
    if (context.apparentSize || !isMoved) return;
    // What moved has freed nothing yet.
    bytes = ShownSizes(context.candidates, false).ofThose([&](std::size_t i) {
      return meant.contains(context.candidates[i].item.path);
    });
  }

  std::string count() const { return counted(items, "item", "items"); }
  std::string size() const { return (isExact ? "" : std::string(about)) + ByteFormatting::readable(bytes); }
};

constexpr bool isTrashOfFinder = currentPlatform == TidraPlatform::macOS;

/// What brings back what was moved. Where the history could not be written, only the store knows it.
std::string wayBackText(const Gone& moved, const OutcomeContext& context) {
  const char* object = moved.items == 1 ? "it" : "them";
  if (context.isInHistory) return fmt::format("; tidra undo brings {} back", object);
  return fmt::format("; tidra {0} restore brings {1} back, tidra undo does not know {1}", rawValue(context.method),
                     object);
}

std::string freedText(const Gone& gone, const OutcomeContext& context) {
  const std::string size = (context.isUpperBound && !context.apparentSize ? "up to " : "") + gone.size();
  return context.apparentSize ? fmt::format("{} of files", size) : fmt::format("{} freed", size);
}

std::string movedText(const Gone& moved, const OutcomeContext& context) {
  const bool toTrash = context.method == DisposalMethod::trash;
  const std::string_view when = toTrash ? "the trash is emptied" : "they are purged";
  const std::string then = fmt::format("until {}: then about {}", toTrash || moved.items > 1 ? when : "it is purged",
                                       ByteFormatting::readable(moved.bytes));
  const std::string_view where = toTrash ? "to the trash" : "into quarantine";
  if (context.dryRun && toTrash && context.emptiesTrash) {
    return fmt::format("{} would be moved to the trash and deleted with it, about {} freed; ", moved.count(),
                       ByteFormatting::readable(moved.bytes));
  }
  if (context.dryRun) {
    return fmt::format("{} would be moved {}, which frees nothing {}; ", moved.count(), where, then);
  }
  const bool isOfFinder = toTrash && isTrashOfFinder;
  const std::string undo = isOfFinder ? "" : wayBackText(moved, context);
  const std::string now = isOfFinder || !context.isInHistory
                              ? ""
                              : fmt::format(" To free it now: tidra {} purge --last.", rawValue(context.method));
  return fmt::format("{} moved {}{}. That frees nothing {}.{}\n", moved.count(), where, undo, then, now);
}

std::string deletedText(const Gone& deleted, const OutcomeContext& context) {
  const std::string freed = freedText(deleted, context);
  if (context.dryRun) return fmt::format("{} would be deleted, {}; ", deleted.count(), freed);
  const std::string volumes = context.volumes.empty() ? "" : fmt::format(" ({})", context.volumes);
  return fmt::format("{} deleted, {}{}.\n", deleted.count(), freed, volumes);
}

std::string emptiedText(const Gone& trash, bool isWhole, const OutcomeContext& context) {
  const std::string freed = freedText(trash, context);
  if (context.dryRun) {
    return fmt::format("{} would be deleted for good, {}; ", isWhole ? "the trash" : "part of the trash", freed);
  }
  const std::string volumes = context.volumes.empty() ? "" : fmt::format(" ({})", context.volumes);
  return fmt::format("The trash is emptied{}, {}{}.\n", isWhole ? "" : " but for what the notes name", freed, volumes);
}

std::string byToolsText(const Gone& gone, const OutcomeContext& context) {
  if (countOfPip(gone.paths) == gone.items) {
    const std::string freed =
        gone.isExact ? fmt::format("{} freed", gone.size()) : "pip does not say how much is freed";
    return context.dryRun ? "pip would empty its download cache; "
                          : fmt::format("pip has emptied its download cache, {}; the packages stay.\n", freed);
  }
  if (context.dryRun) {
    return fmt::format("{} with {} would be removed by {}; ", gone.count(), gone.size(), toolNames(gone.paths));
  }
  return fmt::format("{} removed by {}, {} freed.\n", gone.count(), toolNames(gone.paths), gone.size());
}

/// Begins a dry run's sentence, whose parts begin in lower case.
std::string capitalized(std::string text) {
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
  return text;
}

}  // namespace

std::string planText(const std::vector<CleanupCandidate>& candidates, const CleanupViewOptions& options) {
  const ShownSizes sizes(candidates, options.apparentSize);
  const std::string byTools = blockText(candidates, sizes, Remover::tool, options);
  std::string own = blockText(candidates, sizes, Remover::tidra, options);
  if (byTools.empty()) return own;
  return own + paragraph("Removed by their tool, at once; no trash, no quarantine:", options.terminal) + byTools;
}

std::string outcomeText(const CleanupOutcome& outcome, const OutcomeContext& context) {
  const auto gone = [&](Way way) {
    return Gone(outcome, context, [way](const DisposalReceipt& receipt) { return wayOf(receipt) == way; });
  };
  const Gone moved = gone(Way::moved);
  const Gone deleted = gone(Way::deleted);
  const Gone trash = gone(Way::withTrash);
  const Gone byTools = gone(Way::byTool);
  if (outcome.disposal.receipts.empty()) {
    if (context.dryRun) return "Nothing would be removed; nothing was changed.\n";
    if (!outcome.partial.empty()) return partialText(outcome.partial);
    return outcome.disposal.failures.empty() ? "Nothing was removed.\n" : "No item was removed completely.\n";
  }
  std::string text;
  if (moved.items > 0) text += movedText(moved, context);
  if (deleted.items > 0) text += deletedText(deleted, context);
  if (trash.items > 0) text += emptiedText(trash, outcome.remainders.empty(), context);
  if (byTools.items > 0) text += byToolsText(byTools, context);
  text += partialText(outcome.partial);
  return context.dryRun ? capitalized(text) + "nothing was changed.\n" : text;
}

std::string partialText(const std::vector<PartialRemoval>& partial, const char* one, const char* many) {
  if (partial.empty()) return {};
  std::int64_t bytes = 0;
  for (const PartialRemoval& each : partial) bytes = saturatedSum(bytes, each.freedBytes);
  return fmt::format("{} deleted in part, {} freed.\n", counted(partial.size(), one, many),
                     ByteFormatting::readable(bytes));
}

void writeFailures(const std::vector<TidraDeletionFailure>& failures, const std::string& home) {
  const TidraPathResolver resolver{home, {}};
  for (const TidraDeletionFailure& failure : failures) {
    writeError(
        fmt::format("{}: {}", shown(resolver.displayText(failure.path)), shown(resolver.displayText(failure.message))));
  }
}

}  // namespace tidra
