#include "fleet/hub/hub_authorisation.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/text.h"

namespace tidra {
namespace {

/// The header "Authorization: Bearer TOKEN" takes precedence over the parameter "token".
std::optional<std::string> presentedToken(const HTTPRequest& request) {
  constexpr std::string_view scheme = "bearer ";
  if (const auto header = request.headers.find("authorization"); header != request.headers.end()) {
    if (asciiLowered(header->second).starts_with(scheme)) {
      return std::string(trimmed(std::string_view(header->second).substr(scheme.size())));
    }
  }
  const auto parameter = request.query.find("token");
  return parameter == request.query.end() ? std::nullopt : std::optional(parameter->second);
}

/// Constant-time comparison: guards against timing attacks, where the response time reveals a matching prefix.
bool areEqualInConstantTime(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) return false;
  volatile unsigned char difference = 0;
  for (std::size_t i = 0; i < left.size(); ++i) {
    difference = static_cast<unsigned char>(
        difference | (static_cast<unsigned char>(left[i]) ^ static_cast<unsigned char>(right[i])));
  }
  return difference == 0;
}

/// Compares with all tokens, to be constant-time too.
bool isOneOf(const std::optional<std::string>& token, const std::vector<std::string>& valid) {
  if (!token) return false;
  bool isValid = false;
  for (const std::string& each : valid) isValid = areEqualInConstantTime(*token, each) || isValid;
  return isValid;
}

HubTokens withoutEmpty(HubTokens tokens) {
  std::erase(tokens.agent, "");
  std::erase(tokens.admin, "");
  return tokens;
}

}  // namespace

HubAuthorisation::HubAuthorisation(HubTokens tokens) { replace(std::move(tokens)); }

void HubAuthorisation::replace(HubTokens tokens) {
  auto next = std::make_shared<const HubTokens>(withoutEmpty(std::move(tokens)));
  const std::lock_guard guard(lock_);
  tokens_ = std::move(next);
}

std::shared_ptr<const HubTokens> HubAuthorisation::current() const {
  const std::lock_guard guard(lock_);
  return tokens_;
}

bool HubAuthorisation::isRequired() const {
  const auto tokens = current();
  return !tokens->agent.empty() || !tokens->admin.empty();
}

bool HubAuthorisation::admitsAgent(const HTTPRequest& request) const {
  const auto tokens = current();
  if (tokens->agent.empty() && tokens->admin.empty()) return true;
  const auto presented = presentedToken(request);
  const bool isAgent = isOneOf(presented, tokens->agent);
  return isOneOf(presented, tokens->admin) || isAgent;
}

bool HubAuthorisation::admitsAdministrator(const HTTPRequest& request) const {
  const auto tokens = current();
  return tokens->admin.empty() || isOneOf(presentedToken(request), tokens->admin);
}

bool HubAuthorisation::knowsAdministrator(const HTTPRequest& request) const {
  return isOneOf(presentedToken(request), current()->admin);
}

}  // namespace tidra
