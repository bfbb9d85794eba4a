#include "app/state/removal_history.h"

#include <algorithm>
#include <iterator>

#include "app/state/file_preferences_store.h"
#include "app/state/preferences_store.h"
#include "app/state/removal_journal.h"
#include "app/state/state_folders.h"
#include "core/base/byte_units.h"
#include "core/base/quantities.h"
#include "core/base/record_fields.h"
#include "core/base/uuid.h"
#include "core/platform/file_lock.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr std::int64_t historyVersion = 1;
constexpr std::size_t mostHistoryBytes = 2_MiB;
constexpr std::size_t mostReadBytes = 8 * mostHistoryBytes;

/// The document: runs, oldest first.
struct HistoryDocument {
  std::vector<RemovalRun> runs;
  std::int64_t schemaVersion = historyVersion;
};

}  // namespace

template <>
constexpr auto fieldsOf<RemovedItem> =
    recordFields(bytesField("path", &RemovedItem::path), field("method", &RemovedItem::method),
                 bytesField("destination", &RemovedItem::destination), field("bytes", &RemovedItem::bytes),
                 fieldOrDefault("freedBytes", &RemovedItem::freedBytes),
                 field("freeableBytes", &RemovedItem::freeableBytes), field("at", &RemovedItem::at),
                 field("restoredAt", &RemovedItem::restoredAt), fieldOrDefault("partial", &RemovedItem::isPartial));

template <>
constexpr auto fieldsOf<RemovalRun> =
    recordFields(field("id", &RemovalRun::id), field("at", &RemovalRun::at), field("command", &RemovalRun::command),
                 field("method", &RemovalRun::method), field("items", &RemovalRun::items),
                 fieldOrDefault("moreItems", &RemovalRun::moreItems), fieldOrDefault("failures", &RemovalRun::failures),
                 fieldOrDefault("moreFailures", &RemovalRun::moreFailures),
                 fieldOrDefault("freedBytes", &RemovalRun::freedBytes), field("undoneAt", &RemovalRun::undoneAt));

template <>
constexpr auto fieldsOf<HistoryDocument> = recordFields(field("schemaVersion", &HistoryDocument::schemaVersion),
                                                        field("runs", &HistoryDocument::runs));

template struct RecordCodec<RemovedItem>;
template struct RecordCodec<RemovalRun>;

template <>
struct JsonCodec<HistoryDocument> : RecordCodec<HistoryDocument> {};

RemovalHistory::RemovalHistory(const std::string& folder, std::function<void(const std::string&)> onNote)
    : folder_(folder), path_(joinedPath(folder, "history.json")), onNote_(std::move(onNote)) {}

void RemovalRun::add(RemovedItem item) {
  freedBytes = saturatedSum(freedBytes, item.freedBytes);
  if (items.size() < mostItems) {
    items.push_back(std::move(item));
  } else {
    ++moreItems;
  }
}

void RemovalRun::add(TidraDeletionFailure failure) {
  if (failures.size() < mostFailures) {
    failures.push_back(std::move(failure));
  } else {
    ++moreFailures;
  }
}

namespace {

/// Adds the runs of killed processes, by the time when they began.
void takeOver(std::vector<RemovalRun>& runs, std::vector<LeftJournal> left) {
  for (LeftJournal& each : left) {
    // A journal outlives its run's entry when the process is killed in between.
    const bool isKnown =
        std::any_of(runs.begin(), runs.end(), [&](const RemovalRun& run) { return run.id == each.run.id; });
    if (each.run.items.empty() || isKnown) continue;
    const auto place = std::upper_bound(runs.begin(), runs.end(), each.run.at,
                                        [](TimePoint at, const RemovalRun& run) { return at < run.at; });
    runs.insert(place, std::move(each.run));
  }
}

}  // namespace

