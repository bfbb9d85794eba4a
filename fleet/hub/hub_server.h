// The hub: takes the reports of hosts, hands out policies, and shows the fleet to administrators. docs/hub.md describes
// the API.
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
  /// Bodies shorter than this are never compressed.
  static constexpr std::size_t leastCompressedBytes = 1024;

  /// Opens the store, which takes the data folder; see HubStore for what it throws. `clock` and `log` are called on
  /// several threads at once. Nothing listens yet.
  HubServer(HubConfig config, std::function<TimePoint()> clock, HubLog log = &printLine);
  /// Stops.
  ~HubServer();
  HubServer(const HubServer&) = delete;
  HubServer& operator=(const HubServer&) = delete;

  // These three are called from one thread.

  /// Listens, and logs an event about it. Throws ListeningError, InputError when that event cannot be written, and
  /// std::system_error; nothing listens then.
  void start();
  /// Takes no more requests and finishes those that have arrived. Nothing happens when it is not started.
  void stop();
  /// The port that is listened on; while not started, the configured one.
  std::uint16_t port() const { return http_ ? http_->port() : config_.port; }

  // The rest may be called from any thread.

  /// The answer to one request, whatever it is. Throws nothing but for want of memory.
  HTTPResponse handle(const HTTPRequest& request);

  /// From here on these tokens are valid instead of the configuration's or those set before.
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
