// Which answer a request gets, and who may have it.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fleet/hub/hub_api.h"

namespace tidra {

enum class HubScope { none, agent, admin };

struct HubRoute {
  std::string_view method;  // HEAD is asked for as GET; empty: any method
  std::string_view path;    // "*" stands for one part of it, whatever it holds
  HubScope scope;
  HTTPResponse (*answer)(const HubCall& call);
};

struct HubMatch {
  const HubRoute* route = nullptr;  // null: nothing is there
  std::vector<std::string> names;   // the parts that "*" stands for, decoded
};

/// A request's path in parts: split at "/" first and decoded then, so that a part may hold a "/". Empty parts go; an
/// escape that is none stays as it stands.
std::vector<std::string> pathParts(std::string_view path);

/// True for a path of the API, whether there is anything or not.
bool isApiPath(const std::vector<std::string>& parts);

/// Every route but the page at "/".
std::span<const HubRoute> hubRoutes();

HubMatch matchRoute(std::string_view method, const std::vector<std::string>& parts);

}  // namespace tidra
