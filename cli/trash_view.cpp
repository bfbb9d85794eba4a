#include "cli/trash_view.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <string_view>

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

std::int64_t shownSize(const Entry& entry, bool apparentSize) { return apparentSize ? entry.bytes : entry.freeable; }

/// A line an entry, largest first, as many as the options allow.
std::string trashContentText(std::vector<Entry> entries, const CleanupViewOptions& options) {
  const auto sizeOf = [&](const Entry& entry) { return shownSize(entry, options.apparentSize); };
  std::stable_sort(entries.begin(), entries.end(),
                   [&](const Entry& a, const Entry& b) { return sizeOf(a) > sizeOf(b); });
  constexpr std::size_t entriesOnScreen = 30;
  constexpr std::size_t trashSizeWidth = sizeWidth + 2;
  const std::size_t limit = options.limit.value_or(options.terminal.isTerminal ? entriesOnScreen : 0);
  const std::size_t shownCount = limit == 0 ? entries.size() : std::min(limit, entries.size());
  std::string text;
  for (std::size_t i = 0; i < shownCount; ++i) {
    const std::string name = withFault(entries[i]);
    const std::size_t room = options.terminal.columns - std::min(options.terminal.columns, trashSizeWidth + 2);
    text += paddedLeft(ByteFormatting::readable(sizeOf(entries[i])), trashSizeWidth) + "  " +
            (options.terminal.isTerminal ? fittedInside(name, room) : name) + "\n";
  }
  if (shownCount == entries.size()) return text;
  std::int64_t hidden = 0;
  for (std::size_t i = shownCount; i < entries.size(); ++i) hidden = saturatedSum(hidden, sizeOf(entries[i]));
  return text + paragraph(fmt::format("{} and {} more with {}; --limit 0 shows all", glyphs().ellipsis,
                                      entries.size() - shownCount, ByteFormatting::readable(hidden)),
                          options.terminal, 2);
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
  std::string text;
  for (const auto& [path, choice] : choices) {
    if (choice.due.empty()) continue;
    text +=
        paragraph(fmt::format("With the trash {} for good:", counted(choice.due.size(), "entry goes", "entries go")),
                  options.terminal);
    text += trashContentText(choice.due, options);
  }
  return text;
}

std::optional<std::int64_t> takeTrash(std::vector<CleanupPlan::Item>& items, const TrashChoices& choices,
                                      bool apparentSize) {
  std::optional<std::int64_t> bytes;
  std::erase_if(items, [&](const CleanupPlan::Item& item) {
    if (!StoreNames::isWholeTrash(item.path)) return false;
    const auto choice = choices.find(item.path);
    if (choice == choices.end()) return true;
    for (const Entry& entry : choice->second.due) {
      bytes = saturatedSum(bytes.value_or(0), shownSize(entry, apparentSize));
    }
    return true;
  });
  return bytes;
}

std::vector<Entry> goneEntries(const FreedesktopTrash::Purged& purged, std::vector<Entry> entries) {
  const std::set<std::string_view> paths(purged.paths.begin(), purged.paths.end());
  std::erase_if(entries, [&](const Entry& entry) { return !entry.identity || !paths.contains(entry.path); });
  return entries;
}

}  // namespace tidra
