// How long ago something was last used, and how long something will take, in a few characters.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/time_point.h"

namespace tidra {

/// "2 y", "9 mo", "5 d", "today"; `unknown` without a date.
std::string idleText(const std::optional<TimePoint>& lastActivity, TimePoint now, std::string_view unknown = "?");

/// How long something will take, e.g. "40 s left", "12 min left".
std::string timeLeftText(double seconds);

}  // namespace tidra
