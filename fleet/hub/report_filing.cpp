#include "fleet/hub/report_filing.h"

#include <fmt/format.h>

#include <algorithm>

namespace tidra {
HubHistoryPoint pointOf(const HubHostReport& report, TimePoint now) {
  return {.time = now,
          .reclaimableBytes = report.reclaimableBytes,
          .disposedBytes = report.disposedBytes,
          .failures = report.failures,
          .volumeAvailableBytes = report.volumeAvailableBytes,
          .dryRun = report.dryRun,
          .freedBytes = report.freedBytes == report.disposedBytes ? std::nullopt : report.freedBytes};
}

bool isAuditRewind(const HubHostReport& before, const HubHostReport& after) {
  if (after.auditSeq != before.auditSeq) return after.auditSeq < before.auditSeq;
  return after.auditHeadHash != before.auditHeadHash && before.auditHeadHash && after.auditHeadHash;
}

namespace {

/// The newest points with room for exactly one more: ten thousand hosts have a thousand each, so avoid growth.
std::vector<HubHistoryPoint> historyWithRoom(const std::vector<HubHistoryPoint>& history) {
  const std::size_t kept = std::min(history.size(), HubHostFile::mostHistory - 1);
  std::vector<HubHistoryPoint> points;
  points.reserve(kept + 1);
  points.assign(history.end() - static_cast<std::ptrdiff_t>(kept), history.end());
  return points;
}

}  // namespace

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

}  // namespace tidra
