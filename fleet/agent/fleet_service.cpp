#include "fleet/agent/fleet_service.h"

#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <thread>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

constexpr std::chrono::milliseconds lookAround{200};    // polling interval of a pause for a stop
constexpr std::chrono::seconds lookAtPolicy{5};         // and for a changed policy
constexpr std::int64_t mostIntervalSeconds = 31536000;  // a year, which overflows no clock

}  // namespace

void FleetService::serve() {
  loadAtStart();
  runOnce(true);
  while (!setting_.shouldStop()) {
    pause();
    if (setting_.shouldStop()) break;
    reloadIfChanged();
    runOnce(false);
  }
  server_->stop();
  say("stopped");
}

void FleetService::loadAtStart() {
  policyText_ = readTrustedPolicyFile(setting_.policyPath);
  policy_ = FleetPolicy::parse(policyText_);
  listen(policy_);
}

/// Opens the listener at the policy's address and closes the former one. On failure the former one stays, or is
/// restarted if it used the same port, since both could not be bound at once.
void FleetService::listen(const FleetPolicy& policy) {
  const auto resolved = ResolvedPolicy::make(policy, setting_.host);
  resolved.requireApartFrom(setting_.policyPath);
  const ListenAddress& address = resolved.listen;
  if (server_ && address == address_) return;
  auto server = std::make_unique<MetricsServer>(address.host, address.port);
  const bool isInTheWay = server_ && address.port == server_->port();
  try {
    if (isInTheWay) server_->stop();
    server->start();
  } catch (const MetricsServer::ServerError& failure) {
    if (isInTheWay) server_->start();
    throw InputError(fmt::format("The metrics listener cannot be opened on {}:{}: {}; choose another metrics.listen.",
                                 address.host, address.port, failure.what()));
  }
  if (server_) server->update(metricsText_, reportJson_, healthy_);
  server_ = std::move(server);
  address_ = address;
  say(fmt::format("metrics on http://{}:{}/metrics", address.host, server_->port()));
  if (setting_.onListening) setting_.onListening(server_->port());
}

void FleetService::reloadIfChanged() {
  try {
    std::string text = readTrustedPolicyFile(setting_.policyPath);
    if (text != policyText_) {
      const FleetPolicy policy = FleetPolicy::parse(text);
      listen(policy);
      policy_ = policy;
      policyText_ = std::move(text);
      say(fmt::format("policy {} reloaded", escapedForTerminal(policy_.name)));
    }
    complaint_.clear();
  } catch (const std::exception& failure) {
    // Retry each time: the cause may be the file's mode or a port in use, not the text. Log only a new reason.
    if (complaint_ == failure.what()) return;
    complaint_ = failure.what();
    say(fmt::format("warning: the policy stays as it was: {}", escapedForTerminal(complaint_)));
  }
}

std::int64_t FleetService::interval() const {
  return setting_.intervalSeconds.value_or(policy_.hub.intervalSeconds.value_or(defaultIntervalSeconds));
}

void FleetService::runOnce(bool isFirst) {
  FleetRunner runner{.policy = policy_,
                     .dryRun = setting_.dryRun,
                     .actor = setting_.actor,
                     .intervalSeconds = interval(),
                     .log = setting_.log,
                     .host = setting_.host,
                     .clock = setting_.clock,
                     .shouldCancel = setting_.shouldStop};
  try {
    const FleetRunResult result = runner.run();
    if (!result.hostReport) return;
    metricsText_ = result.metricsText;
    reportJson_ = HubJSON::compact(*result.hostReport);
    healthy_ = !result.hasFailures();
    server_->update(metricsText_, reportJson_, healthy_);
  } catch (const FleetRunError& failure) {
    // The roots may come from a hub that is unreachable now.
    const bool mayComeYet = policy_.hub.policy && failure.kind() == FleetRunError::Kind::noRoots;
    if (isFirst && !mayComeYet) throw;
    say(fmt::format("no run: {}", failure.what()));
    if (failure.kind() == FleetRunError::Kind::locked) return;
    healthy_ = false;
    server_->setHealthy(false);
  } catch (const std::exception& failure) {
    say(fmt::format("run failed: {}", escapedForTerminal(failure.what())));
    healthy_ = false;
    server_->setHealthy(false);
  }
}

std::chrono::milliseconds FleetService::pauseLength() const {
  const std::chrono::milliseconds length =
      std::chrono::seconds(std::clamp<std::int64_t>(interval(), 1, mostIntervalSeconds));
  std::random_device seed;
  std::uniform_real_distribution<double> jitter(0, mostJitter);
  return length +
         std::chrono::milliseconds(static_cast<std::int64_t>(static_cast<double>(length.count()) * jitter(seed)));
}

void FleetService::pause() {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + pauseLength();
  auto nextLook = Clock::now() + lookAtPolicy;
  while (!setting_.shouldStop() && Clock::now() < end) {
    std::this_thread::sleep_for(std::min<Clock::duration>(lookAround, end - Clock::now()));
    if (Clock::now() < nextLook) continue;
    reloadIfChanged();
    nextLook = Clock::now() + lookAtPolicy;
  }
}

}  // namespace tidra
