#pragma once

#include <string_view>

namespace tidra {

/// The dashboard as one HTML document, UTF-8, that needs nothing from elsewhere. Whoever serves it replaces every
/// "__HUB_TITLE__" by the fleet's title, escaped for HTML, and every "__TIDRA_VERSION__" by the program's version.
extern const std::string_view dashboardText;

}  // namespace tidra
