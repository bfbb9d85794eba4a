#include <fmt/format.h>

#include "core/base/text.h"
#include "fleet/agent/evaluation/resolved_policy.h"
#include "fleet/agent/policy/token_file.h"

namespace tidra {

HubToken HubToken::find(const FleetPolicy& policy, const TidraPathResolver& resolver, const std::string& systemFile) {
  HubToken found;
  if (policy.hub.token && !policy.hub.token->empty()) {
    found.token = policy.hub.token;
    found.source = "hub.token of the policy";
    return found;
  }
  const auto tryFile = [&](const std::string& path, bool isNamed) {
    TokenFile file = readTokenFile(path, "agent");
    if (!file.fault.empty() && (isNamed || !file.isAbsent)) found.notes.push_back(std::move(file.fault));
    if (file.text.empty()) return false;
    found.token = file.firstToken();
    found.source = path;
    return true;
  };
  if (policy.hub.tokenFile) {
    if (const auto path = resolver.resolve(*policy.hub.tokenFile)) {
      if (tryFile(*path, true)) return found;
    } else {
      found.notes.push_back(fmt::format("hub.tokenFile '{}' names a variable that is not set or empty.",
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
