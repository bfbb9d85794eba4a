// The agent as a service: a run at start and then every interval, a metrics listener, and reload of a changed policy.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/platform/path_resolver.h"
#include "fleet/agent/evaluation/resolved_policy.h"
#include "fleet/agent/fleet_runner.h"
#include "fleet/agent/metrics_server.h"

namespace tidra {

class FleetService {
 public:
  /// Interval when neither command line nor policy sets one: a day.
  static constexpr std::int64_t defaultIntervalSeconds = 86400;
  /// Jitter: a pause may be longer by this fraction of the interval, so that hosts started together drift apart.
  static constexpr double mostJitter = 0.1;

  struct Setting {
    std::string policyPath;
    std::optional<std::int64_t> intervalSeconds;  // absent: the policy's
    bool dryRun = false;                          // true overrides the policy
    std::string actor;
    TidraPathResolver host;  // the running user's home folder and the environment
    std::function<TimePoint()> clock;
    std::function<bool()> shouldStop;  // called from any thread
    std::function<void(const std::string&)> log = &printLine;
    std::function<void(std::uint16_t)> onListening = {};  // called with the port once the listener is open
  };

  explicit FleetService(Setting setting) : setting_(std::move(setting)) {}

  /// Serves until asked to stop, then returns within a second unless an item is being removed. A failed run sets the
  /// health to degraded. Throws before anything is removed: errors of loading a policy, InputError when the listener
  /// cannot be opened, FleetRunError when another run holds the lock at the start.
  void serve();

 private:
  void loadAtStart();
  void reloadIfChanged();
  void listen(const FleetPolicy& policy);
  void runOnce(bool isFirst);
  void pause();
  /// Seconds between runs.
  std::int64_t interval() const;
  std::chrono::milliseconds pauseLength() const;
  void say(const std::string& line) const { setting_.log(line); }

  Setting setting_;
  FleetPolicy policy_;
  std::string policyText_;  // of policy_
  std::string complaint_;   // why the file's policy was rejected, as last logged; empty: it is valid
  ListenAddress address_;
  std::unique_ptr<MetricsServer> server_;
  std::string metricsText_;  // last published; for a listener reopened elsewhere
  std::string reportJson_;
  bool healthy_ = true;
};

}  // namespace tidra
