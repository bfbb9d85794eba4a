#include "fleet/agent/run_recorder.h"

#include "core/base/quantities.h"
#include "fleet/agent/broken_run.h"

namespace tidra {
namespace {

template <class Item>
void fillItem(AuditRecord& record, const Item& item) {
  record.path = item.path;
  record.bytes = unsignedBytes(item.bytes);
  record.tier = item.tier;
  record.category = item.category;
  record.ruleID = item.ruleID;
}

}  // namespace

void RunRecorder::append(AuditRecord::Event event, const AuditLog::Builder& fill) const {
  log_.append([&](AuditRecord& record) {
    record.time = run_.clock();
    record.host = run_.host;
    record.runID = run_.id;
    record.actor = run_.actor;
    record.event = event;
    if (run_.dryRun) record.dryRun = true;
    fill(record);
  });
}

void RunRecorder::started(const std::string& origin, bool isPolicyChanged) const {
  append(AuditRecord::Event::runStarted, [&](AuditRecord& record) {
    record.policy = run_.policy;
    if (!origin.empty()) record.message = origin;
    if (isPolicyChanged) record.reason = "policy changed";
  });
}

void RunRecorder::scanCompleted(const std::string& message, std::int64_t bytes) const {
  append(AuditRecord::Event::scanCompleted, [&](AuditRecord& record) {
    record.message = message;
    record.bytes = unsignedBytes(bytes);
  });
}

void RunRecorder::skipped(const ScanReportItem& item, const std::string& reason, const std::string& message) const {
  append(AuditRecord::Event::skipped, [&](AuditRecord& record) {
    fillItem(record, item);
    record.reason = reason;
    if (!message.empty()) record.message = message;
  });
}

void RunRecorder::planned(const std::string& message, std::int64_t bytes) const {
  append(AuditRecord::Event::planned, [&](AuditRecord& record) {
    record.message = message;
    record.bytes = unsignedBytes(bytes);
  });
}

void RunRecorder::disposed(const CleanupPlan::Item& item, const DisposalReceipt& receipt, const Share& share) const {
  append(AuditRecord::Event::disposed, [&](AuditRecord& record) {
    fillItem(record, item);
    record.bytes = unsignedBytes(share.bytes);
    record.freedBytes = unsignedBytes(share.freedBytes);
    record.method = receipt.method;
    record.destination = receipt.destination;
  });
}

void RunRecorder::wouldBeDisposed(const CleanupPlan::Item& item, DisposalMethod method) const {
  append(AuditRecord::Event::disposed, [&](AuditRecord& record) {
    fillItem(record, item);
    record.method = method;
    record.reason = "dry run";
  });
}

void RunRecorder::disposeFailed(const CleanupPlan::Item& item, DisposalMethod method,
                                const std::string& message) const {
  append(AuditRecord::Event::disposeFailed, [&](AuditRecord& record) {
    fillItem(record, item);
    record.method = method;
    record.message = message;
  });
}

void RunRecorder::purged(const DisposalReceipt& receipt, std::int64_t freedBytes) const {
  append(AuditRecord::Event::purged, [&](AuditRecord& record) {
    record.path = receipt.path;
    if (receipt.bytes) record.bytes = unsignedBytes(*receipt.bytes);
    record.freedBytes = unsignedBytes(freedBytes);
  });
}

void RunRecorder::finished(const std::string& message, const Share& share) const {
  append(AuditRecord::Event::runFinished, [&](AuditRecord& record) {
    record.message = message;
    record.bytes = unsignedBytes(share.bytes);
    if (!run_.dryRun) record.freedBytes = unsignedBytes(share.freedBytes);
  });
}

void RunRecorder::hubReported(const std::string& url) const {
  append(AuditRecord::Event::hubReported, [&](AuditRecord& record) { record.message = url; });
}

void RunRecorder::error(const std::string& message) const {
  append(AuditRecord::Event::error, [&](AuditRecord& record) { record.message = message; });
}

void RunRecorder::failed(const std::string& message) const {
  append(AuditRecord::Event::error, [&](AuditRecord& record) {
    record.message = message;
    record.reason = BrokenRun::failedReason;
  });
}

void RunRecorder::foundUnrecorded(const QuarantineDisposer::Entry& entry, const std::string& message) const {
  append(AuditRecord::Event::error, [&](AuditRecord& record) {
    record.path = entry.manifest.originalPath;
    record.destination = entry.url;
    if (entry.manifest.bytes) record.bytes = unsignedBytes(*entry.manifest.bytes);
    record.message = message;
  });
}

}  // namespace tidra
