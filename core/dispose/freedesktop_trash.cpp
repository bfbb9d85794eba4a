#include "core/dispose/freedesktop_trash.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/byte_units.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/dispose/item_removal.h"
#include "core/dispose/store_records.h"
#include "core/dispose/way_back.h"
#include "core/model/removal_leftover.h"
#include "core/platform/folder_entries.h"
#include "core/platform/path_text.h"
#include "core/scan/directory_size.h"
#include "core/scan/removal_note.h"

namespace tidra {
namespace {

constexpr StoreRecords infoFiles{.suffix = StoreNames::infoSuffix,
                                 .name = "its info file",
                                 .place = "in the trash",
                                 .restoreCommand = "tidra trash restore",
                                 .isRestoredByPath = true};
constexpr std::size_t largestInfo = 64_KiB;
constexpr const char* trashName = "the trash folder";

std::string infoFolderOf(const FreedesktopTrash::Entry& entry) {
  return joinedPath(parentPath(parentPath(entry.path)), "info");
}

std::string originalPlace(const FreedesktopTrash::Entry& entry) {
  if (entry.dating == FreedesktopTrash::Dating::leftover) {
    throw DisposalError(
        "is the rest of an interrupted deletion, which cannot be restored; tidra trash purge finishes it");
  }
  if (!entry.originalPath) {
    throw DisposalError(
        fmt::format("does not say where it was; move it back by hand from {}", escapedForTerminal(entry.path)));
  }
  return placeToRestore(*entry.originalPath, infoFiles.name, entry.path);
}

}  // namespace

FreedesktopTrash::FreedesktopTrash(TidraPathResolver resolver, std::vector<MountPoint> mounts)
    : resolver_(std::move(resolver)), mounts_(std::move(mounts)) {}

std::string FreedesktopTrash::homeTrash() const {
  const auto data = resolver_.environment.find("XDG_DATA_HOME");
  const bool isSet = data != resolver_.environment.end() && data->second.starts_with('/');
  return joinedPath(isSet ? standardizedPath(data->second) : joinedPath(resolver_.home, ".local/share"), "Trash");
}

std::string FreedesktopTrash::trashFolderFor(const HeldEntry& entry) const {
  if (!Volumes::differ(entry.folder, resolver_.home)) return homeTrash();
  return joinedPath(Volumes::topOf(entry.folder), fmt::format(".Trash-{}", runningUser()));
}

FreedesktopTrash::Location FreedesktopTrash::locationFor(const HeldEntry& entry) const {
  const std::string folder = trashFolderFor(entry);
  return {joinedPath(folder, "files"), joinedPath(folder, "info")};
}

FreedesktopTrash::Store FreedesktopTrash::open(const std::string& folder) {
  const auto trash = StoreFolder::open(folder, true, trashName);
  if (trash.isNewAndOpen) openStores_.insert(trash.folder.path);
  return {StoreFolder::open(trash.folder, "files", true, trashName),
          StoreFolder::open(trash.folder, "info", true, trashName)};
}

FreedesktopTrash::Store FreedesktopTrash::openExisting(const std::string& folder) {
  const auto trash = StoreFolder::openExisting(folder, true, trashName);
  return {StoreFolder::openExisting(trash.pathOf("files"), true, trashName),
          StoreFolder::openExisting(trash.pathOf("info"), true, trashName)};
}

void FreedesktopTrash::check(const HeldEntry& entry) const {
  const auto location = locationFor(entry);
  for (const std::string& folder : {parentPath(location.files), location.files, location.info}) {
    requireStoreUsable(folder, true, trashName);
  }
  requireStorable(entry, location.files, mounts_);
}

std::string FreedesktopTrash::trash(const HeldEntry& entry, const std::string& originalPath, TimePoint date) {
  const Store store = open(trashFolderFor(entry));
  return store.files.pathOf(
      infoFiles.moveIn(entry, store.files, store.info, "", infoText(originalPath, date), nextNumbers_));
}

std::vector<std::string> FreedesktopTrash::trashFolders() const {
  std::vector<std::string> folders = Volumes::ownFoldersNamed(fmt::format(".Trash-{}", runningUser()), mounts_);
  if (pathFacts(homeTrash())) folders.insert(folders.begin(), homeTrash());
  return folders;
}

std::string_view FreedesktopTrash::Entry::fault() const {
  switch (dating) {
    case Dating::noInfoFile:
      return "has no info file";
    case Dating::noDate:
      return "has no date that can be read";
    case Dating::future:
      return "has a date in the future";
    case Dating::dated:
    case Dating::leftover:
      break;
  }
  return {};
}

FreedesktopTrash::Purged& FreedesktopTrash::Purged::operator+=(Purged other) {
  std::move(other.paths.begin(), other.paths.end(), std::back_inserter(paths));
  std::move(other.partial.begin(), other.partial.end(), std::back_inserter(partial));
  std::move(other.failures.begin(), other.failures.end(), std::back_inserter(failures));
  std::move(other.notes.begin(), other.notes.end(), std::back_inserter(notes));
  notBegun += other.notBegun;
  return *this;
}

FreedesktopTrash::Choice FreedesktopTrash::choose(std::vector<Entry> entries, TimePoint cutOff, bool includesUndated) {
  Choice choice;
  for (Entry& entry : entries) {
    if (entry.isDue(cutOff) || (includesUndated && entry.isUndated())) {
      choice.due.push_back(std::move(entry));
    } else if (entry.isUndated()) {
      choice.undated.push_back(std::move(entry));
    }
  }
  return choice;
}

std::string FreedesktopTrash::describe(const std::vector<Entry>& undated) {
  constexpr std::size_t most = 5;
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < std::min(undated.size(), most); ++i) {
    texts.push_back(fmt::format("{} {}", escapedForTerminal(undated[i].path), undated[i].fault()));
  }
  if (undated.size() > most) texts.push_back(fmt::format("and {} more", undated.size() - most));
  return joined(texts, "; ");
}

