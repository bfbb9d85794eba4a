#include "cli/trash_view.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "cli/confirmation.h"
#include "cli/scan_options.h"
#include "cli/scan_view.h"
#include "cli/stored_entries.h"
#include "cli/table.h"
#include "cli/terminal.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/path_text.h"
#include "core/scan/stores.h"

namespace tidra {
namespace {

using Entry = FreedesktopTrash::Entry;

std::int64_t shownSize(const Entry& entry, bool apparentSize) { return apparentSize ? entry.bytes : entry.freeable; }

/// A table of the entries, largest first, as many as the options allow.
std::string trashContentText(std::vector<Entry> entries, const CleanupViewOptions& options) {
  const auto sizeOfEach = [&](const Entry& entry) { return shownSize(entry, options.apparentSize); };
  std::stable_sort(entries.begin(), entries.end(),
                   [&](const Entry& a, const Entry& b) { return sizeOfEach(a) > sizeOfEach(b); });
  constexpr std::size_t entriesOnScreen = 30;
  const std::size_t limit = options.limit.value_or(options.terminal.isTerminal ? entriesOnScreen : 0);
  const std::size_t shownCount = limit == 0 ? entries.size() : std::min(limit, entries.size());
  const std::vector<Entry> hidden(entries.begin() + static_cast<std::ptrdiff_t>(shownCount), entries.end());
  entries.resize(shownCount);
  std::string text =
      trashTable(entries, TidraPathResolver{options.home, {}}, options.terminal, 0, options.apparentSize);
  if (hidden.empty()) return text;
  return text + paragraph(fmt::format("{} and {} more with {}; --limit 0 shows all", glyphs().ellipsis, hidden.size(),
                                      ByteFormatting::readable(sizeOf(hidden, options.apparentSize))),
                          options.terminal, 2);
}

}  // namespace

void noteUndated(const std::vector<Entry>& undated) {
  if (undated.empty()) return;
  writeNote(fmt::format("{} still in the trash: {}. --include-unlisted removes such entries as well.",
                        counted(undated.size(), "entry is", "entries are"), FreedesktopTrash::describe(undated)));
}

std::optional<bool> agreesToUndated(const std::vector<Entry>& undated, const Program& program) {
  if (program.options.assumeYes || ::isatty(STDIN_FILENO) != 1) return std::nullopt;
  return confirmed({fmt::format("{} in the trash {} no usable date: {}. Delete {} for good as well?",
                                counted(undated.size(), "entry", "entries"), undated.size() == 1 ? "has" : "have",
                                FreedesktopTrash::describe(undated), undated.size() == 1 ? "it" : "them"),
                    {}},
                   program);
}

std::string emptyingText(const WholeTrashes& choices, const CleanupViewOptions& options) {
  std::string text;
  for (const auto& [path, choice] : choices) {
    const auto going = presentEntries(choice.due);
    if (going.empty()) continue;
    text += paragraph(fmt::format("With the trash {} for good:", counted(going.size(), "entry goes", "entries go")),
                      options.terminal);
    text += trashContentText(going, options);
  }
  return text;
}

std::optional<std::int64_t> takeTrash(std::vector<CleanupPlan::Item>& items, const WholeTrashes& choices,
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

std::string trashTable(const std::vector<Entry>& entries, const TidraPathResolver& resolver,
                       const TerminalFacts& terminal, std::size_t most, bool apparentSize) {
  TextTable table({{"NAME", false, TextTable::Cut::middle},
                   {apparentSize ? "SIZE" : "FREES", true},
                   {"TRASHED", false, TextTable::Cut::never},
                   {"FROM", false, TextTable::Cut::middle}});
  const std::string dash(glyphs().dash);
  const std::size_t count = most == 0 ? entries.size() : std::min(most, entries.size());
  for (std::size_t i = 0; i < count; ++i) {
    const Entry& entry = entries[i];
    const std::string from = entry.originalPath  ? shown(resolver.displayPath(*entry.originalPath))
                             : entry.isUndated() ? std::string(entry.fault())
                                                 : "the rest of a deletion";
    table.add({shown(entry.name()), sizeCell(shownSize(entry, apparentSize)),
               entry.isDated() ? localMinute(entry.date) : dash, from});
  }
  return table.text(terminal) + moreText(entries.size() - count, terminal);
}

std::vector<Entry> presentEntries(std::vector<Entry> entries) {
  std::erase_if(entries, [](const Entry& entry) { return !entry.identity; });
  return entries;
}

std::int64_t sizeOf(const std::vector<Entry>& entries, bool apparentSize) {
  std::int64_t bytes = 0;
  for (const Entry& entry : entries) bytes = saturatedSum(bytes, shownSize(entry, apparentSize));
  return bytes;
}

std::vector<Entry> goneEntries(const FreedesktopTrash::Purged& purged, std::vector<Entry> entries) {
  const std::set<std::string_view> paths(purged.paths.begin(), purged.paths.end());
  std::erase_if(entries, [&](const Entry& entry) { return !entry.identity || !paths.contains(entry.path); });
  return entries;
}

std::vector<PartialRemoval> partlyGone(const FreedesktopTrash::Purged& purged) {
  std::vector<PartialRemoval> partial;
  for (const auto& [entry, freedBytes] : purged.partial) {
    partial.push_back({entry.originalPath.value_or(entry.path), freedBytes});
  }
  return partial;
}

}  // namespace tidra
