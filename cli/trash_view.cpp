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

std::string withFault(const Entry& entry, const std::string& shown) {
  return entry.isUnlisted() ? fmt::format("{} {}", shown, entry.fault()) : shown;
}

/// "/t/files/a has no info file; /t/files/b has a date in the future; and 3 more"
std::string listed(const std::vector<Entry>& entries) {
  constexpr std::size_t most = 5;
  std::vector<std::string> texts;
  for (const Entry& entry : entries) {
    if (texts.size() == most) break;
    texts.push_back(withFault(entry, escapedForTerminal(entry.path)));
  }
  if (entries.size() > most) texts.push_back(fmt::format("and {} more", entries.size() - most));
  return joined(texts, "; ");
}

}  // namespace

void noteUnlisted(const std::vector<Entry>& unlisted) {
  if (unlisted.empty()) return;
  writeNote(fmt::format("{} still in the trash: {}. --include-unlisted removes such entries as well.",
                        counted(unlisted.size(), "entry is", "entries are"), listed(unlisted)));
}

bool asksForUnlisted(const std::vector<Entry>& unlisted, const Program& program) {
  if (program.options.assumeYes || ::isatty(STDIN_FILENO) != 1) return false;
  return confirmed({fmt::format("Nothing says when {} in the trash {} put there: {}. Delete {} for good as well?",
                                counted(unlisted.size(), "entry", "entries"), unlisted.size() == 1 ? "was" : "were",
                                listed(unlisted), unlisted.size() == 1 ? "it" : "them"),
                    {}},
                   program);
}

namespace {

template <class Item, class BytesOf>
std::optional<std::int64_t> taken(std::vector<Item>& items, BytesOf bytesOf) {
  std::optional<std::int64_t> bytes;
  std::erase_if(items, [&](const Item& item) {
    if (!StoreNames::isWholeTrash(item.path)) return false;
    bytes = saturatedSum(bytes.value_or(0), bytesOf(item));
    return true;
  });
  return bytes;
}

}  // namespace

std::optional<std::int64_t> takeTrash(std::vector<CleanupPlan::Item>& items) {
  return taken(items, [](const CleanupPlan::Item& item) { return item.bytes; });
}

std::optional<std::int64_t> takeTrash(std::vector<DisposalReceipt>& receipts) {
  return taken(receipts, [](const DisposalReceipt& receipt) { return receipt.bytes.value_or(0); });
}

std::string emptyingText(const std::vector<CleanupCandidate>& candidates, TimePoint seenAt,
                         const CleanupViewOptions& options) {
  constexpr std::size_t entriesOnScreen = 30;
  std::string text;
  for (const CleanupCandidate& candidate : candidates) {
    if (candidate.refusal || !StoreNames::isWholeTrash(candidate.item.path)) continue;
    try {
      auto entries = FreedesktopTrash::listOf(parentPath(candidate.item.path), currentTime());
      std::erase_if(entries, [&](const Entry& entry) { return entry.isDated() && !entry.isDue(seenAt); });
      FreedesktopTrash::measure(entries);
      text += fmt::format("With the trash {} for good:\n", counted(entries.size(), "entry goes", "entries go"));
      text += trashContentText(std::move(entries),
                               options.limit.value_or(options.terminal.isTerminal ? entriesOnScreen : 0));
    } catch (const std::runtime_error&) {
      continue;  // removing it says why it cannot be read
    }
  }
  return text;
}

std::string trashContentText(std::vector<Entry> entries, std::size_t limit) {
  std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.bytes > b.bytes; });
  constexpr std::size_t sizeWidth = 12;
  const std::size_t shownCount = limit == 0 ? entries.size() : std::min(limit, entries.size());
  std::string text;
  for (std::size_t i = 0; i < shownCount; ++i) {
    text += fmt::format("{}  {}\n", paddedLeft(ByteFormatting::compact(entries[i].bytes), sizeWidth),
                        withFault(entries[i], escapedForTerminal(lastPathComponent(entries[i].path))));
  }
  if (shownCount == entries.size()) return text;
  std::int64_t hidden = 0;
  for (std::size_t i = shownCount; i < entries.size(); ++i) hidden = saturatedSum(hidden, entries[i].bytes);
  return text + fmt::format("{}  … in {} more; --limit 0 shows all\n",
                            paddedLeft(ByteFormatting::compact(hidden), sizeWidth), entries.size() - shownCount);
}

}  // namespace tidra
