// Points in time: whole seconds, UTC.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tidra {

using TimePoint = std::chrono::sys_seconds;

/// The point in time that a file system or a tool claims, in seconds since the epoch. Claims may be anything; those
/// outside the years 0 to 9999 give the nearest second inside, so that calendars and the text form stay exact.
TimePoint timePointAt(std::int64_t seconds);

/// ISO 8601 in UTC and whole seconds, as "2026-03-14T10:15:00Z"; of the nearest second inside the years 0 to 9999.
std::string iso8601(TimePoint time);

/// Reads "2026-03-14T10:15:00Z"; a fraction of a second is dropped, an offset such as "+02:00" is applied.
/// None for anything else, a day that does not exist included.
std::optional<TimePoint> fromIso8601(std::string_view text);

}  // namespace tidra
