#include "app/view/stores_job.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "app/state/history_recorder.h"
#include "app/state/removal_history.h"
#include "app/state/state_folders.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/dispose/item_removal.h"

namespace tidra {
namespace {

void addFailure(StoresJob::Result& result, std::string path, const std::exception& error) {
  result.failures.push_back({std::move(path), error.what()});
}

}  // namespace

std::string StoredThing::path() const {
  const auto* trashed = std::get_if<FreedesktopTrash::Entry>(&entry);
  return trashed != nullptr ? trashed->path : std::get<QuarantineDisposer::Entry>(entry).url;
}

std::string StoredThing::originalPath() const {
  const auto* trashed = std::get_if<FreedesktopTrash::Entry>(&entry);
  return trashed != nullptr ? trashed->originalPath.value_or("")
                            : std::get<QuarantineDisposer::Entry>(entry).manifest.originalPath;
}

std::optional<TimePoint> StoredThing::since() const {
  const auto* trashed = std::get_if<FreedesktopTrash::Entry>(&entry);
  if (trashed == nullptr) return std::get<QuarantineDisposer::Entry>(entry).manifest.quarantinedAt;
  return trashed->isDated() ? std::optional(trashed->date) : std::nullopt;
}

std::int64_t StoredThing::freeableBytes() const {
  const auto* trashed = std::get_if<FreedesktopTrash::Entry>(&entry);
  return trashed != nullptr ? trashed->freeable : std::get<QuarantineDisposer::Entry>(entry).freeable();
}

StoresJob::StoresJob(Place place, StoresOrder order, std::function<void()> wake)
    : place_(std::move(place)), order_(std::move(order)), mailbox_(std::move(wake)) {
  thread_ = JoiningThread([this] {
    auto result = std::make_shared<Result>();
    try {
      work(*result);
    } catch (const std::exception& error) {
      result->failure = error.what();
    }
    mailbox_.post([&](std::shared_ptr<const Result>& news) { news = std::move(result); });
  });
}

void StoresJob::work(Result& result) {
  if (order_.act == StoresOrder::Act::restore) restore(result);
  if (order_.act == StoresOrder::Act::purge) {
    purgeTrash(result);
    purgeQuarantine(result);
  }
  list(result);
}

QuarantineDisposer StoresJob::quarantine() const {
  return {QuarantineConfig::makeDefault(place_.resolver), place_.resolver, place_.host, place_.mounts};
}

void StoresJob::restore(Result& result) {
  // A folder comes back before what was in it: otherwise its place would be taken.
  std::stable_sort(order_.things.begin(), order_.things.end(),
                   [](const auto& a, const auto& b) { return pathPrecedes(a.originalPath(), b.originalPath()); });
  const QuarantineDisposer disposer = quarantine();
  std::vector<MovedBack> back;
  for (const StoredThing& thing : order_.things) {
    if (isCancelled_) break;
    try {
      const auto* trashed = std::get_if<FreedesktopTrash::Entry>(&thing.entry);
      if (trashed != nullptr) {
        FreedesktopTrash::restore(*trashed);
      } else {
        disposer.restore(std::get<QuarantineDisposer::Entry>(thing.entry));
      }
      back.push_back({thing.path(), thing.originalPath()});
      result.restored.push_back(thing.originalPath());
    } catch (const std::exception& error) {
      addFailure(result, thing.path(), error);
    }
  }
  result.done = back.size();
  RemovalHistory(stateFolders(currentPlatform, place_.resolver).applicationData, [&](const std::string& note) {
    result.notes.push_back(note);
  }).markRestored(back, place_.clock());
}

void StoresJob::purgeTrash(Result& result) {
  std::vector<FreedesktopTrash::Entry> due;
  for (const StoredThing& thing : order_.things) {
    if (const auto* trashed = std::get_if<FreedesktopTrash::Entry>(&thing.entry)) due.push_back(*trashed);
  }
  if (due.empty()) return;
  HistoryRecorder recorder(RemovalCommand::trashPurge, DisposalMethod::delete_, place_.resolver, place_.clock());
  const auto begins = [&](const FreedesktopTrash::Entry& entry) { recorder.begin(entry.path, entry.freeable); };
  const auto gone = [&](const FreedesktopTrash::Entry& entry) {
    recorder.addPurged(entry);
    result.freedBytes = saturatedSum(result.freedBytes, entry.freeable);
    ++result.done;
  };
  const auto purged = FreedesktopTrash::remove(due, [this] { return isCancelled_.load(); }, {begins, gone});
  for (const FreedesktopTrash::Partial& partial : purged.partial)
    recorder.addPartial({partial.entry.originalPath.value_or(partial.entry.path), partial.freedBytes});
  recorder.addFailures(purged.failures);
  recorder.write();
  result.failures.insert(result.failures.end(), purged.failures.begin(), purged.failures.end());
  result.notes.insert(result.notes.end(), recorder.notes().begin(), recorder.notes().end());
}

void StoresJob::purgeQuarantine(Result& result) {
  HistoryRecorder recorder(RemovalCommand::quarantinePurge, DisposalMethod::delete_, place_.resolver, place_.clock());
  const QuarantineDisposer disposer = quarantine();
  std::vector<TidraDeletionFailure> failures;
  for (const StoredThing& thing : order_.things) {
    const auto* entry = std::get_if<QuarantineDisposer::Entry>(&thing.entry);
    if (entry == nullptr || isCancelled_) continue;
    recorder.begin(entry->url, entry->freeable());
    try {
      disposer.remove(*entry, [this] { return isCancelled_.load(); });
      recorder.addPurged(*entry);
      result.freedBytes = saturatedSum(result.freedBytes, entry->freeable());
      ++result.done;
    } catch (const PartlyRemovedError& error) {
      recorder.addPartial({entry->manifest.originalPath,
                           ItemRemoval::freedByPart(error.left(), entry->freeable(), {.isInTrash = true})});
      failures.push_back({entry->url, error.what()});
    } catch (const std::exception& error) {
      failures.push_back({entry->url, error.what()});
    }
  }
  recorder.addFailures(failures);
  recorder.write();
  result.failures.insert(result.failures.end(), failures.begin(), failures.end());
  result.notes.insert(result.notes.end(), recorder.notes().begin(), recorder.notes().end());
}

void StoresJob::list(Result& result) const {
  if (currentPlatform != TidraPlatform::macOS) {  // the Finder keeps the trash there
    auto trashed = FreedesktopTrash(place_.resolver, place_.mounts).list(place_.clock(), result.notes);
    std::erase_if(trashed, [](const FreedesktopTrash::Entry& entry) { return !entry.identity; });
    FreedesktopTrash::measure(trashed);
    for (FreedesktopTrash::Entry& entry : trashed) result.things.push_back({std::move(entry)});
  }
  auto listing = quarantine().list();
  for (QuarantineDisposer::Entry& entry : listing.entries) result.things.push_back({std::move(entry)});
  result.notes.insert(result.notes.end(), listing.notes.begin(), listing.notes.end());
  std::stable_sort(result.things.begin(), result.things.end(),
                   [](const StoredThing& a, const StoredThing& b) { return a.since() > b.since(); });
}

}  // namespace tidra
