// Points in time: whole seconds, UTC.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tidra {

using TimePoint = std::chrono::sys_seconds;

/// ISO 8601 in UTC and whole seconds, as "2026-03-14T10:15:00Z".
std::string iso8601(TimePoint time);

/// Reads "2026-03-14T10:15:00Z"; a fraction of a second is dropped, an offset such as "+02:00" is applied.
/// None for anything else, a day that does not exist included.
std::optional<TimePoint> fromIso8601(std::string_view text);

}  // namespace tidra