/// An info file is written right before its item is moved: without an item it is either of a move in progress or, once
/// it is older than any such move takes, what a killed program has left.
bool FreedesktopTrash::mayBeInProgress(const Store& store, const std::string& name, TimePoint now) {
  constexpr std::chrono::minutes longestMove{10};
  const auto facts = entryFacts(store.info.descriptor(), infoFiles.fileOf(name).c_str());
  return facts && facts->modified > now - longestMove && facts->modified < now + longestMove;
}

FreedesktopTrash::Entry FreedesktopTrash::entryOf(const Store& store, const std::string& name, bool hasInfo,
                                                  TimePoint now) {
  Entry entry{.path = store.files.pathOf(name),
              .originalPath = std::nullopt,
              .dating = Dating::noInfoFile,
              .identity = std::nullopt};
  if (const auto facts = entryFacts(store.files.descriptor(), name.c_str())) entry.identity = facts->identity;
  if (!hasInfo) {
    if (RemovalNote::claims(store.files.descriptor(), name)) entry.dating = Dating::leftover;
    return entry;
  }
  const auto text = readFileEntry(store.info.descriptor(), infoFiles.fileOf(name).c_str(), largestInfo);
  const auto date = text ? dateOf(*text) : std::nullopt;
  entry.originalPath = text ? placeIn(*text, parentPath(store.files.folder.path)) : std::nullopt;
  entry.dating = !date ? Dating::noDate : *date > now ? Dating::future : Dating::dated;
  entry.date = date.value_or(TimePoint{});
  if (!entry.identity) entry.dating = Dating::leftover;
  return entry;
}

