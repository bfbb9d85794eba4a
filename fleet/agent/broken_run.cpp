#include "fleet/agent/broken_run.h"

#include <fmt/format.h>

#include <unordered_set>

namespace tidra {
namespace {

bool isLastWord(const AuditRecord& record) {
  using enum AuditRecord::Event;
  if (record.event == runFinished || record.event == hubReported) return true;
  return record.event == error && record.reason == BrokenRun::failedReason;
}

/// Repairs happen between runs and belong to none.
bool isRepair(const AuditRecord& record) {
  return record.event == AuditRecord::Event::error && record.reason == BrokenRun::repairedReason;
}

std::optional<AuditRecord> lastBeforeRepairs(const std::string& log) {
  std::optional<AuditRecord> last;
  AuditLog::forEachRecord(log, [&](const AuditRecord& record) {
    if (!isRepair(record)) last = record;
  });
  return last;
}

}  // namespace

std::optional<BrokenRun> BrokenRun::find(const AuditLog& log) {
  auto last = log.lastRecordFound();
  if (last && isRepair(*last)) last = lastBeforeRepairs(log.url());
  if (!last || isLastWord(*last)) return std::nullopt;
  return BrokenRun{.id = last->runID, .lastSeq = last->seq, .lastEvent = last->event};
}

std::string BrokenRun::description() const {
  return fmt::format("run {} did not finish; its last record is number {} ({})", id, lastSeq, rawValue(lastEvent));
}

std::vector<QuarantineDisposer::Entry> BrokenRun::unrecorded(const std::string& log,
                                                             std::vector<QuarantineDisposer::Entry> entries) const {
  std::optional<TimePoint> began;
  std::unordered_set<std::string> withoutRecord;
  for (const auto& entry : entries) withoutRecord.insert(entry.url);
  AuditLog::forEachRecord(log, [&](const AuditRecord& record) {
    if (isLastWord(record)) began.reset();
    if (!began && !isLastWord(record) && !isRepair(record)) began = record.time;
    if (record.destination) withoutRecord.erase(*record.destination);
  });
  std::erase_if(entries, [&](const QuarantineDisposer::Entry& entry) {
    return !began || entry.manifest.quarantinedAt < *began || !withoutRecord.contains(entry.url);
  });
  return entries;
}

}  // namespace tidra
