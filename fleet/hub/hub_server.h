// The hub: receives reports, serves policies, and shows the fleet to administrators. API: docs/hub.md.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "core/platform/standard_streams.h"
#include "fleet/http/http_server.h"
#include "fleet/hub/hub_api.h"

namespace tidra {

class HubServer {
 public:
  /// Shorter bodies are never compressed.
  static constexpr std::size_t leastCompressedBytes = 1024;

  /// Opens the store, which locks the data folder; throws as HubStore does. `clock` and `log` are called concurrently.
  /// Does not listen yet.
  HubServer(HubConfig config, std::function<TimePoint()> clock, HubLog log = &printLine);
  /// Calls stop().
  ~HubServer();
  HubServer(const HubServer&) = delete;
  HubServer& operator=(const HubServer&) = delete;

  // Call these three from one thread.

  /// Starts listening and logs an event. Throws ListeningError, InputError when that event cannot be written, and
  /// std::system_error; then nothing listens.
  void start();
  /// Accepts no more requests and finishes those that have arrived. No effect when not running.
  void stop();
  /// The port listened on; while not running, the configured one.
  std::uint16_t port() const { return http_ ? http_->port() : config_.port; }

  // The rest is thread-safe.

  /// The response to any request. Throws std::bad_alloc only.
  HTTPResponse handle(const HTTPRequest& request);

  /// Replaces the valid tokens.
  void replaceTokens(HubTokens tokens) { authorisation_.replace(std::move(tokens)); }

  const HubConfig& config() const { return config_; }
  const HubStore& store() const { return store_; }
  TimePoint startedAt() const { return startedAt_; }

 private:
  std::function<void(std::string_view)> warningSink() const;
  HTTPResponse answer(const HTTPRequest& request);
  HTTPResponse answerRoute(const HTTPRequest& request);

  const HubConfig config_;
  const std::function<TimePoint()> clock_;
  const HubLog log_;
  const TimePoint startedAt_;
  const std::string page_;
  HubAuthorisation authorisation_;
  HubStore store_;
  std::unique_ptr<HTTPServer> http_;
};

}  // namespace tidra
