#include "fleet/agent/broken_run.h"

#include <fmt/format.h>

#include <unordered_set>

namespace tidra {
namespace {

bool isLastWord(const AuditRecord& record) {
  using enum AuditRecord::Event;
  if (record.event == runFinished || record.event == hubReported) return true;
  return record.event == error &&
         (record.reason == BrokenRun::failedReason || record.reason == BrokenRun::repairedReason);
}

}  // namespace

std::optional<BrokenRun> BrokenRun::find(const AuditLog& log) {
  const auto last = log.lastRecordFound();
  if (!last || isLastWord(*last)) return std::nullopt;
  return BrokenRun{.id = last->runID, .lastSeq = last->seq, .lastEvent = last->event};
}

std::string BrokenRun::description() const {
  return fmt::format("run {} did not finish; its last record is number {} ({})", id, lastSeq, rawValue(lastEvent));
}

std::vector<QuarantineDisposer::Entry> BrokenRun::unrecorded(const std::string& log,
                                                             std::vector<QuarantineDisposer::Entry> entries) const {
  std::optional<TimePoint> began;
  std::unordered_set<std::string> untold;
  for (const auto& entry : entries) untold.insert(entry.url);
  AuditLog::forEachRecord(log, [&](const AuditRecord& record) {
    if (!began && record.runID == id) began = record.time;
    if (record.destination) untold.erase(*record.destination);
  });
  std::erase_if(entries, [&](const QuarantineDisposer::Entry& entry) {
    return !began || entry.manifest.quarantinedAt < *began || !untold.contains(entry.url);
  });
  return entries;
}

}  // namespace tidra
