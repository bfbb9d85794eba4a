#include "fleet/hub/hub_store.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/open_file.h"
#include "core/platform/path_text.h"
#include "core/platform/platform.h"
#include "fleet/hub/folder_listing.h"
#include "fleet/hub/host_file.h"

namespace tidra {
namespace {

/// What the file system takes for the name of a file: on macOS "Web.json" and "web.json" are one.
std::string fileKey(const std::string& name) {
  return currentPlatform == TidraPlatform::macOS ? asciiLowered(name) : name;
}

HubHistoryPoint pointOf(const HubHostReport& report, TimePoint now) {
  return {.time = now,
          .reclaimableBytes = report.reclaimableBytes,
          .disposedBytes = report.disposedBytes,
          .failures = report.failures,
          .volumeAvailableBytes = report.volumeAvailableBytes,
          .dryRun = report.dryRun};
}

/// A log only grows: a lower number at its head, or another record at the same number, means that it was cut or
/// rewritten.
bool isAuditRewind(const HubHostReport& before, const HubHostReport& after) {
  if (after.auditSeq != before.auditSeq) return after.auditSeq < before.auditSeq;
  return after.auditHeadHash != before.auditHeadHash && before.auditHeadHash && after.auditHeadHash;
}

/// The newest points, one fewer than fit, with room for exactly one more: ten thousand hosts have a thousand each.
std::vector<HubHistoryPoint> historyWithRoom(const std::vector<HubHistoryPoint>& history) {
  const std::size_t kept = std::min(history.size(), HubHostFile::mostHistory - 1);
  std::vector<HubHistoryPoint> points;
  points.reserve(kept + 1);
  points.assign(history.end() - static_cast<std::ptrdiff_t>(kept), history.end());
  return points;
}

HubHostFile withReport(const HubHostFile* before, const HubHostReport& report, TimePoint now) {
  HubHostFile after;
  after.host = report.host;
  after.firstSeen = now;
  after.lastSeen = now;
  after.reports = 1;
  after.latest = report;
  if (before != nullptr) {
    after.firstSeen = before->firstSeen;
    after.reports = before->reports + 1;
    after.note = before->note;
    after.history = historyWithRoom(before->history);
    after.lastAuditRewind = before->lastAuditRewind;
    if (isAuditRewind(before->latest, report)) after.lastAuditRewind = now;
  }
  after.history.push_back(pointOf(report, now));
  return after;
}

HubEvent receivedEvent(const HubHostReport& report, TimePoint now) {
  std::string message;
  if (report.dryRun) {
    message = fmt::format("dry run · {} findings", report.findings);
  } else {
    message = fmt::format("{} removed", report.disposedItems);
    if (report.failures >= 1) message += fmt::format(" · {} failed", report.failures);
  }
  return {.time = now,
          .kind = HubEvent::Kind::reportReceived,
          .host = report.host,
          .message = std::move(message),
          .bytes = report.disposedBytes};
}

HubEvent rewindEvent(const HubHostReport& before, const HubHostReport& after, TimePoint now) {
  const std::string what =
      after.auditSeq == before.auditSeq
          ? fmt::format("record {} is another one than before", after.auditSeq)
          : fmt::format("it ended with record {} and now ends with {}", before.auditSeq, after.auditSeq);
  return {.time = now,
          .kind = HubEvent::Kind::reportReceived,
          .host = after.host,
          .message = "audit log went backwards: " + what,
          .bytes = {}};
}

HubEvent hostEvent(HubEvent::Kind kind, const std::string& host, std::string message, TimePoint now) {
  return {.time = now, .kind = kind, .host = host, .message = std::move(message), .bytes = {}};
}

HubEvent policyEvent(HubEvent::Kind kind, const std::string& name, std::string_view what, TimePoint now) {
  return {.time = now, .kind = kind, .host = {}, .message = fmt::format("policy '{}' {}", name, what), .bytes = {}};
}

}  // namespace

HubStoreError HubStoreError::badName(std::string_view name) {
  return {Kind::badName, fmt::format("'{}' is not a valid policy name (letters, digits, - _ . only)", name)};
}

HubStoreError HubStoreError::nameTaken(std::string_view host, std::string_view file, std::string_view owner) {
  return {Kind::nameTaken,
          fmt::format("host '{}' cannot be filed: its file, {}, is that of host '{}'; give one of them "
                      "another name, or remove '{}' from the inventory",
                      host, file, owner, owner)};
}

HubStoreError HubStoreError::folderInUse(std::string_view folder) {
  return {Kind::folderInUse, fmt::format("another hub uses the data folder {}; stop it or choose another folder",
                                         escapedForTerminal(folder))};
}

HubStore::HubStore(std::string dataDir, double staleAfter, std::string title, TimePoint now)
    : dataDir_(std::move(dataDir)),
      staleAfter_(staleAfter),
      title_(std::move(title)),
      policies_(joinedPath(dataDir_, "policies")),
      events_(joinedPath(dataDir_, "events.jsonl")) {
  try {
    takeFolder();
    loadHosts(now);
  } catch (const std::system_error& error) {
    throw InputError(
        fmt::format("The data folder {} cannot be used: {}. Choose another folder or mend its permissions.",
                    escapedForTerminal(dataDir_), escapedForTerminal(error.what())));
  }
}

void HubStore::takeFolder() {
  makePrivateFolders(joinedPath(dataDir_, "hosts"));
  makePrivateFolders(joinedPath(dataDir_, "policies"));
  folderLock_ = FileLock::tryTake(joinedPath(dataDir_, "hub.lock"));
  if (!folderLock_) throw HubStoreError::folderInUse(dataDir_);
}

void HubStore::loadHosts(TimePoint now) {
  const std::string folder = joinedPath(dataDir_, "hosts");
  removeLeftTemporaries(folder);
  removeLeftTemporaries(joinedPath(dataDir_, "policies"));
  auto loaded = loadHostFiles(folder);
  // Of two files of one host the one with the host's own name counts, so those come first.
  std::stable_partition(loaded.begin(), loaded.end(), [](const LoadedHost& host) {
    return host.failure.empty() && host.fileName == hostFileName(host.file.host);
  });
  for (LoadedHost& host : loaded) admit(std::move(host), now);
}

void HubStore::admit(LoadedHost loaded, TimePoint now) {
  if (!loaded.failure.empty()) return leaveOut(loaded.fileName, loaded.failure, now);
  const std::string host = loaded.file.host;
  if (const auto known = hosts_.find(host); known != hosts_.end()) {
    return leaveOut(loaded.fileName, fmt::format("host '{}' is in {} already", host, known->second.fileName), now);
  }
  owners_[fileKey(loaded.fileName)] = host;
  for (const HubHistoryPoint& point : loaded.file.history) totals_.add(point);
  totals_.add(loaded.file.latest.topItems);
  hosts_[host] = {std::make_shared<const HubHostFile>(std::move(loaded.file)), std::move(loaded.fileName)};
}

void HubStore::leaveOut(const std::string& fileName, const std::string& reason, TimePoint now) {
  damaged_.insert(fileKey(fileName));
  std::string message = fmt::format("host file {} was left out and kept as it is: {}", fileName, reason);
  log({.time = now, .kind = HubEvent::Kind::reportRejected, .host = {}, .message = message, .bytes = {}});
  loadWarnings_.push_back(std::move(message));
}

/// By doing it, since a folder that looks writable may lie on a volume that is read-only or full.
bool HubStore::isWritable() const {
  const std::lock_guard guard(lock_);
  const std::string path = joinedPath(dataDir_, ".writable");
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

std::string HubStore::hostPath(const std::string& fileName) const {
  return joinedPath(joinedPath(dataDir_, "hosts"), fileName);
}

void HubStore::log(HubEvent event, EventLog::Durability durability) { events_.append(event, durability); }

/// The file of a host, known or new.
std::string HubStore::fileNameFor(const HubHostReport& report, TimePoint now) {
  if (const auto known = hosts_.find(report.host); known != hosts_.end()) return known->second.fileName;
  std::string fileName = hostFileName(report.host);
  if (const auto owner = owners_.find(fileKey(fileName)); owner != owners_.end()) {
    const auto error = HubStoreError::nameTaken(report.host, fileName, owner->second);
    log(hostEvent(HubEvent::Kind::reportRejected, report.host, error.what(), now));
    throw error;
  }
  return fileName;
}

void HubStore::write(const std::string& fileName, const HubHostFile& file) {
  const std::string path = hostPath(fileName);
  if (const auto damaged = damaged_.find(fileKey(fileName)); damaged != damaged_.end()) {
    if (pathFacts(path)) setAside(path, ".damaged");
    damaged_.erase(damaged);
  }
  constexpr unsigned ownerOnly = 0600;
  replaceFile(path, hostFileText(file), ownerOnly);
}

HubStore::Ingested HubStore::ingest(const HubHostReport& report, TimePoint now) {
  const std::lock_guard guard(lock_);
  std::string fileName = fileNameFor(report, now);
  const auto known = hosts_.find(report.host);
  const auto before = known == hosts_.end() ? nullptr : known->second.file;
  auto after = std::make_shared<const HubHostFile>(withReport(before.get(), report, now));
  write(fileName, *after);

  if (before) {
    const std::size_t dropped = before->history.size() + 1 - after->history.size();
    for (std::size_t i = 0; i < dropped; ++i) totals_.remove(before->history[i]);
    totals_.remove(before->latest.topItems);
  }
  totals_.add(after->history.back());
  totals_.add(after->latest.topItems);
  owners_[fileKey(fileName)] = report.host;
  hosts_[report.host] = {after, std::move(fileName)};

  // The report itself is in the host's file; flushing this line as well would halve what the hub takes in.
  log(receivedEvent(report, now), EventLog::Durability::process);
  if (before && isAuditRewind(before->latest, report)) log(rewindEvent(before->latest, report, now));
  return {std::move(after), static_cast<std::int64_t>(hosts_.size())};
}

bool HubStore::remove(const std::string& host, TimePoint now) {
  const std::lock_guard guard(lock_);
  const auto known = hosts_.find(host);
  if (known == hosts_.end()) return false;
  removeFile(hostPath(known->second.fileName));
  for (const HubHistoryPoint& point : known->second.file->history) totals_.remove(point);
  totals_.remove(known->second.file->latest.topItems);
  owners_.erase(fileKey(known->second.fileName));
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
  write(known->second.fileName, *after);
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
  log(event);
}

std::vector<HubEvent> HubStore::recentEvents(std::size_t count) const {
  const std::lock_guard guard(lock_);
  return events_.recent(count);
}

}  // namespace tidra
