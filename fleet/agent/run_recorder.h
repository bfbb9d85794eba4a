// The audit records of one run. docs/audit.md lists the fields of each event.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/dispose/quarantine.h"
#include "core/model/cleanup_plan.h"
#include "core/model/disposal.h"
#include "core/model/scan_report.h"
#include "fleet/agent/audit_log.h"

namespace tidra {

class RunRecorder {
 public:
  /// Fields common to all records of the run.
  struct Run {
    std::string id;
    std::string host;
    std::string actor;
    std::string policy;
    bool dryRun = false;
    std::function<TimePoint()> clock;
  };

  /// The log must outlive this. Each method below appends one record and throws what AuditLog::append throws.
  RunRecorder(AuditLog& log, Run run) : log_(log), run_(std::move(run)) {}

  /// `origin` is the source of the policy, empty without a hub.
  void started(const std::string& origin, bool isPolicyChanged) const;
  void scanCompleted(const std::string& message, std::int64_t bytes) const;
  void skipped(const ScanReportItem& item, const std::string& reason, const std::string& message = "") const;
  void planned(const std::string& message, std::int64_t bytes) const;
  /// What disposing of an item adds to the totals.
  struct Share {
    std::int64_t bytes = 0;
    std::int64_t freedBytes = 0;
  };
  void disposed(const CleanupPlan::Item& item, const DisposalReceipt& receipt, const Share& share) const;
  void wouldBeDisposed(const CleanupPlan::Item& item, DisposalMethod method) const;
  void disposeFailed(const CleanupPlan::Item& item, DisposalMethod method, const std::string& message) const;
  void purged(const DisposalReceipt& receipt, std::int64_t freedBytes) const;
  /// `share` is that of the whole run.
  void finished(const std::string& message, const Share& share) const;
  void hubReported(const std::string& url) const;
  void error(const std::string& message) const;
  /// The final record of a failed run.
  void failed(const std::string& message) const;
  /// A quarantined item that a broken run did not record.
  void foundUnrecorded(const QuarantineDisposer::Entry& entry, const std::string& message) const;

 private:
  void append(AuditRecord::Event event, const AuditLog::Builder& fill) const;

  AuditLog& log_;
  Run run_;
};

}  // namespace tidra
