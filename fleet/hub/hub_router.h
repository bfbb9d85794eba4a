// The route table: handlers and required rights.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fleet/hub/hub_api.h"

namespace tidra {

enum class HubScope { none, agent, admin };

struct HubRoute {
  std::string_view method;  // HEAD is routed as GET; empty: any method
  std::string_view path;    // "*" matches any one component
  HubScope scope;
  HTTPResponse (*answer)(const HubCall& call);
};

struct HubMatch {
  const HubRoute* route = nullptr;  // null: not found
  std::vector<std::string> names;   // the components matched by "*", decoded
};

/// Splits a path at "/", then decodes, so that a component may contain "/". Empty components are dropped; an invalid
/// escape is kept literally.
std::vector<std::string> pathParts(std::string_view path);

/// True for a path of the API, existing or not.
bool isApiPath(const std::vector<std::string>& parts);

/// All routes except the page at "/".
std::span<const HubRoute> hubRoutes();

HubMatch matchRoute(std::string_view method, const std::vector<std::string>& parts);

}  // namespace tidra
