// What one run writes into the audit log, event by event. docs/audit.md lists the fields of each.
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
  /// What every record of the run tells.
  struct Run {
    std::string id;
    std::string host;
    std::string actor;
    std::string policy;
    bool dryRun = false;
    std::function<TimePoint()> clock;
  };

  /// The log must outlive this. Every call below appends one record and throws what AuditLog::append throws.
  RunRecorder(AuditLog& log, Run run) : log_(log), run_(std::move(run)) {}

  /// `origin` tells where the policy is from, when the hub has a say in that.
  void started(const std::string& origin, bool isPolicyChanged) const;
  void scanCompleted(const std::string& message, std::int64_t bytes) const;
  void skipped(const ScanReportItem& item, const std::string& reason, const std::string& message = "") const;
  void planned(const std::string& message, std::int64_t bytes) const;
  /// `bytes`: what the item counts for.
  void disposed(const CleanupPlan::Item& item, const DisposalReceipt& receipt, std::int64_t bytes) const;
  void wouldBeDisposed(const CleanupPlan::Item& item, DisposalMethod method) const;
  void disposeFailed(const CleanupPlan::Item& item, DisposalMethod method, const std::string& message) const;
  void purged(const DisposalReceipt& receipt) const;
  void finished(const std::string& message, std::int64_t disposedBytes) const;
  void hubReported(const std::string& url) const;
  void error(const std::string& message) const;
  /// The last word of a run that failed as a whole.
  void failed(const std::string& message) const;
  /// An item in quarantine of which a broken run left no record.
  void foundUnrecorded(const QuarantineDisposer::Entry& entry, const std::string& message) const;

 private:
  void append(AuditRecord::Event event, const AuditLog::Builder& fill) const;

  AuditLog& log_;
  Run run_;
};

}  // namespace tidra
