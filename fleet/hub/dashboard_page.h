// The hub's page for people.
#pragma once

#include <string>
#include <string_view>

#include "fleet/http/http_message.h"

namespace tidra {

/// The document with the fleet's title, escaped, and the program's version in it.
std::string dashboardPage(std::string_view title);

/// The page for GET and HEAD, 405 for any other method.
HTTPResponse dashboardResponse(std::string_view method, const std::string& page);

}  // namespace tidra
