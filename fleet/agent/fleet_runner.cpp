#include "fleet/agent/fleet_runner.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "core/base/text.h"
#include "core/base/uuid.h"
#include "core/dispose/volumes.h"
#include "core/model/byte_formatting.h"
#include "core/platform/host.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/broken_run.h"
#include "fleet/agent/evaluation/resolved_policy.h"
#include "fleet/agent/host_metrics.h"
#include "fleet/agent/host_report.h"
#include "fleet/agent/hub_policy.h"
#include "fleet/agent/metrics_textfile.h"
#include "fleet/agent/policy_scan.h"
#include "fleet/agent/report_delivery.h"
#include "fleet/agent/run_lock.h"
#include "fleet/agent/run_purge.h"
#include "fleet/agent/run_recorder.h"
#include "fleet/agent/run_selection.h"
#include "fleet/agent/run_snapshot.h"
#include "fleet/http/url.h"
#include "fleet/hub/protocol/hub_client.h"

namespace tidra {
namespace {

class Run {
 public:
  explicit Run(const FleetRunner& runner) : runner_(runner) {}

  FleetRunResult execute() {
    begin();
    // Log and lock are the host's own, never the hub's choice.
    const auto own = ResolvedPolicy::make(runner_.policy, runner_.host);
    // Validate the log before taking the lock, for a clear error; reopen it afterwards, because the previous holder
    // appended.
    AuditLog::requireUsable(own.auditPath);
    RunLock lock(own.lockPath);
    acquire(lock);
    AuditLog log(own.auditPath);
    choosePolicy(own);
    const auto resolved = ResolvedPolicy::make(policy(), runner_.host);
    const RunRecorder recorder(log, {.id = result_.runID,
                                     .host = TidraHost::name(runner_.host.environment),
                                     .actor = runner_.actor,
                                     .policy = policy().name,
                                     .dryRun = result_.dryRun,
                                     .clock = runner_.clock});
    try {
      reportEarlierRuns(resolved, log, recorder);
      runSteps(resolved, log, recorder);
    } catch (const std::exception& failure) {
      recordFailure(recorder, failure);
      throw;
    }
    return std::move(result_);
  }

 private:
  const FleetPolicy& policy() const { return effective_.policy; }
  bool isCancelled() const { return runner_.shouldCancel(); }
  void say(const std::string& line) const { runner_.log(escapedForTerminal(line)); }
  void warn(const std::string& text) const { say("warning: " + text); }
  double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count(); }

  void begin() {
    began_ = std::chrono::steady_clock::now();
    result_.startedAt = runner_.clock();
    result_.runID = makeUuid();
  }

  void findHub(const ResolvedPolicy& own) {
    const FleetPolicy::Hub& hub = runner_.policy.hub;
    if (!hub.isUsed()) return;
    auto found = HubToken::find(runner_.policy, own.resolver);
    for (const std::string& note : found.notes) warn(note);
    if (urlWithoutUser(*hub.url) != *hub.url) {
      warn("hub.url names a user, which hubs do not support; remove it and set hub.tokenFile");
    }
    hub_ = HubClient{.baseURL = *hub.url,
                     .token = std::move(found.token),
                     .environment = runner_.host.environment,
                     .shouldCancel = runner_.shouldCancel};
    if (hub_->exposesToken()) warn(fmt::format("{} is not encrypted; the token can be read on the way", *hub.url));
  }

  void choosePolicy(const ResolvedPolicy& own) {
    ownQuarantine_ = own.quarantine.directory;
    findHub(own);
    effective_ = effectivePolicy({.own = runner_.policy,
                                  .statePath = HubPolicyState::pathFor(own.auditPath),
                                  .host = runner_.host,
                                  .fetch =
                                      [&] {
                                        if (!hub_) throw InputError("hub.url is not set.");
                                        return hub_->policy(*runner_.policy.hub.policy);
                                      },
                                  .now = result_.startedAt});
    for (const std::string& warning : effective_.warnings) warn(warning);
    if (runner_.dryRun) effective_.policy.dryRun = true;
    result_.dryRun = policy().dryRun;
  }

  /// Call after the policy is recorded. A failure to store it is only a warning: the run goes on.
  void storePolicy(const ResolvedPolicy& resolved) const {
    if (effective_.isChanged) say("policy changed: " + effective_.origin);
    if (!effective_.next) return;
    try {
      effective_.next->write(HubPolicyState::pathFor(resolved.auditPath));
    } catch (const InputError& failure) {
      warn(failure.what());
    }
  }

