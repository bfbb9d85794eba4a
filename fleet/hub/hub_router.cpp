#include "fleet/hub/hub_router.h"

#include <array>
#include <optional>

#include "core/base/text.h"
#include "fleet/http/url.h"

namespace tidra {
namespace {

constexpr auto agent = HubScope::agent;
constexpr auto admin = HubScope::admin;

constexpr std::array routes{
    HubRoute{"", "/healthz", HubScope::none, &answerHealth},
    HubRoute{"GET", "/metrics", admin, &answerMetrics},
    HubRoute{"POST", "/api/v1/report", agent, &answerReport},
    HubRoute{"GET", "/api/v1/info", HubScope::none, &answerInfo},
    HubRoute{"GET", "/api/v1/policies", agent, &answerPolicyNames},
    HubRoute{"GET", "/api/v1/policies/*", agent, &answerPolicy},
    HubRoute{"PUT", "/api/v1/policies/*", admin, &answerPolicyUpload},
    HubRoute{"DELETE", "/api/v1/policies/*", admin, &answerPolicyRemoval},
    HubRoute{"GET", "/api/v1/summary", admin, &answerSummary},
    HubRoute{"GET", "/api/v1/events", admin, &answerEvents},
    HubRoute{"GET", "/api/v1/hosts", admin, &answerHosts},
    HubRoute{"GET", "/api/v1/hosts.csv", admin, &answerHostTable},
    HubRoute{"GET", "/api/v1/hosts/*", admin, &answerHost},
    HubRoute{"DELETE", "/api/v1/hosts/*", admin, &answerHostRemoval},
    HubRoute{"PUT", "/api/v1/hosts/*/note", admin, &answerNote},
};

/// The components matched by "*"; none when the path does not match.
std::optional<std::vector<std::string>> parametersOf(const std::vector<std::string>& parts, std::string_view path) {
  const auto wanted = splitNonEmpty(path, '/');
  if (wanted.size() != parts.size()) return std::nullopt;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (wanted[i] == "*") {
      names.push_back(parts[i]);
    } else if (wanted[i] != parts[i]) {
      return std::nullopt;
    }
  }
  return names;
}

}  // namespace

std::vector<std::string> pathParts(std::string_view path) {
  std::vector<std::string> parts;
  for (const std::string_view part : splitNonEmpty(path, '/')) {
    parts.push_back(percentDecoded(part).value_or(std::string(part)));
  }
  return parts;
}

bool isApiPath(const std::vector<std::string>& parts) {
  return parts.size() >= 2 && parts[0] == "api" && parts[1] == "v1";
}

std::span<const HubRoute> hubRoutes() { return routes; }

HubMatch matchRoute(std::string_view method, const std::vector<std::string>& parts) {
  const std::string_view asked = method == "HEAD" ? "GET" : method;
  for (const HubRoute& route : routes) {
    if (!route.method.empty() && route.method != asked) continue;
    if (auto names = parametersOf(parts, route.path)) return {&route, std::move(*names)};
  }
  return {};
}

}  // namespace tidra