std::vector<FreedesktopTrash::Entry> FreedesktopTrash::listOf(const std::string& folder, TimePoint now) {
  const Store store = openExisting(folder);
  std::map<std::string, bool> hasInfo;
  for (const std::string& name : store.files.sortedNames()) hasInfo.emplace(name, false);
  for (const std::string& name : store.info.sortedNames()) {
    if (const auto item = infoFiles.itemOf(name)) hasInfo[*item] = true;
  }
  std::vector<Entry> entries;
  for (const auto& [name, has] : hasInfo) {
    // The note of a leftover is removed together with it.
    const std::string leftover =
        name.substr(0, name.size() - std::min(name.size(), RemovalLeftover::noteSuffix.size()));
    if (RemovalLeftover::isNote(name) && hasInfo.contains(leftover)) continue;
    Entry entry = entryOf(store, name, has, now);
    if (!entry.identity && has && mayBeInProgress(store, name, now)) continue;
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::vector<FreedesktopTrash::Entry> FreedesktopTrash::list(TimePoint now, std::vector<std::string>& notes) const {
  std::vector<Entry> entries;
  for (const std::string& folder : trashFolders()) {
    try {
      const auto listed = listOf(folder, now);
      entries.insert(entries.end(), listed.begin(), listed.end());
    } catch (const std::system_error& error) {
      if (error.code() == std::errc::no_such_file_or_directory) continue;  // the folder was never used
      notes.push_back(fmt::format("{} is skipped: {}.", escapedForTerminal(folder), error.code().message()));
    } catch (const std::exception& error) {
      notes.push_back(fmt::format("{} is skipped: {}.", escapedForTerminal(folder), error.what()));
    }
  }
  return entries;
}

void FreedesktopTrash::measure(std::vector<Entry>& entries) {
  std::vector<TidraDirectorySizeReader::Folder> folders;
  std::vector<Entry*> measured;
  for (Entry& entry : entries) {
    const auto facts = pathFacts(entry.path);
    if (!facts) continue;
    if (facts->type != EntryType::directory) {
      entry.bytes = facts->type == EntryType::regularFile ? signedBytes(facts->sizeBytes) : 0;
      if (const auto folder = openDirectory(parentPath(entry.path))) {
        entry.freeable = freeableByEntry(folder->get(), std::string(lastPathComponent(entry.path)));
      }
      continue;
    }
    folders.push_back({.path = entry.path, .enterBundles = true, .isTrash = true});
    measured.push_back(&entry);
  }
  const auto sizes = TidraDirectorySizeReader::readAll(folders, {});
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    measured[i]->bytes = signedBytes(sizes[i].bytes.value_or(0));
    measured[i]->freeable = signedBytes(sizes[i].use.freeableBytes);
  }
}

void FreedesktopTrash::checkRestore(const Entry& entry) { static_cast<void>(originalPlace(entry)); }

void FreedesktopTrash::restore(const Entry& entry) {
  const std::string place = originalPlace(entry);
  const auto info = StoreFolder::openExisting(infoFolderOf(entry), true, trashName);
  const HeldEntry item = holdEntry(entry.path);
  if (item.facts.identity != entry.identity) throw DisposalError("was replaced by something else meanwhile");
  moveBack(item, place);
  // The move comes first: an info file that a crash leaves without its item is removed by the next purge.
  infoFiles.remove(info, entry.name(), "was restored");
}

void FreedesktopTrash::removeOne(const Entry& entry, const std::function<bool()>& shouldCancel) {
  const auto info = StoreFolder::openExisting(infoFolderOf(entry), true, trashName);
  try {
    const HeldEntry item = holdEntry(entry.path);
    if (item.facts.identity != entry.identity) throw DisposalError("was replaced by something else meanwhile");
    // Other programs trash what nobody but its owner can delete; whole, it can be moved back.
    if (entry.dating != Dating::leftover) ItemRemoval::requireWhollyRemovable(item, {.shouldCancel = shouldCancel});
    ItemRemoval::run(item, {.shouldCancel = shouldCancel, .completion = "the next purge of the trash finishes it"});
  } catch (const PartlyRemovedError& error) {
    if (error.left() != entry.path) infoFiles.drop(info, entry.name());
    throw;
  } catch (const std::system_error& error) {
    if (error.code() != std::errc::no_such_file_or_directory) throw;
  }
  infoFiles.remove(info, entry.name(), "was deleted");
}

FreedesktopTrash::Purged FreedesktopTrash::remove(const std::vector<Entry>& entries,
                                                  const std::function<bool()>& shouldCancel) {
  const auto ignore = [](const Entry&) {};
  return remove(entries, shouldCancel, {ignore, ignore});
}

FreedesktopTrash::Purged FreedesktopTrash::remove(const std::vector<Entry>& entries,
                                                  const std::function<bool()>& shouldCancel, const Listener& listener) {
  Purged purged;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (shouldCancel && shouldCancel()) {
      purged.notBegun = entries.size() - i;
      break;
    }
    const Entry& entry = entries[i];
    // Without an item there is only an info file to tidy up.
    if (entry.identity) listener.begins(entry);
    try {
      removeOne(entry, shouldCancel);
      if (!entry.identity) continue;
      purged.paths.push_back(entry.path);
      listener.gone(entry);
    } catch (const PartlyRemovedError& error) {
      const bool isMeasured = entry.freeable > 0;
      purged.partial.push_back(
          {entry, isMeasured ? ItemRemoval::freedByPart(error.left(), entry.freeable, {.isInTrash = true}) : 0});
      purged.failures.push_back({entry.path, error.what()});
    } catch (const std::exception& error) {
      purged.failures.push_back({entry.path, error.what()});
    }
  }
  return purged;
}

FreedesktopTrash::Purged FreedesktopTrash::purge(std::int64_t olderThanDays, TimePoint now,
                                                 const std::function<bool()>& shouldCancel) const {
  std::vector<std::string> notes;
  Purged purged = remove(choose(list(now, notes), now - retention(olderThanDays), false).due, shouldCancel);
  purged.notes = std::move(notes);
  return purged;
}

}  // namespace tidra
