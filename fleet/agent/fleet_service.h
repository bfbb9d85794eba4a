// The agent as a service: a run at start and then every interval, the metrics listener beside it, and a policy that may
// change meanwhile.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/platform/path_resolver.h"
#include "fleet/agent/fleet_runner.h"
#include "fleet/agent/metrics_server.h"
#include "fleet/agent/policy/resolved_policy.h"

namespace tidra {

class FleetService {
 public:
  /// Between runs when neither the command line nor the policy says: a day.
  static constexpr std::int64_t defaultIntervalSeconds = 86400;
  /// How much longer than the interval a pause may be, in parts of it: hosts that started together drift apart.
  static constexpr double mostJitter = 0.1;

  struct Setting {
    std::string policyPath;
    std::optional<std::int64_t> intervalSeconds;  // absent: the policy's
    bool dryRun = false;                          // whatever the policy says
    std::string actor;
    TidraPathResolver host;  // the running user's home folder and the environment
    std::function<TimePoint()> clock;
    std::function<bool()> shouldStop;  // from any thread
    std::function<void(const std::string&)> log = &printLine;
    std::function<void(std::uint16_t)> onListening = {};  // with the port, when the listener is up
  };

  explicit FleetService(Setting setting) : setting_(std::move(setting)) {}

  /// Serves until asked to stop, which it does within a second unless an item is being disposed of. A failing run turns
  /// the health to degraded. Throws before anything is removed: what loading a policy throws, InputError when the
  /// listener cannot be opened, FleetRunError when another run holds the lock at the start.
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
  std::string complaint_;   // why the file's policy does not count, as last told; empty: it does
  ListenAddress address_;
  std::unique_ptr<MetricsServer> server_;
  std::string metricsText_;  // as last published, for a listener on another address
  std::string reportJson_;
  bool healthy_ = true;
};

}  // namespace tidra