  static void acquire(RunLock& lock) {
    try {
      lock.acquire();
    } catch (const RunLock::LockError& busy) {
      throw FleetRunError::locked(busy.what(), busy.help());
    }
  }

  /// Records why the run failed, if the log still accepts a record.
  static void recordFailure(const RunRecorder& recorder, const std::exception& failure) {
    try {
      recorder.failed(failure.what());
    } catch (const std::exception&) {
      return;  // most likely the log is what failed; keep the original exception
    }
  }

  /// Records broken runs and tampering found in the log.
  void reportEarlierRuns(const ResolvedPolicy& resolved, const AuditLog& log, const RunRecorder& recorder) const {
    const auto noteAndRecord = [&](const std::string& message) {
      warn(message);
      recorder.error(message);
    };
    const auto broken = BrokenRun::find(log);
    if (const auto missing = log.recordsMissing()) noteAndRecord(*missing);
    if (!broken) return;
    noteAndRecord(broken->description());
    for (const auto& entry : broken->unrecorded(log.url(), quarantined(resolved))) {
      const auto message =
          fmt::format("has been in quarantine since run {}, but the log has no record of it", broken->id);
      warn(fmt::format("{} {}", entry.manifest.originalPath, message));
      recorder.foundUnrecorded(entry, message);
    }
  }

  /// Empty when the quarantine cannot be read; its users report why.
  std::vector<QuarantineDisposer::Entry> quarantined(const ResolvedPolicy& resolved) const {
    try {
      const auto host = TidraHost::name(runner_.host.environment);
      return QuarantineDisposer(resolved.quarantine, resolved.resolver, host, mountPoints()).list().entries;
    } catch (const std::exception&) {
      return {};
    }
  }

  void runSteps(const ResolvedPolicy& resolved, AuditLog& log, const RunRecorder& recorder) {
    log.requireSound();  // before anything is removed
    recorder.started(effective_.origin, effective_.isChanged);
    say(fmt::format("run {} started, policy {}{}", result_.runID, policy().name, result_.dryRun ? ", dry run" : ""));
    storePolicy(resolved);
    for (const std::string& note : resolved.notes) warn(note);
    if (resolved.roots.empty() && (!policy().scan.categories || policy().scan.categories->empty()))
      throw FleetRunError::noRoots();
    scan(resolved, recorder);
    if (!result_.report.partial) {
      decide(recorder);
      dispose(resolved, log, recorder);
      purge(resolved, log, recorder);
    }
    result_.interrupted = isCancelled() || result_.report.partial;
    const auto snapshot = publish(resolved, log);
    finish(recorder);
    if (snapshot) prepareReport(*snapshot, log);
    if (hub_ && result_.hostReport) deliver(log, recorder);
    log.saveCheckpoint();
  }

  void scan(const ResolvedPolicy& resolved, const RunRecorder& recorder) {
    auto scan = makePolicyScan(policy(), resolved, runner_.clock());
    for (const std::string& warning : scan.warnings) warn(warning);
    scan.request.shouldCancel = runner_.shouldCancel;
    request_ = std::move(scan.request);
    request_.quarantines.push_back(ownQuarantine_);
    outcome_ = runScan(request_);
    for (const std::string& note : outcome_.notes) warn(note);
    const ScanReport& report = result_.report = makeReport(outcome_, request_.resolver);
    recorder.scanCompleted(fmt::format("{} findings in {:.1f}s", report.items.size(), report.durationSeconds),
                           report.totalBytes);
    say(fmt::format("{} findings, {} reclaimable", report.items.size(), ByteFormatting::compact(report.totalBytes)));
  }

  void decide(const RunRecorder& recorder) {
    auto selection = RunSelection::make(outcome_, result_.report, policy(), request_);
    result_.decision = std::move(selection.decision);
    result_.kept = std::move(selection.kept);
    candidates_ = std::move(selection.candidates);
    const PolicyDecision& decision = result_.decision;
    for (const auto& skipped : decision.skipped) {
      if (isCancelled()) return;  // each record is flushed, which is slow for many
      recorder.skipped(skipped.item, std::string(rawValue(skipped.reason)));
    }
    for (const auto& kept : result_.kept) recorder.skipped(kept.item, "kept", kept.reason);
    const std::size_t skipped = decision.skipped.size() + result_.kept.size();
    recorder.planned(fmt::format("{} selected, {} skipped", decision.selected.size(), skipped),
                     decision.plan.totalBytes());
    say(fmt::format("{} items / {} selected", decision.selected.size(),
                    ByteFormatting::compact(decision.plan.totalBytes())));
  }

