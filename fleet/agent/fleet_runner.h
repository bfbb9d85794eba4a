// One unattended run of a policy: lock, audit, fetch the policy, scan, decide, dispose, purge, publish, report. The
// only place of the fleet that uses the scanners and the deletion service.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/base/json_codec.h"
#include "core/base/quantities.h"
#include "core/model/disposal.h"
#include "core/model/scan_report.h"
#include "core/platform/path_resolver.h"
#include "core/platform/standard_streams.h"
#include "fleet/agent/evaluation/policy_evaluator.h"
#include "fleet/agent/policy/fleet_policy.h"
#include "fleet/agent/run_selection.h"
#include "fleet/hub/protocol/hub_report.h"

namespace tidra {

/// Why a run cannot start.
class FleetRunError : public std::runtime_error {
 public:
  enum class Kind { locked, noRoots };

  /// Another run holds the lock; `message` is the lock's own, `help` what to do if the process is not a run.
  static FleetRunError locked(const std::string& message, const std::string& help);
  static FleetRunError noRoots();

  Kind kind() const { return kind_; }
  const std::string& help() const { return help_; }

 private:
  FleetRunError(Kind kind, const std::string& message, std::string help);

  Kind kind_;
  std::string help_;
};

struct FleetRunResult {
  std::string runID;  // a UUID, in every audit record of the run
  TimePoint startedAt{};
  double duration = 0;  // seconds
  ScanReport report;
  PolicyDecision decision;
  DisposalOutcome disposal;                // of the selected items; in a dry run only expected failures
  std::vector<UnmeasuredSize> unmeasured;  // for receipts in `disposal` without bytes
  std::int64_t freedBytes = 0;             // what the volumes gained by `disposal`; items of tools with their sizes
  DisposalOutcome purged;                  // of quarantine entries; the paths are those in quarantine
  std::int64_t purgedFreedBytes = 0;       // what the volumes gained by `purged`
  std::string metricsText;                 // empty when the scan was interrupted
  bool dryRun = false;
  std::optional<HubHostReport> hostReport;  // absent when the scan was interrupted
  std::optional<HubAck> hubAck;             // present when the hub accepted the report
  std::optional<std::string> hubError;      // why it did not; without both, nothing was to be reported
  std::vector<KeptItem> kept;               // not part of `decision`
  bool interrupted = false;                 // stopped early; items not begun are untouched

  /// Bytes of removed items, summed as in the audit log.
  std::int64_t disposedBytes() const { return tidra::disposedBytes(disposal.receipts, unmeasured); }
  /// What the volumes gained by the whole run.
  std::int64_t allFreedBytes() const { return saturatedSum(freedBytes, purgedFreedBytes); }
  /// True when no disposal failed.
  bool succeeded() const { return disposal.failures.empty(); }
  /// True when a disposal or a purge failed.
  bool hasFailures() const { return !disposal.failures.empty() || !purged.failures.empty(); }
};

template <>
struct JsonCodec<FleetRunResult> {
  static void write(JsonWriter& out, const FleetRunResult& result);
};

struct FleetRunner {
  FleetPolicy policy;   // the host's own; with hub.policy the hub's is merged over it
  bool dryRun = false;  // true overrides the policy
  std::string tidraVersion{TidraCoreInfo::version};
  std::string actor;                                         // who starts the run; in every audit record
  std::optional<std::int64_t> intervalSeconds;               // between runs, for the hub
  std::function<void(const std::string&)> log = &printLine;  // called with one line, without line end

  TidraPathResolver host;  // the running user's home folder and the environment
  std::function<TimePoint()> clock;
  /// Polled in every phase, from any thread; must stay true once it was. Ends the run before the first removal or after
  /// the current item, and an exchange with the hub at once.
  std::function<bool()> shouldCancel = [] { return false; };

  /// Runs the policy once. Throws FleetRunError; InputError when the audit log, the lock, the rules or a path is
  /// unusable; and what AuditLog::append throws, after which nothing more is removed. Failures of single items, a
  /// purge, the textfile or the hub are part of the result.
  FleetRunResult run() const;
};

}  // namespace tidra