/// Oldest first; none if the file is damaged.
std::optional<std::vector<RemovalRun>> RemovalHistory::stored() const {
  if (!isOwnState(path_)) return std::nullopt;  // planted while others could write to the folder
  const auto text = readRegularFile(path_, mostReadBytes);
  if (text.failure() == std::errc::no_such_file_or_directory) return std::vector<RemovalRun>{};
  if (text.failure() == std::errc::file_too_large) return std::nullopt;
  if (!text) {
    throw PreferencesError(
        fmt::format("The history of removals {} cannot be read: {}.", path_,
                    text.failure() == std::errc::invalid_argument ? "not a regular file" : text.failure().message()));
  }
  try {
    const auto document = parseJson(*text, path_);
    const std::int64_t version = JsonObjectReader(document, path_).optional<std::int64_t>("schemaVersion").value_or(0);
    if (version > historyVersion) {
      throw PreferencesError(
          fmt::format("The history of removals {} is of a newer version; it stays as it is.", path_));
    }
    return JsonCodec<HistoryDocument>::decode(document, path_).runs;
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

std::vector<RemovalRun> RemovalHistory::load() const {
  // First the journals: one that is finished in between is in the file by then.
  auto left = RemovalJournal::leftIn(folder_);
  auto runs = stored();
  if (!runs) {
    throw PreferencesError(
        fmt::format("The history of removals {} is damaged; the next removal keeps it as it is under another name and "
                    "begins a new one.",
                    path_));
  }
  takeOver(*runs, std::move(left));
  std::reverse(runs->begin(), runs->end());
  return std::move(*runs);
}

void RemovalHistory::takeOverKilled() {
  if (RemovalJournal::leftIn(folder_).empty()) return;
  change([](std::vector<RemovalRun>&) {});
}

std::unique_ptr<RemovalJournal> RemovalHistory::begin(RemovalRun& run) {
  run.id = makeUuid();
  std::unique_ptr<RemovalJournal> journal;
  // Without the lock, a change by another process could take the new file for one that was left.
  locked([&] { journal = std::make_unique<RemovalJournal>(folder_, run); });
  return journal;
}

void RemovalHistory::finish(RemovalRun run, const RemovalJournal* journal) {
  if (run.id.empty()) run.id = makeUuid();
  if (!run.items.empty()) change([&](std::vector<RemovalRun>& runs) { runs.push_back(std::move(run)); });
  if (journal == nullptr) return;
  locked([&] { removeFile(journal->path()); });
}

void RemovalHistory::update(const std::string& id, const std::function<void(RemovalRun&)>& edit) {
  change([&](std::vector<RemovalRun>& runs) {
    const auto found = std::find_if(runs.begin(), runs.end(), [&](const RemovalRun& each) { return each.id == id; });
    if (found != runs.end()) edit(*found);
  });
}

namespace {

/// The newest item that went from one of the places to the other and is not back yet; null if there is none.
RemovedItem* findMoved(std::vector<RemovalRun>& runs, const MovedBack& back) {
  for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
    for (RemovedItem& item : run->items) {
      const bool isThere = item.isMoved() && item.destination.value_or(back.from) == back.from;
      if (!item.restoredAt && isThere && item.path == back.to) return &item;
    }
  }
  return nullptr;
}

bool isAllBack(const RemovalRun& run) {
  bool movedSome = false;
  for (const RemovedItem& item : run.items) {
    if (!item.isMoved()) continue;
    if (!item.restoredAt) return false;
    movedSome = true;
  }
  return movedSome && run.moreItems == 0;
}

}  // namespace

void RemovalHistory::markRestored(const std::vector<MovedBack>& items, TimePoint now) {
  auto known = load();
  const bool concernsSome =
      std::any_of(items.begin(), items.end(), [&](const MovedBack& item) { return findMoved(known, item) != nullptr; });
  if (!concernsSome) return;
  change([&](std::vector<RemovalRun>& runs) {
    for (const MovedBack& item : items) {
      if (RemovedItem* found = findMoved(runs, item)) found->restoredAt = now;
    }
    for (RemovalRun& run : runs) {
      if (!run.undoneAt && isAllBack(run)) run.undoneAt = now;
    }
  });
}

void RemovalHistory::locked(const std::function<void()>& work) const {
  try {
    makeStateFolder(folder_);
    const FileLock lock(path_ + ".lock");
    work();
  } catch (const std::system_error& error) {
    throw PreferencesError(fmt::format("The history of removals was not written: {}.", error.what()));
  }
}

void RemovalHistory::change(const std::function<void(std::vector<RemovalRun>&)>& edit) {
  locked([&] {
    FilePreferencesStore::removeLeftovers(path_);
    auto runs = stored();
    if (!runs) {
      onNote_(fmt::format("The history of removals {} was damaged; it is kept as {}, and a new one begins.", path_,
                          setAside(path_, ".damaged")));
      runs.emplace();
    }
    const auto left = RemovalJournal::leftIn(folder_);
    takeOver(*runs, left);
    edit(*runs);
    replace(*runs);
    for (const LeftJournal& each : left) discard(each);
  });
}

/// Removes a journal that was taken over; renames a damaged one to "….damaged" and reports it.
void RemovalHistory::discard(const LeftJournal& journal) const {
  if (!journal.isDamaged) return removeFile(journal.path);
  onNote_(fmt::format("The record of a removal {} is damaged; it is kept as {}.", journal.path,
                      setAside(journal.path, ".damaged")));
}

void RemovalHistory::replace(std::vector<RemovalRun>& runs) const {
  if (runs.size() > mostRuns) runs.erase(runs.begin(), runs.end() - static_cast<std::ptrdiff_t>(mostRuns));
  std::string text = prettyJson(HistoryDocument{runs});
  // Long lists of items: half of the runs go at a time, which ends after few rounds.
  while (text.size() > mostHistoryBytes && runs.size() > 1) {
    runs.erase(runs.begin(), runs.begin() + static_cast<std::ptrdiff_t>((runs.size() + 1) / 2));
    text = prettyJson(HistoryDocument{runs});
  }
  replacePrivateFile(path_, text + "\n", onNote_);
}

}  // namespace tidra