  CleanupSetting settingFor(const ResolvedPolicy& resolved) const {
    auto setting = CleanupSetting::forRequest(request_, policy().disposal.method, resolved.quarantine, result_.dryRun);
    setting.service.protectedFolders = {resolved.resolver.home + "/.tidra",
                                        resolved.auditPath,
                                        resolved.lockPath,
                                        HubPolicyState::pathFor(resolved.auditPath),
                                        UnsentReports::pathFor(resolved.auditPath),
                                        resolved.quarantine.directory,
                                        ownQuarantine_};
    setting.service.clock = runner_.clock;
    setting.service.finishesItems = true;
    return setting;
  }

  void dispose(const ResolvedPolicy& resolved, AuditLog& log, const RunRecorder& recorder) {
    CleanupSetting setting = settingFor(resolved);
    if (!setting.dryRun) {
      // No record, no removal: without space for the record this throws, and the item stays.
      setting.beforeItem = [&](const CleanupCandidate&) { log.reserve(); };
    }
    setting.onResult = [&](const CleanupCandidate& candidate, const TidraDeletionService::Result& result,
                           std::int64_t bytes) {
      const DisposalMethod method = methodFor(candidate.item);
      if (const auto* failure = std::get_if<TidraDeletionFailure>(&result)) {
        say(fmt::format("{}: {}", failure->path, failure->message));
        if (!setting.dryRun) recorder.disposeFailed(candidate.item, method, failure->message);
      }
      if (setting.dryRun) {
        recorder.wouldBeDisposed(candidate.item, method);
      } else if (const auto* disposed = std::get_if<TidraDeletionService::Disposed>(&result)) {
        recorder.disposed(candidate.item, disposed->receipt,
                          {.bytes = bytes, .freedBytes = freedBytesOf(candidate, *disposed, bytes)});
      }
    };
    auto outcome = runCleanup(candidates_, setting);
    result_.disposal = std::move(outcome.disposal);
    result_.unmeasured = std::move(outcome.unmeasured);
    result_.freedBytes = setting.dryRun ? 0 : outcome.freedBytes;
    say(fmt::format("{}: {} ok, {} failed{}", rawValue(setting.method), result_.disposal.receipts.size(),
                    result_.disposal.failures.size(), setting.dryRun ? " (dry run: nothing was removed)" : ""));
    for (const std::string& remainder : outcome.remainders) say(remainder);
    for (const std::string& note : outcome.notes) say(note);
    sayWhatToolsRemoved();
    if (!setting.dryRun) return;
    result_.disposal.receipts.clear();
    result_.unmeasured.clear();
  }

  /// Tools delete at once, regardless of the policy's method.
  DisposalMethod methodFor(const CleanupPlan::Item& item) const {
    return isToolBackedTarget(item.path) ? DisposalMethod::delete_ : policy().disposal.method;
  }

  void sayWhatToolsRemoved() const {
    std::vector<UnmeasuredSize> byTools = result_.unmeasured;
    std::erase_if(byTools, [](const UnmeasuredSize& size) { return !isToolBackedTarget(size.path); });
    if (byTools.empty()) return;
    say(fmt::format("{} of these by their tool, for good: about {}", byTools.size(),
                    ByteFormatting::compact(disposedBytes({}, byTools))));
  }

  void purge(const ResolvedPolicy& resolved, AuditLog& log, const RunRecorder& recorder) {
    if (!policy().disposal.purgeOnRun || result_.dryRun || isCancelled()) return;
    const QuarantineDisposer quarantine(resolved.quarantine, resolved.resolver, request_.host, request_.mounts);
    const RunPurge purge{.cutOff = runner_.clock() - retention(policy().disposal.retentionDays),
                         .clock = runner_.clock,
                         .shouldCancel = runner_.shouldCancel,
                         .say = [this](const std::string& line) { say(line); },
                         .warn = [this](const std::string& note) { warn(note); }};
    auto purged = purge.run(quarantine, log, recorder);
    result_.purged = std::move(purged.outcome);
    result_.purgedFreedBytes = purged.freedBytes;
  }

