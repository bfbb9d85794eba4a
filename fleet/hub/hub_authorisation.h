// Authorisation of requests by token.
#pragma once

#include <memory>
#include <mutex>

#include "fleet/http/http_message.h"
#include "fleet/hub/hub_tokens.h"

namespace tidra {

/// Thread-safe.
class HubAuthorisation {
 public:
  /// Empty tokens are ignored.
  explicit HubAuthorisation(HubTokens tokens);

  /// Replaces the valid tokens atomically: a concurrent request is checked against either the old set or the new one.
  void replace(HubTokens tokens);

  /// True when any token is configured.
  bool isRequired() const;
  /// True when no token is configured, or the request presents one of an agent or an administrator.
  bool admitsAgent(const HTTPRequest& request) const;
  /// True when no administrator's token is configured, or the request presents one.
  bool admitsAdministrator(const HTTPRequest& request) const;
  /// True when an administrator's token is configured and presented.
  bool knowsAdministrator(const HTTPRequest& request) const;

 private:
  std::shared_ptr<const HubTokens> current() const;

  mutable std::mutex lock_;  // guards the pointer
  std::shared_ptr<const HubTokens> tokens_;
};

}  // namespace tidra
