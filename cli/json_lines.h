// Events of a running command, one JSON object a line.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "core/model/scan_report.h"
#include "core/session/cleanup_session.h"
#include "core/session/scan_session.h"

namespace tidra {

/// Writes lines to standard output, each at once and whole. When its reader is gone (EPIPE), it requests the
/// interruption of the command instead of ending it in the midst of a removal; later lines are dropped. Call from one
/// thread. One instance at a time.
class JsonLines {
 public:
  /// `command`: "scan", "clean" or "apply".
  explicit JsonLines(std::string command);

  void started(const ScanRequest& request, const std::optional<DisposalMethod>& method, bool dryRun);
  /// At most twice a second.
  void progress(const ScanProgress& progress);
  void progress(const CleanupProgress& progress);
  void finding(const ScanReportItem& item);
  void finding(const CleanupCandidate& candidate);
  /// A "removed" or "failed" line.
  void result(const CleanupCandidate& candidate, const TidraDeletionService::Result& result);
  /// `bytes` counts where the receipt has none; `originalPath` is that of an entry of the trash.
  void removed(const DisposalReceipt& receipt, std::int64_t bytes, std::int64_t freedBytes,
               const std::optional<std::string>& originalPath = {});
  void failed(const TidraDeletionFailure& failure);
  /// The findings and the "finished" line of a scan.
  void report(const ScanReport& report);
  /// What else was removed or stayed, beside the outcome: entries of the trash.
  struct Others {
    std::size_t removed = 0;
    std::size_t failed = 0;
    std::int64_t bytes = 0;
  };
  void finished(const CleanupOutcome& outcome, const Others& others);

  /// True once a reader was gone.
  static bool isBroken();

 private:
  bool isDue();
  void write(nlohmann::json& event, const char* name);

  std::string command_;
  std::chrono::steady_clock::time_point last_{};
};

/// Writes the "started" line, and has the request report its progress.
std::shared_ptr<JsonLines> startJsonLines(std::string_view command, ScanRequest& request,
                                          const std::optional<DisposalMethod>& method, bool dryRun);

}  // namespace tidra
