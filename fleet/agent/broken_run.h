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
  /// The reasons of `error` records after which nothing is missing.
  static constexpr std::string_view failedReason = "run failed";
  static constexpr std::string_view repairedReason = "log repaired";

  std::string id;
  std::int64_t lastSeq = 0;
  AuditRecord::Event lastEvent = AuditRecord::Event::runStarted;

  /// The run that has left no last word in the log; none when the last one ended.
  static std::optional<BrokenRun> find(const AuditLog& log);

  /// The sentence for the log.
  std::string description() const;

  /// Of these entries of the quarantine, those of the run's time that no record of the log names: the item that was
  /// being moved when the run was killed. Reads the whole log. Throws InputError when the log is damaged.
  std::vector<QuarantineDisposer::Entry> unrecorded(const std::string& log,
                                                    std::vector<QuarantineDisposer::Entry> entries) const;
};

}  // namespace tidra
