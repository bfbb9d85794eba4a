// Group commit: reports that arrive together are written to temporary files, all flushed (`fsync`), renamed, and made
// durable by one `fsync` of the folder. With a disk that takes ten milliseconds for a flush, throughput grows with the
// number of workers. A single report takes the same steps.
#include <exception>
#include <optional>
#include <set>

#include "core/base/json_writer.h"
#include "core/platform/files.h"
#include "core/platform/staged_file.h"
#include "fleet/hub/host_file.h"
#include "fleet/hub/hub_store.h"
#include "fleet/hub/report_filing.h"

namespace tidra {

/// A report in the process of being stored.
struct HubStore::Filing {
  const HubHostReport* report = nullptr;
  TimePoint now{};
  std::string fileName = {};
  std::shared_ptr<const HubHostFile> before = {};
  std::shared_ptr<const HubHostFile> next = {};
  std::optional<StagedFile> staged = {};
  std::shared_ptr<const HubHostFile> after = {};  // next, once it is durable
  std::int64_t hostsKnown = 0;
  std::exception_ptr failure = {};
};

namespace {

/// Applies `step` to all without a failure; an exception becomes that item's failure.
template <class Filings, class Step>
void forEachIntact(const Filings& filings, const Step& step) {
  for (auto* filing : filings) {
    if (filing->failure) continue;
    try {
      step(*filing);
    } catch (...) {
      filing->failure = std::current_exception();
      filing->staged.reset();
    }
  }
}

}  // namespace

HubStore::Ingested HubStore::ingest(const HubHostReport& report, TimePoint now) {
  Filing filing{.report = &report, .now = now};
  while (!filing.after && !filing.failure) filings_.run(filing);
  if (filing.failure) std::rethrow_exception(filing.failure);
  return {std::move(filing.after), filing.hostsKnown};
}

/// A second report for the same file depends on the first, so it waits for another round.
void HubStore::file(std::vector<Filing*> filings) {
  const std::lock_guard guard(lock_);
  while (!filings.empty()) {
    std::set<std::string> files;
    std::vector<Filing*> round;
    std::vector<Filing*> later;
    for (Filing* filing : filings) {
      filing->fileName = fileNameFor(filing->report->host);
      const bool isFirst = files.insert(hostFileKey(filing->fileName)).second;
      (isFirst ? round : later).push_back(filing);
    }
    fileRound(round);
    filings = std::move(later);
  }
}

void HubStore::fileRound(const std::vector<Filing*>& filings) {
  forEachIntact(filings, [&](Filing& filing) { stage(filing); });
  forEachIntact(filings, [](Filing& filing) { filing.staged->flush(); });
  forEachIntact(filings, [&](Filing& filing) {
    setDamagedAside(filing.fileName);
    filing.staged->put();
  });
  std::exception_ptr unsafe;
  try {
    flushFolder(folder_.hosts());
  } catch (const std::system_error&) {
    unsafe = std::current_exception();
  }
  forEachIntact(filings, [&](Filing& filing) {
    if (unsafe) std::rethrow_exception(unsafe);
    admit(filing);
  });
}

/// The file name of a host, stored or new.
std::string HubStore::fileNameFor(const std::string& host) const {
  const auto known = hosts_.find(host);
  return known == hosts_.end() ? hostFileName(host) : known->second.fileName;
}

void HubStore::requireOwnFile(const Filing& filing) {
  const std::string& host = filing.report->host;
  const auto owner = owners_.find(hostFileKey(filing.fileName));
  if (owner == owners_.end() || owner->second == host) return;
  const auto error = HubStoreError::nameTaken(host, filing.fileName, owner->second);
  log({.time = filing.now, .kind = HubEvent::Kind::reportRejected, .host = host, .message = error.what(), .bytes = {}});
  throw error;
}

void HubStore::stage(Filing& filing) {
  requireOwnFile(filing);
  const auto known = hosts_.find(filing.report->host);
  if (known != hosts_.end()) filing.before = known->second.file;
  filing.next = std::make_shared<const HubHostFile>(withReport(filing.before.get(), *filing.report, filing.now));
  text_.clear();
  appendJson(text_, *filing.next);
  filing.staged.emplace(hostPath(filing.fileName), hostFileMode);
  filing.staged->write(text_);
}

/// Updates memory after the file is durable.
void HubStore::admit(Filing& filing) {
  const HubHostReport& report = *filing.report;
  if (const HubHostFile* before = filing.before.get()) {
    const std::size_t dropped = before->history.size() + 1 - filing.next->history.size();
    for (std::size_t i = 0; i < dropped; ++i) totals_.remove(before->history[i]);
    totals_.remove(before->latest);
  }
  totals_.add(filing.next->history.back());
  totals_.add(filing.next->latest);
  owners_[hostFileKey(filing.fileName)] = report.host;
  hosts_[report.host] = Host::make(filing.next, filing.fileName);
  filing.after = filing.next;
  filing.hostsKnown = static_cast<std::int64_t>(hosts_.size());

  // Not flushed: the host's file has the report already, and another `fsync` would halve the throughput.
  log(receivedEvent(report, filing.now), EventLog::Durability::process);
  if (filing.before && isAuditRewind(filing.before->latest, report)) {
    log(rewindEvent(filing.before->latest, report, filing.now));
  }
}

}  // namespace tidra
