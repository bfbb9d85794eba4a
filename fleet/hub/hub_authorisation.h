// Who may ask the hub for what.
#pragma once

#include <memory>
#include <mutex>

#include "fleet/http/http_message.h"
#include "fleet/hub/hub_tokens.h"

namespace tidra {

/// May be called from any thread.
class HubAuthorisation {
 public:
  /// Empty tokens count for nothing.
  explicit HubAuthorisation(HubTokens tokens);

  /// From here on these are valid and no others; a request that is being looked at is judged by the one set or the
  /// other.
  void replace(HubTokens tokens);

  /// Some token is configured.
  bool isRequired() const;
  /// No token is configured at all, or the request presents an agent's or an administrator's.
  bool admitsAgent(const HTTPRequest& request) const;
  /// No administrator's token is configured, or the request presents one.
  bool admitsAdministrator(const HTTPRequest& request) const;
  /// An administrator's token is configured and the request presents it.
  bool knowsAdministrator(const HTTPRequest& request) const;

 private:
  std::shared_ptr<const HubTokens> current() const;

  mutable std::mutex lock_;  // guards the pointer
  std::shared_ptr<const HubTokens> tokens_;
};

}  // namespace tidra
