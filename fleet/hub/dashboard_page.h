// The hub's web page.
#pragma once

#include <string>
#include <string_view>

#include "fleet/http/http_message.h"

namespace tidra {

/// The HTML document with the fleet's title, escaped, and the program's version.
std::string dashboardPage(std::string_view title);

/// The page for GET and HEAD; 405 for other methods.
HTTPResponse dashboardResponse(std::string_view method, const std::string& page);

}  // namespace tidra
