#include "fleet/hub/hub_store.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/errors.h"
#include "core/base/json_writer.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/open_file.h"
#include "core/platform/path_text.h"
#include "fleet/hub/folder_listing.h"
#include "fleet/hub/host_file.h"

namespace tidra {
namespace {

HubEvent hostEvent(HubEvent::Kind kind, const std::string& host, std::string message, TimePoint now) {
  return {.time = now, .kind = kind, .host = host, .message = std::move(message), .bytes = {}};
}

HubEvent policyEvent(HubEvent::Kind kind, const std::string& name, std::string_view what, TimePoint now) {
  return {.time = now, .kind = kind, .host = {}, .message = fmt::format("policy '{}' {}", name, what), .bytes = {}};
}

}  // namespace

HubStoreError HubStoreError::badName(std::string_view name) {
  return {Kind::badName,
          fmt::format("'{}' is not a valid policy name (letters, digits, - _ . only)", escapedForTerminal(name))};
}

HubStoreError HubStoreError::nameTaken(std::string_view host, std::string_view file, std::string_view owner) {
  return {Kind::nameTaken,
          fmt::format("host '{}' cannot be filed: its file, {}, is that of host '{}'; give one of them "
                      "another name, or remove '{}' from the inventory",
                      escapedForTerminal(host), file, escapedForTerminal(owner), escapedForTerminal(owner))};
}

HubStoreError HubStoreError::folderInUse(std::string_view folder) {
  return {Kind::folderInUse, fmt::format("another hub uses the data folder {}; stop it or choose another folder",
                                         escapedForTerminal(folder))};
}

HubStore::HubStore(std::string dataDir, double staleAfter, std::string title, TimePoint now, WarningSink warn)
    : folder_(std::move(dataDir)),
      staleAfter_(staleAfter),
      title_(std::move(title)),
      warn_(std::move(warn)),
      policies_(folder_.policies()),
      filings_([this](std::vector<Filing*>& filings) { file(filings); }),
      events_(folder_.eventLog()) {
  try {
    folder_.take();
    loadHosts(now);
  } catch (const std::system_error& error) {
    throw folder_.unusable(error);
  }
}

HubStore::Host HubStore::Host::make(std::shared_ptr<const HubHostFile> file, std::string fileName) {
  const auto isEarlier = [](const HubHistoryPoint& a, const HubHistoryPoint& b) { return a.time < b.time; };
  const bool isInOrder = std::is_sorted(file->history.begin(), file->history.end(), isEarlier);
  return {std::move(file), std::move(fileName), isInOrder};
}

void HubStore::loadHosts(TimePoint now) {
  removeLeftTemporaries(folder_.hosts());
  removeLeftTemporaries(folder_.policies());
  auto loaded = loadHostFiles(folder_.hosts());
  // When two files name the same host, the one with the proper name wins; admit those first.
  std::stable_partition(loaded.begin(), loaded.end(), [](const LoadedHost& host) {
    return host.failure.empty() && host.fileName == hostFileName(host.file.host);
  });
  for (LoadedHost& host : loaded) admit(std::move(host), now);
}

void HubStore::admit(LoadedHost loaded, TimePoint now) {
  if (!loaded.failure.empty()) return leaveOut(loaded.fileName, loaded.failure, now);
  const std::string host = loaded.file.host;
  if (const auto known = hosts_.find(host); known != hosts_.end()) {
    return leaveOut(
        loaded.fileName,
        fmt::format("host '{}' is in {} already", escapedForTerminal(host), escapedForTerminal(known->second.fileName)),
        now);
  }
  owners_[hostFileKey(loaded.fileName)] = host;
  for (const HubHistoryPoint& point : loaded.file.history) totals_.add(point);
  totals_.add(loaded.file.latest);
  hosts_[host] = Host::make(std::make_shared<const HubHostFile>(std::move(loaded.file)), std::move(loaded.fileName));
}

void HubStore::leaveOut(const std::string& fileName, const std::string& reason, TimePoint now) {
  damaged_.insert(hostFileKey(fileName));
  std::string message =
      fmt::format("host file {} was left out and kept as it is: {}", escapedForTerminal(fileName), reason);
  log({.time = now, .kind = HubEvent::Kind::reportRejected, .host = {}, .message = message, .bytes = {}});
  loadWarnings_.push_back(std::move(message));
}

/// Tests by writing: permissions do not show a volume that is read-only or full.
bool HubStore::isWritable() const {
  const std::lock_guard guard(lock_);
  const std::string path = joinedPath(folder_.path(), ".writable");
  try {
    removeFile(path);  // a crash may have left it
    const auto file = makeFile(path);
    const bool isWritten = file && !appendWhole(*file, "writable\n", 0);
    removeFile(path);
    return isWritten;
  } catch (const std::system_error&) {
    return false;
  }
}

std::string HubStore::hostPath(const std::string& fileName) const { return joinedPath(folder_.hosts(), fileName); }

/// Best effort: the change is durable already. Failing the request would make the agent send its report again, to be
/// counted twice.
void HubStore::log(const HubEvent& event, EventLog::Durability durability) {
  try {
    events_.append(event, durability);
  } catch (const std::system_error& error) {
    if (warn_) warn_(fmt::format("an event was not logged: {} ({})", error.what(), event.message));
  }
}

/// Renames a host file that could not be read at the start to "*.damaged", so that it is not overwritten.
void HubStore::setDamagedAside(const std::string& fileName) {
  const auto damaged = damaged_.find(hostFileKey(fileName));
  if (damaged == damaged_.end()) return;
  if (pathFacts(hostPath(fileName))) setAside(hostPath(fileName), ".damaged");
  damaged_.erase(damaged);
}

bool HubStore::remove(const std::string& host, TimePoint now) {
  const std::lock_guard guard(lock_);
  const auto known = hosts_.find(host);
  if (known == hosts_.end()) return false;
  const std::string path = hostPath(known->second.fileName);
  removeFile(path);
  flushFolder(folder_.hosts());
  for (const HubHistoryPoint& point : known->second.file->history) totals_.remove(point);
  totals_.remove(known->second.file->latest);
  owners_.erase(hostFileKey(known->second.fileName));
  hosts_.erase(known);
  log(hostEvent(HubEvent::Kind::hostRemoved, host, "removed from inventory", now));
  return true;
}

bool HubStore::setNote(const std::string& host, std::string_view note, TimePoint now) {
  const std::lock_guard guard(lock_);
  const auto known = hosts_.find(host);
  if (known == hosts_.end()) return false;
  auto after = std::make_shared<HubHostFile>(*known->second.file);
  after->note.reset();
  if (!trimmed(note).empty()) after->note = replacingInvalidUtf8(trimmed(note));
  after->lastAuditRewind.reset();
  setDamagedAside(known->second.fileName);
  text_.clear();
  appendJson(text_, *after);
  replaceFile(hostPath(known->second.fileName), text_, hostFileMode, AtLink::replace);
  known->second.file = after;
  log(hostEvent(HubEvent::Kind::noteUpdated, host, after->note.value_or("note cleared"), now));
  return true;
}

std::vector<std::string> HubStore::policyNames() const {
  const std::lock_guard guard(lock_);
  return policies_.names();
}

std::optional<std::string> HubStore::policy(const std::string& name) const {
  const std::lock_guard guard(lock_);
  return policies_.read(name);
}

void HubStore::putPolicy(const std::string& name, std::string_view document, TimePoint now) {
  const std::lock_guard guard(lock_);
  policies_.put(name, document);
  log(policyEvent(HubEvent::Kind::policyUpdated, name, "updated", now));
}

bool HubStore::removePolicy(const std::string& name, TimePoint now) {
  const std::lock_guard guard(lock_);
  if (!policies_.remove(name)) return false;
  log(policyEvent(HubEvent::Kind::policyRemoved, name, "removed", now));
  return true;
}

void HubStore::append(const HubEvent& event) {
  const std::lock_guard guard(lock_);
  events_.append(event, EventLog::Durability::machine);
}

std::vector<HubEvent> HubStore::recentEvents(std::size_t count) const {
  const std::lock_guard guard(lock_);
  return events_.recent(count);
}

}  // namespace tidra
