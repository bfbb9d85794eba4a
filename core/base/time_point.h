// Points in time: whole seconds, UTC.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tidra {

using TimePoint = std::chrono::sys_seconds;

/// Converts untrusted seconds since the epoch, clamped to the years 0 to 9999: calendar arithmetic and text stay exact.
TimePoint timePointAt(std::int64_t seconds);

/// Formats ISO 8601 UTC in whole seconds ("2026-03-14T10:15:00Z"), clamped to the years 0 to 9999.
std::string iso8601(TimePoint time);

/// Parses "2026-03-14T10:15:00Z". Drops a fraction of a second and applies an offset such as "+02:00". Returns nullopt
/// for anything else, including days that do not exist.
std::optional<TimePoint> fromIso8601(std::string_view text);

}  // namespace tidra
