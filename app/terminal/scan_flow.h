// The scan behind the list of results.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app/terminal/ui_state.h"
#include "app/view/scan_job.h"

namespace tidra {

class ScanFlow {
 public:
  explicit ScanFlow(std::function<void()> wake) : wake_(std::move(wake)) {}

  /// Ends a running scan first. What it finds replaces the list.
  void start(ScanRequest request, bool isStored, UiState& state);
  /// The list keeps what was found.
  void stop(UiState& state);
  /// Takes the news. Returns whether there were any.
  bool drain(UiState& state);

  bool isRunning() const { return job_ != nullptr; }
  /// Of the last finished scan; null before.
  const std::shared_ptr<const ScanOutcome>& outcome() const { return outcome_; }
  const std::optional<ScanRequest>& request() const { return request_; }

 private:
  void finish(const ScanJob::Result& result, std::optional<ResultsView> view, UiState& state);

  std::function<void()> wake_;
  std::optional<ScanRequest> request_;
  std::shared_ptr<const ScanOutcome> outcome_;
  std::unique_ptr<ScanJob> job_;
};

}  // namespace tidra
