// Purges what a run finds expired in quarantine.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/base/time_point.h"
#include "core/dispose/quarantine.h"
#include "core/model/disposal.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/run_recorder.h"

namespace tidra {

struct RunPurge {
  struct [[nodiscard]] Result {
    DisposalOutcome outcome;
    std::int64_t freedBytes = 0;  // by what was purged, as measured when it was quarantined
  };

  TimePoint cutOff;  // entries quarantined before it are expired
  std::function<TimePoint()> clock;
  std::function<bool()> shouldCancel;            // polled between entries
  std::function<void(const std::string&)> say;   // called with one line
  std::function<void(const std::string&)> warn;  // called with what could not be read and stays

  /// Deletes the expired entries and what earlier removals left, and records each. Failures are part of the result.
  /// Throws what AuditLog::reserve and the recorder throw, after which nothing more is removed.
  Result run(const QuarantineDisposer& quarantine, AuditLog& log, const RunRecorder& recorder) const;
};

}  // namespace tidra
