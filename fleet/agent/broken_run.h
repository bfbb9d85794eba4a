// Finds in the audit log a run that was killed, and what it left unrecorded.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/dispose/quarantine.h"
#include "fleet/agent/audit_log.h"

namespace tidra {

struct BrokenRun {
  // Reasons of two kinds of `error` records: a failed run's last one, and a repair, which belongs to no run.
  static constexpr std::string_view failedReason = "run failed";
  static constexpr std::string_view repairedReason = "log repaired";

  std::string id;
  std::int64_t lastSeq = 0;
  AuditRecord::Event lastEvent = AuditRecord::Event::runStarted;

  /// The last run, when it has no final record; none otherwise. Reads the whole log when it ends with a repair; throws
  /// InputError when the log is damaged.
  static std::optional<BrokenRun> find(const AuditLog& log);

  /// The message for the log.
  std::string description() const;

  /// Filters quarantine entries to those added since the last complete run that no record names: items being moved when
  /// a run was killed, even several runs in a row. Reads the whole log. Throws InputError when it is damaged.
  std::vector<QuarantineDisposer::Entry> unrecorded(const std::string& log,
                                                    std::vector<QuarantineDisposer::Entry> entries) const;
};

}  // namespace tidra
