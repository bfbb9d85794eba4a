// Progress of a list of removals, inside the items too.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/session/cleanup_session.h"

namespace tidra {

/// Publishes the progress of removing candidates one after another. Deleted entries are counted by the removal's own
/// counter, and the bytes of a folder that is being deleted by what its volume gains: neither costs anything for each
/// file. All calls on one thread.
class RemovalProgress {
 public:
  /// Both must outlive this.
  RemovalProgress(const std::vector<CleanupCandidate>& candidates, const CleanupSetting& setting);

  /// The service's setting with this as the listener. Must not outlive this.
  TidraDeletionService::Setting observed();

  void begin(const CleanupCandidate& candidate);
  void finish(const CleanupCandidate& candidate);
  void end();

 private:
  using Clock = std::chrono::steady_clock;

  void publish();
  void poll();
  std::int64_t gained() const;

  const CleanupSetting& setting_;
  CleanupProgress progress_;
  std::atomic<std::uint64_t> entries_{0};
  std::int64_t bytesBefore_ = 0;  // of the items that are finished
  std::string folder_;            // that holds the current item, if it is deleted
  std::int64_t most_ = 0;         // what the current item frees
  std::optional<std::int64_t> availableBefore_;
  Clock::time_point last_{};
};

}  // namespace tidra
