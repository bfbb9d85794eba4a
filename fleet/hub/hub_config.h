// The hub's configuration.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "fleet/http/url.h"

namespace tidra {

struct HubConfig {
  static constexpr std::uint16_t defaultPort = 9480;
  /// A day and a half: a host cleaned nightly has missed one night.
  static constexpr double defaultStaleAfter = 36.0 * 3600;

  std::string host = "127.0.0.1";    // an IPv4 address; "0.0.0.0" for all interfaces
  std::uint16_t port = defaultPort;  // 0: any free one
  std::string dataDir;
  std::optional<std::string> agentToken;  // both tokens: absent or empty means not configured
  std::optional<std::string> adminToken;
  double staleAfter = defaultStaleAfter;  // seconds of silence until a host without an interval is stale
  std::string title = "Tidra fleet";      // of the dashboard and of /api/v1/info

  /// True when other machines can reach the hub only through a proxy on this one.
  bool isForThisMachineAlone() const { return isLoopback(host); }

  bool operator==(const HubConfig&) const = default;
};

}  // namespace tidra
