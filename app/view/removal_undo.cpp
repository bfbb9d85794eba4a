#include "app/view/removal_undo.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "core/base/quantities.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/platform/platform.h"

namespace tidra {
namespace {

UndoItem lostItem(std::size_t index, std::string reason, UndoItem::Rest rest = UndoItem::Rest::none) {
  return {.index = index, .state = UndoItem::State::lost, .rest = rest, .reason = std::move(reason)};
}

}  // namespace

std::size_t itemCount(const RemovalRun& run) {
  return run.items.size() + static_cast<std::size_t>(unsignedBytes(run.moreItems));
}

std::optional<std::int64_t> listedSize(const RemovedItem& item) {
  if (!item.isMoved() && item.freedBytes > 0) return item.freedBytes;
  return item.freeableBytes ? item.freeableBytes : item.bytes;
}

bool isUndoable(const RemovalRun& run) {
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
  if (!item.isMoved()) return lostItem(index, fmt::format("was {} for good", whereTo(item)));
  return item.method == DisposalMethod::quarantine ? fromQuarantine(item, index) : fromTrash(item, index);
}

/// Of an item that no entry of its store is.
UndoItem UndoFinder::missingItem(const RemovedItem& item, std::size_t index, const std::vector<StoredEntry>& names,
                                 const char* place) {
  if (auto note = takenByOther(item, names, resolver_)) notes_.push_back(std::move(*note));
  if (pathExists(item.path)) return {.index = index, .state = UndoItem::State::back};
  const bool isPurged = item.destination && pathExists(parentPath(*item.destination));
  auto lost =
      lostItem(index, fmt::format("is no longer {}: {}", place, isPurged ? "purged" : "restored or purged meanwhile"));
  if (!isPurged) lost.state = UndoItem::State::elsewhere;
  return lost;
}

UndoItem UndoFinder::fromTrash(const RemovedItem& item, std::size_t index) {
  if (currentPlatform == TidraPlatform::macOS) {
    auto kept = lostItem(index, "is in the trash; the Finder puts it back");
    kept.state = UndoItem::State::elsewhere;
    return kept;
  }
  if (!trash_) {
    trash_ = FreedesktopTrash(resolver_, mounts_).list(now_, notes_);
    std::erase_if(*trash_, [](const auto& each) { return !each.identity; });
    trashNames_ = namesOf(*trash_);
  }
  const auto found = entryOf(item, trashNames_);
  if (!found) return missingItem(item, index, trashNames_, "in the trash");
  const auto& entry = (*trash_)[*found];
  return {.index = index,
          .check = [entry] { FreedesktopTrash::checkRestore(entry); },
          .restore = [entry] { FreedesktopTrash::restore(entry); }};
}

const UndoFinder::Quarantine& UndoFinder::quarantineOf(const RemovedItem& item) {
  QuarantineConfig config =
      item.destination ? QuarantineConfig{parentPath(*item.destination)} : QuarantineConfig::makeDefault(resolver_);
  const std::string folder = config.directory;
  const auto known = quarantines_.find(folder);
  if (known != quarantines_.end()) return known->second;
  QuarantineDisposer disposer(std::move(config), resolver_, host_, mounts_);
  auto entries = disposer.list().entries;
  auto names = namesOf(entries);
  return quarantines_.emplace(folder, Quarantine{std::move(disposer), std::move(entries), std::move(names)})
      .first->second;
}

UndoItem UndoFinder::fromQuarantine(const RemovedItem& item, std::size_t index) {
  try {
    const Quarantine& quarantine = quarantineOf(item);
    const auto found = entryOf(item, quarantine.names);
    if (!found) return missingItem(item, index, quarantine.names, "in quarantine");
    const auto& entry = quarantine.entries[*found];
    return {.index = index,
            .check = [&quarantine, entry] { quarantine.disposer.checkRestore(entry); },
            .restore = [&quarantine, entry] { quarantine.disposer.restore(entry); }};
  } catch (const std::exception& error) {
    return {.index = index, .state = UndoItem::State::unreadable, .reason = error.what()};
  }
}

UndoChoice newestUndo(const std::vector<RemovalRun>& runs, UndoFinder& finder) {
  UndoChoice choice;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    if (!isUndoable(runs[i])) continue;
    auto items = finder.itemsOf(runs[i]);
    const auto count = [&](UndoItem::State state) {
      return static_cast<std::size_t>(
          std::count_if(items.begin(), items.end(), [state](const UndoItem& item) { return item.state == state; }));
    };
    const std::size_t back = count(UndoItem::State::back);
    if (back == items.size() || back + count(UndoItem::State::lost) < items.size()) {
      choice.run = i;
      choice.items = std::move(items);
      return choice;
    }
    ++choice.passedOver;
  }
  return choice;
}

}  // namespace tidra
