// Points in time: whole seconds, UTC.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
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

/// iso8601() of many points in time. Neighbours mostly lie on one day, whose date is then formatted once.
class TimeText {
 public:
  /// Valid until the next call.
  std::string_view of(TimePoint time) {
    if (const auto day = std::chrono::floor<std::chrono::days>(time); day != day_) time = beginDay(time);
    const auto second = static_cast<int>((time - day_).count());
    put(11, second / 3600);
    put(14, second / 60 % 60);
    put(17, second % 60);
    return {text_.data(), text_.size()};
  }

 private:
  TimePoint beginDay(TimePoint time);
  void put(std::size_t at, int number) {
    text_[at] = static_cast<char>('0' + number / 10);
    text_[at + 1] = static_cast<char>('0' + number % 10);
  }

  std::chrono::sys_days day_{};
  std::array<char, 20> text_{'1', '9', '7', '0', '-', '0', '1', '-', '0', '1',
                             'T', '0', '0', ':', '0', '0', ':', '0', '0', 'Z'};
};

/// The inverse of iso8601(). Returns nullopt for what it does not write.
std::optional<TimePoint> fromExactIso8601(std::string_view text);

/// Parses "2026-03-14T10:15:00Z". Drops a fraction of a second and applies an offset such as "+02:00". Returns nullopt
/// for anything else, including days that do not exist.
std::optional<TimePoint> fromIso8601(std::string_view text);

}  // namespace tidra
