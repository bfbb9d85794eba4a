#include "app/view/removal_undo.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "core/dispose/tool_targets.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/platform/platform.h"

namespace tidra {
namespace {

UndoItem lostItem(std::size_t index, std::string reason, UndoItem::Rest rest = UndoItem::Rest::none) {
  return {.index = index, .state = UndoItem::State::lost, .rest = rest, .reason = std::move(reason)};
}

/// Of an item that no entry of its store is.
UndoItem missingItem(const RemovedItem& item, std::size_t index, const char* place) {
  if (pathExists(item.path)) return {.index = index, .state = UndoItem::State::back};
  return lostItem(index, fmt::format("is no longer {}: restored or purged meanwhile", place));
}

/// Whether an entry of a store that came from the item's place is the item.
bool isEntryOf(const RemovedItem& item, const std::string& place, TimePoint date) {
  return item.destination ? place == *item.destination : date >= item.at;
}

bool isPurge(const RemovalRun& run) {
  return run.command != RemovalCommand::clean && run.command != RemovalCommand::apply;
}

}  // namespace

std::string placeOfRemoved(const RemovedItem& item) {
  if (item.isMoved()) return std::string(rawValue(item.method));
  if (isToolBackedTarget(item.path)) return fmt::format("removed by {}", ToolTargets::toolOf(item.path));
  return item.isPartial ? "deleted in part" : "deleted";
}

std::optional<std::int64_t> sizeOfRemoved(const RemovedItem& item) {
  if (!item.isMoved() && item.freedBytes > 0) return item.freedBytes;
  return item.freeableBytes ? item.freeableBytes : item.bytes;
}

bool hasWayBack(const RemovalRun& run) {
  return !run.undoneAt && !isPurge(run) &&
         std::any_of(run.items.begin(), run.items.end(), [](const RemovedItem& item) { return !item.restoredAt; });
}

std::vector<UndoItem> UndoFinder::itemsOf(const RemovalRun& run) {
  std::vector<UndoItem> items;
  for (std::size_t i = run.items.size(); i-- > 0;) {
    if (!run.items[i].restoredAt) items.push_back(wayBack(run.items[i], i, run.method));
  }
  return items;
}

UndoItem UndoFinder::wayBack(const RemovedItem& item, std::size_t index, DisposalMethod methodOfRun) {
  if (item.isPartial && methodOfRun == DisposalMethod::trash) {
    return lostItem(index, "was deleted in part when the trash was emptied", UndoItem::Rest::inTrash);
  }
  if (item.isPartial) return lostItem(index, "was deleted in part", UndoItem::Rest::inPlace);
  if (!item.isMoved()) return lostItem(index, fmt::format("was {} for good", placeOfRemoved(item)));
  return item.method == DisposalMethod::quarantine ? fromQuarantine(item, index) : fromTrash(item, index);
}

UndoItem UndoFinder::fromTrash(const RemovedItem& item, std::size_t index) {
  if (currentPlatform == TidraPlatform::macOS) return lostItem(index, "is in the trash; the Finder puts it back");
  if (!trash_) trash_ = FreedesktopTrash(resolver_, mounts_).list(now_, notes_);
  const auto entry = std::find_if(trash_->begin(), trash_->end(), [&](const auto& each) {
    return each.identity && isEntryOf(item, each.path, each.date) && each.originalPath == item.path;
  });
  if (entry == trash_->end()) return missingItem(item, index, "in the trash");
  return {.index = index,
          .check = [entry = *entry] { FreedesktopTrash::checkRestore(entry); },
          .restore = [entry = *entry] { FreedesktopTrash::restore(entry); }};
}

const QuarantineDisposer& UndoFinder::quarantineOf(const RemovedItem& item) {
  QuarantineConfig config =
      item.destination ? QuarantineConfig{parentPath(*item.destination)} : QuarantineConfig::makeDefault(resolver_);
  const std::string folder = config.directory;
  const auto known = quarantines_.find(folder);
  if (known != quarantines_.end()) return known->second;
  QuarantineDisposer quarantine(std::move(config), resolver_, host_, mounts_);
  listings_[folder] = quarantine.list();
  return quarantines_.emplace(folder, std::move(quarantine)).first->second;
}

UndoItem UndoFinder::fromQuarantine(const RemovedItem& item, std::size_t index) {
  try {
    const QuarantineDisposer& quarantine = quarantineOf(item);
    const auto& entries = listings_[quarantine.config().directory].entries;
    const auto entry = std::find_if(entries.begin(), entries.end(), [&](const auto& each) {
      return isEntryOf(item, each.url, each.manifest.quarantinedAt) && each.manifest.originalPath == item.path;
    });
    if (entry == entries.end()) return missingItem(item, index, "in quarantine");
    return {.index = index,
            .check = [&quarantine, entry = *entry] { quarantine.checkRestore(entry); },
            .restore = [&quarantine, entry = *entry] { quarantine.restore(entry); }};
  } catch (const std::exception& error) {
    return {.index = index, .state = UndoItem::State::unreadable, .reason = error.what()};
  }
}

}  // namespace tidra
