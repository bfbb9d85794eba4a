#include <fmt/format.h>

#include "core/base/text.h"
#include "core/platform/files.h"
#include "fleet/agent/policy/resolved_policy.h"

namespace tidra {
namespace {

constexpr std::size_t mostTokenBytes = 64 * 1024;

/// What a file gives: a token, nothing, or why it is passed over.
struct TokenFile {
  std::string token;
  std::string fault;
};

TokenFile readTokenFile(const std::string& path, bool isNamed) {
  const std::string shown = escapedForTerminal(path);
  const auto file = readSecretFile(path, mostTokenBytes);
  if (!file) {
    const auto reason = file.failure();
    if (reason == std::errc::no_such_file_or_directory || reason == std::errc::not_a_directory) {
      return {{}, isNamed ? fmt::format("Token file '{}' does not exist.", shown) : std::string{}};
    }
    if (reason == std::errc::invalid_argument) return {{}, fmt::format("Token file '{}' is no regular file.", shown)};
    return {{}, fmt::format("Token file '{}' cannot be read: {}.", shown, reason.message())};
  }
  const std::string_view token = trimmed(file->bytes);
  if (file->isForeign) {
    return {{},
            fmt::format("Token file '{0}' belongs to another user and is not used; chown it to the user that runs the "
                        "agent.",
                        shown)};
  }
  if (file->isExposed) {
    return {{},
            fmt::format("Token file '{0}' can be read or changed by others and is not used; run chmod 600 '{0}' and "
                        "replace the token.",
                        shown)};
  }
  if (token.empty()) return {{}, isNamed ? fmt::format("Token file '{}' is empty.", shown) : std::string{}};
  if (!isValidUtf8(token)) return {{}, fmt::format("Token file '{}' is not UTF-8 text and is not used.", shown)};
  return {std::string(token), {}};
}

}  // namespace

HubToken HubToken::find(const FleetPolicy& policy, const TidraPathResolver& resolver, const std::string& systemFile) {
  HubToken found;
  if (policy.hub.token && !policy.hub.token->empty()) {
    found.token = policy.hub.token;
    found.source = "hub.token of the policy";
    return found;
  }
  const auto tryFile = [&](const std::string& path, bool isNamed) {
    TokenFile file = readTokenFile(path, isNamed);
    if (!file.fault.empty()) found.notes.push_back(std::move(file.fault));
    if (file.token.empty()) return false;
    found.token = std::move(file.token);
    found.source = path;
    return true;
  };
  if (policy.hub.tokenFile) {
    if (const auto path = resolver.resolve(*policy.hub.tokenFile)) {
      if (tryFile(*path, true)) return found;
    } else {
      found.notes.push_back(fmt::format("hub.tokenFile '{}' names a variable that is not set.",
                                        escapedForTerminal(*policy.hub.tokenFile)));
    }
  }
  if (tryFile(systemFile, false) || tryFile(resolver.expandedPath("~/.tidra/hub.token"), false)) return found;
  const auto variable = resolver.environment.find("TIDRA_HUB_TOKEN");
  if (variable != resolver.environment.end() && !variable->second.empty()) {
    found.token = variable->second;
    found.source = "TIDRA_HUB_TOKEN of the environment";
  }
  return found;
}

}  // namespace tidra
