#include "cli/trash_view.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "cli/confirmation.h"
#include "cli/scan_options.h"
#include "cli/scan_view.h"
#include "cli/terminal.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/path_text.h"
#include "core/scan/stores.h"

namespace tidra {
namespace {

using Entry = FreedesktopTrash::Entry;

std::string withFault(const Entry& entry) {
  const std::string name = escapedForTerminal(lastPathComponent(entry.path));
  return entry.isUnlisted() ? fmt::format("{} {}", name, entry.fault()) : name;
}

/// At most `limit` lines; 0 lists all.
std::string trashContentText(std::vector<Entry> entries, std::size_t limit) {
  std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.bytes > b.bytes; });
  constexpr std::size_t trashSizeWidth = 12;
  const std::size_t shownCount = limit == 0 ? entries.size() : std::min(limit, entries.size());
  std::string text;
  for (std::size_t i = 0; i < shownCount; ++i) {
    text += fmt::format("{}  {}\n", paddedLeft(ByteFormatting::compact(entries[i].bytes), trashSizeWidth),
                        withFault(entries[i]));
  }
  if (shownCount == entries.size()) return text;
  std::int64_t hidden = 0;
  for (std::size_t i = shownCount; i < entries.size(); ++i) hidden = saturatedSum(hidden, entries[i].bytes);
  return text + fmt::format("{}  … in {} more; --limit 0 shows all\n",
                            paddedLeft(ByteFormatting::compact(hidden), trashSizeWidth), entries.size() - shownCount);
}

}  // namespace

void noteUnlisted(const std::vector<Entry>& unlisted) {
  if (unlisted.empty()) return;
  writeNote(fmt::format("{} still in the trash: {}. --include-unlisted removes such entries as well.",
                        counted(unlisted.size(), "entry is", "entries are"), FreedesktopTrash::listed(unlisted)));
}

std::optional<bool> agreesToUnlisted(const std::vector<Entry>& unlisted, const Program& program) {
  if (program.options.assumeYes || ::isatty(STDIN_FILENO) != 1) return std::nullopt;
  return confirmed({fmt::format("Nothing says when {} in the trash {} put there: {}. Delete {} for good as well?",
                                counted(unlisted.size(), "entry", "entries"), unlisted.size() == 1 ? "was" : "were",
                                FreedesktopTrash::listed(unlisted), unlisted.size() == 1 ? "it" : "them"),
                    {}},
                   program);
}

std::string interruptedText(const FreedesktopTrash::Purged& purged) {
  const std::size_t staying = purged.failures.size() + purged.notBegun;
  return fmt::format("Interrupted; {} of the trash {} deleted, {} that {} to go {} still in it.",
                     counted(purged.paths.size(), "entry", "entries"), purged.paths.size() == 1 ? "is" : "are", staying,
                     staying == 1 ? "was" : "were", staying == 1 ? "is" : "are");
}

TrashChoices trashChoices(const std::vector<CleanupCandidate>& candidates, TimePoint seenAt, bool includesUnlisted) {
  TrashChoices choices;
  for (const CleanupCandidate& candidate : candidates) {
    const std::string& path = candidate.item.path;
    if (candidate.refusal || !StoreNames::isWholeTrash(path)) continue;
    try {
      auto entries = FreedesktopTrash::listOf(parentPath(path), currentTime());
      auto choice = FreedesktopTrash::choose(std::move(entries), seenAt, includesUnlisted);
      FreedesktopTrash::measure(choice.due);
      choices.emplace(path, std::move(choice));
    } catch (const std::runtime_error&) {
      continue;
    }
  }
  return choices;
}

std::string emptyingText(const TrashChoices& choices, const CleanupViewOptions& options) {
  constexpr std::size_t entriesOnScreen = 30;
  const std::size_t limit = options.limit.value_or(options.terminal.isTerminal ? entriesOnScreen : 0);
  std::string text;
  for (const auto& [path, choice] : choices) {
    if (choice.due.empty()) continue;
    text += fmt::format("With the trash {} for good:\n", counted(choice.due.size(), "entry goes", "entries go"));
    text += trashContentText(choice.due, limit);
  }
  return text;
}

std::optional<std::int64_t> takeTrash(std::vector<CleanupPlan::Item>& items, const TrashChoices& choices) {
  std::optional<std::int64_t> bytes;
  std::erase_if(items, [&](const CleanupPlan::Item& item) {
    if (!StoreNames::isWholeTrash(item.path)) return false;
    const auto choice = choices.find(item.path);
    if (choice == choices.end()) return true;
    for (const Entry& entry : choice->second.due) bytes = saturatedSum(bytes.value_or(0), entry.bytes);
    return true;
  });
  return bytes;
}

std::optional<std::int64_t> takeTrash(std::vector<DisposalReceipt>& receipts) {
  std::optional<std::int64_t> bytes;
  std::erase_if(receipts, [&](const DisposalReceipt& receipt) {
    if (!StoreNames::isWholeTrash(receipt.path)) return false;
    bytes = saturatedSum(bytes.value_or(0), receipt.bytes.value_or(0));
    return true;
  });
  return bytes;
}

}  // namespace tidra
