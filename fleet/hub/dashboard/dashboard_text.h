#pragma once

#include <string_view>

namespace tidra {

/// The dashboard as a self-contained HTML document, UTF-8. The server replaces "__HUB_TITLE__" by the escaped title of
/// the fleet and "__TIDRA_VERSION__" by the program's version.
extern const std::string_view dashboardText;

}  // namespace tidra