  /// An interrupted scan is incomplete: keep the metrics published last.
  std::optional<FleetMetricsSnapshot> publish(const ResolvedPolicy& resolved, const AuditLog& log) {
    result_.duration = seconds();
    if (result_.report.partial) return std::nullopt;
    auto snapshot = makeSnapshot(result_, policy().name, runner_.tidraVersion, log.totals());
    addQuarantine(snapshot, {resolved.quarantine, resolved.resolver, request_.host, request_.mounts});
    result_.metricsText = PrometheusRenderer::render(snapshot);
    if (!resolved.textfile) return snapshot;
    try {
      MetricsTextfile::write(result_.metricsText, *resolved.textfile);
      say("metrics textfile: " + *resolved.textfile);
    } catch (const std::system_error& failure) {
      warn(fmt::format("could not write metrics textfile {}: {}", *resolved.textfile, failure.code().message()));
    }
    return snapshot;
  }

  std::string freedText() const {
    std::string freed = "freed " + ByteFormatting::compact(result_.allFreedBytes());
    const DisposalMethod method = policy().disposal.method;
    if (result_.disposal.receipts.empty() || method == DisposalMethod::delete_) return freed;
    return freed + fmt::format("; what went into the {} frees its space when that is {}", rawValue(method),
                               method == DisposalMethod::trash ? "emptied" : "purged");
  }

  void finish(const RunRecorder& recorder) {
    result_.duration = seconds();
    const std::string message =
        fmt::format("{:.1f}s, {} ok, {} failed{}", result_.duration, result_.disposal.receipts.size(),
                    result_.disposal.failures.size(), result_.interrupted ? ", interrupted" : "");
    recorder.finished(message, {.bytes = result_.disposedBytes(), .freedBytes = result_.allFreedBytes()});
    if (!result_.dryRun) say(freedText());
    say("run finished: " + message);
  }

  /// The report carries the log's head after `runFinished`; this run's `hubReported` record follows it.
  void prepareReport(const FleetMetricsSnapshot& snapshot, const AuditLog& log) {
    result_.hostReport = makeHostReport(result_, snapshot,
                                        {.hub = runner_.policy.hub,
                                         .intervalSeconds = runner_.intervalSeconds,
                                         .auditSeq = log.seq(),
                                         .auditHeadHash = log.lastHash()});
  }

  void deliver(const AuditLog& log, const RunRecorder& recorder) {
    auto delivery = deliverReport(*hub_, *result_.hostReport, UnsentReports::pathFor(log.url()));
    for (const std::string& warning : delivery.warnings) warn(warning);
    if (delivery.earlier > 0)
      say(fmt::format("hub: sent {} earlier report{}", delivery.earlier, delivery.earlier == 1 ? "" : "s"));
    result_.hubAck = std::move(delivery.ack);
    result_.hubError = std::move(delivery.error);
    if (result_.hubError) {
      warn("hub report failed: " + *result_.hubError);
      return;
    }
    recorder.hubReported(hub_->baseURL);
    say(fmt::format("hub: reported to {} ({} hosts known)", hub_->baseURL, result_.hubAck->hostsKnown));
  }

  const FleetRunner& runner_;
  std::optional<HubClient> hub_;  // absent: no hub
  EffectivePolicy effective_;
  std::string ownQuarantine_;  // the hub's policy may set another
  std::chrono::steady_clock::time_point began_;
  ScanRequest request_;
  ScanOutcome outcome_;
  std::vector<CleanupCandidate> candidates_;  // refer to the findings of the outcome
  FleetRunResult result_;
};

}  // namespace

FleetRunError::FleetRunError(Kind kind, const std::string& message, std::string help)
    : std::runtime_error(message), kind_(kind), help_(std::move(help)) {}

FleetRunError FleetRunError::locked(const std::string& message, const std::string& help) {
  return {Kind::locked, message, help};
}

FleetRunError FleetRunError::noRoots() {
  return {Kind::noRoots, "policy resolves to no scan roots and no categories", ""};
}

FleetRunResult FleetRunner::run() const { return Run(*this).execute(); }

}  // namespace tidra
