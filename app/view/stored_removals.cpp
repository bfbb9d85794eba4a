// Which entries of trash and quarantine the history's items are.
#include "app/view/stored_removals.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/text.h"
#include "core/dispose/tool_targets.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// A trash holds local time, which an hour of autumn has twice: both sides go through its text.
TimePoint asStored(TimePoint date, DisposalMethod method) {
  if (method != DisposalMethod::trash) return date;
  return FreedesktopTrash::dateOf(FreedesktopTrash::infoText("/", date)).value_or(date);
}

/// Not for items without a destination.
bool isEntryOf(const RemovedItem& item, const StoredEntry& entry) {
  return entry.path == *item.destination && entry.originalPath == item.path &&
         entry.date == asStored(item.at, item.method);
}

std::optional<std::size_t> indexIn(const std::vector<StoredEntry>& entries,
                                   std::vector<StoredEntry>::const_iterator entry) {
  if (entry == entries.end()) return std::nullopt;
  return static_cast<std::size_t>(entry - entries.begin());
}

/// The run was killed while it moved the item, which is the first that came from there since.
std::optional<std::size_t> firstSince(const RemovedItem& item, const std::vector<StoredEntry>& entries) {
  auto first = entries.end();
  for (auto each = entries.begin(); each != entries.end(); ++each) {
    if (each->originalPath != item.path || each->date < asStored(item.at, item.method)) continue;
    if (first == entries.end() || each->date < first->date) first = each;
  }
  return indexIn(entries, first);
}

bool isTakenByOther(const RemovedItem& item, const std::vector<StoredEntry>& entries) {
  return item.destination && std::any_of(entries.begin(), entries.end(), [&](const StoredEntry& entry) {
           return entry.path == *item.destination && !isEntryOf(item, entry);
         });
}

}  // namespace

bool isPurge(const RemovalRun& run) {
  return run.command != RemovalCommand::clean && run.command != RemovalCommand::apply;
}

std::optional<std::size_t> entryOf(const RemovedItem& item, const std::vector<StoredEntry>& entries) {
  if (!item.destination) return firstSince(item, entries);
  return indexIn(entries, std::find_if(entries.begin(), entries.end(),
                                       [&](const StoredEntry& entry) { return isEntryOf(item, entry); }));
}

std::optional<std::string> takenByOther(const RemovedItem& item, const std::vector<StoredEntry>& entries,
                                        const TidraPathResolver& resolver) {
  if (!isTakenByOther(item, entries)) return std::nullopt;
  return fmt::format("{} stays: it came there at another time than what the removal moved.",
                     escapedForTerminal(resolver.displayPath(*item.destination)));
}

std::vector<std::size_t> entriesOfLastRemoval(const std::vector<StoredEntry>& entries, DisposalMethod method,
                                              const std::vector<RemovalRun>& runs, const TidraPathResolver& resolver,
                                              std::vector<std::string>& notes) {
  const auto last = std::find_if(runs.begin(), runs.end(), [](const RemovalRun& run) { return !isPurge(run); });
  std::vector<std::size_t> found;
  if (last == runs.end()) return found;
  for (const RemovedItem& item : last->items) {
    if (item.method != method || item.restoredAt) continue;
    if (const auto entry = entryOf(item, entries)) {
      found.push_back(*entry);
    } else if (auto note = takenByOther(item, entries, resolver)) {
      notes.push_back(std::move(*note));
    }
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

std::vector<StoredEntry> namesOf(const std::vector<FreedesktopTrash::Entry>& entries) {
  std::vector<StoredEntry> names;
  names.reserve(entries.size());
  for (const auto& entry : entries) {
    names.push_back({entry.name(), entry.path, entry.originalPath.value_or(""), entry.date});
  }
  return names;
}

std::vector<StoredEntry> namesOf(const std::vector<QuarantineDisposer::Entry>& entries) {
  std::vector<StoredEntry> names;
  names.reserve(entries.size());
  for (const auto& entry : entries) {
    names.push_back({entry.name(), entry.url, entry.manifest.originalPath, entry.manifest.quarantinedAt});
  }
  return names;
}

std::string whereTo(const RemovedItem& item) {
  if (item.isMoved()) return std::string(rawValue(item.method));
  if (isToolBackedTarget(item.path)) return fmt::format("removed by {}", ToolTargets::toolOf(item.path));
  return item.isPartial ? "deleted in part" : "deleted";
}

std::string StoredRemovals::nowOf(const RemovedItem& item) {
  if (item.restoredAt) return "restored";
  if (!isGone(item)) return whereTo(item);
  return pathExists(item.path) ? "restored" : "purged";
}

bool StoredRemovals::isGone(const RemovedItem& item) {
  if (!item.isMoved() || !item.destination) return false;
  const std::string folder = parentPath(*item.destination);
  if (!pathExists(*item.destination)) return pathExists(folder);
  const auto& entries = entriesIn(folder, item.method);
  return isTakenByOther(item, entries) && !entryOf(item, entries);
}

const std::vector<StoredEntry>& StoredRemovals::entriesIn(const std::string& folder, DisposalMethod method) {
  const auto [place, isNew] = entries_.try_emplace(folder);
  if (!isNew) return place->second;
  try {
    place->second = method == DisposalMethod::trash
                        ? namesOf(FreedesktopTrash::listOf(parentPath(folder), now_))
                        : namesOf(QuarantineDisposer({folder}, resolver_, host_, mounts_).list().entries);
  } catch (const std::exception&) {
    // A store that cannot be read says nothing about its entries.
  }
  return place->second;
}

}  // namespace tidra
