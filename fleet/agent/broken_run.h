// A run that was killed, or whose host went down: how the next one finds it in the audit log, and what it left untold.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/dispose/quarantine.h"
#include "fleet/agent/audit_log.h"

namespace tidra {

struct BrokenRun {
  // The reasons of two kinds of `error` records: a run's last word, and a repair, which is no run's.
  static constexpr std::string_view failedReason = "run failed";
  static constexpr std::string_view repairedReason = "log repaired";

  std::string id;
  std::int64_t lastSeq = 0;
  AuditRecord::Event lastEvent = AuditRecord::Event::runStarted;

  /// The run that has left no last word in the log; none when the last one ended. Reads the whole log when that ends
  /// with a repair; then throws InputError when the log is damaged.
  static std::optional<BrokenRun> find(const AuditLog& log);

  /// The sentence for the log.
  std::string description() const;

  /// Of these entries of the quarantine, those since the last run with a last word that no record of the log names: the
  /// item that was being moved when a run was killed, also when the run after it was killed before it told. Reads the
  /// whole log. Throws InputError when the log is damaged.
  std::vector<QuarantineDisposer::Entry> unrecorded(const std::string& log,
                                                    std::vector<QuarantineDisposer::Entry> entries) const;
};

}  // namespace tidra
