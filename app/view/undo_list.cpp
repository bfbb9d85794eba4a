#include "app/view/undo_list.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "app/state/state_folders.h"
#include "core/base/quantities.h"

namespace tidra {

UndoList::UndoList(Setting setting) : setting_(std::move(setting)) { reload(); }

RemovalHistory UndoList::history() {
  return {stateFolders(currentPlatform, setting_.resolver).applicationData,
          [this](const std::string& note) { notes_.push_back(note); }};
}

UndoFinder UndoList::finder() const { return {setting_.resolver, setting_.host, setting_.mounts, setting_.clock()}; }

void UndoList::reload() {
  notes_.clear();
  auto history = this->history();
  history.takeOverKilled();
  runs_ = history.load();
}

UndoList::Row UndoList::row(std::size_t run) const {
  const RemovalRun& at = runs_.at(run);
  Row row{.items = itemCount(at), .freedBytes = at.freedBytes, .mayComeBack = isUndoable(at)};
  for (const RemovedItem& item : at.items) {
    if (item.isMoved()) ++row.moved;
    if (item.restoredAt) ++row.back;
  }
  // What the history has only counted was moved like the rest.
  if (row.moved > 0) row.moved += static_cast<std::size_t>(unsignedBytes(at.moreItems));
  return row;
}

std::optional<std::size_t> UndoList::newest() const {
  UndoFinder finder = this->finder();
  return newestUndo(runs_, finder).run;
}

std::vector<UndoList::Item> UndoList::items(std::size_t run) const {
  const RemovalRun& at = runs_.at(run);
  std::vector<Item> items;
  StoredRemovals stored(setting_.resolver, setting_.host, setting_.mounts, setting_.clock());
  for (auto item = at.items.rbegin(); item != at.items.rend(); ++item) {
    items.push_back({.path = item->path, .bytes = listedSize(*item), .where = stored.nowOf(*item), .reason = {}});
  }
  UndoFinder finder = this->finder();
  for (const UndoItem& found : finder.itemsOf(at)) {
    Item& item = items[at.items.size() - 1 - found.index];
    if (found.state == UndoItem::State::back) item.where = "restored";
    item.reason = found.reason;
  }
  return items;
}

void UndoList::note(const RemovalRun& run, Undone& undone, bool isDone) {
  const TimePoint now = setting_.clock();
  try {
    history().update(run.id, [&](RemovalRun& stored) {
      for (const std::size_t index : undone.back) {
        if (index < stored.items.size()) stored.items[index].restoredAt = now;
      }
      if (isDone) stored.undoneAt = now;
    });
  } catch (const PreferencesError& error) {
    undone.result.notes.emplace_back(error.what());
  }
}

void UndoList::bringBack(const UndoItem& item, const std::string& path, Undone& undone) {
  if (item.isLost() || item.state == UndoItem::State::unreadable) {
    undone.settled += item.isLost() ? 1 : 0;
    undone.result.failures.push_back({path, item.reason});
    return;
  }
  try {
    if (item.state == UndoItem::State::stored) item.restore();
    undone.result.restored.push_back(path);
    undone.back.push_back(item.index);
    ++undone.settled;
  } catch (const std::exception& error) {
    undone.result.failures.push_back({path, error.what()});
  }
}

UndoList::Result UndoList::undo(std::size_t run, const std::function<bool()>& shouldCancel) {
  const RemovalRun at = runs_.at(run);
  UndoFinder finder = this->finder();
  const auto items = finder.itemsOf(at);
  Undone undone;
  for (const UndoItem& item : items) {
    undone.result.isCancelled = shouldCancel && shouldCancel();
    if (undone.result.isCancelled) break;
    bringBack(item, at.items[item.index].path, undone);
  }
  note(at, undone, undone.settled == items.size());
  auto& notes = undone.result.notes;
  notes.insert(notes.end(), finder.notes().begin(), finder.notes().end());
  reload();
  return std::move(undone.result);
}

}  // namespace tidra
