// How long ago something was last used, in a few characters.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/time_point.h"

namespace tidra {

/// "2 y", "9 mo", "5 d", "today"; `unknown` without a date.
std::string idleText(const std::optional<TimePoint>& lastActivity, TimePoint now, std::string_view unknown = "?");

}  // namespace tidra
