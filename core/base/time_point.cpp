#include "core/base/time_point.h"

#include <algorithm>
#include <charconv>

#include "core/base/text.h"

namespace tidra {
namespace {

/// Removes exactly `digits` decimal digits from the front of `text`; returns nullopt when there are fewer.
std::optional<int> takeNumber(std::string_view& text, std::size_t digits) {
  if (text.size() < digits) return std::nullopt;
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + digits, number);
  if (error != std::errc{} || end != text.data() + digits || text.front() == '-') return std::nullopt;
  text.remove_prefix(digits);
  return number;
}

bool take(std::string_view& text, char expected) {
  if (text.empty() || text.front() != expected) return false;
  text.remove_prefix(1);
  return true;
}

void dropFraction(std::string_view& text) {
  if (!text.starts_with('.')) return;
  const auto end = text.find_first_not_of("0123456789", 1);
  if (end == 1) return;  // a dot without digits is no fraction
  text.remove_prefix(end == std::string_view::npos ? text.size() : end);
}

/// Parses "Z", "+hh:mm" or "-hh:mm", which must be all of `text`.
std::optional<std::chrono::minutes> takeOffset(std::string_view text) {
  if (text == "Z") return std::chrono::minutes{0};
  if (text.size() != 6 || (text.front() != '+' && text.front() != '-')) return std::nullopt;
  const int sign = text.front() == '-' ? -1 : 1;
  text.remove_prefix(1);
  const auto hours = takeNumber(text, 2);
  if (!hours || !take(text, ':')) return std::nullopt;
  const auto minutes = takeNumber(text, 2);
  if (!minutes || *hours > 23 || *minutes > 59) return std::nullopt;
  return std::chrono::minutes{sign * (*hours * 60 + *minutes)};
}

}  // namespace

TimePoint timePointAt(std::int64_t seconds) {
  using namespace std::chrono;
  constexpr TimePoint earliest = sys_days{year{0} / January / 1};
  constexpr TimePoint latest = sys_days{year{10000} / January / 1} - std::chrono::seconds{1};
  return std::clamp(TimePoint{std::chrono::seconds{seconds}}, earliest, latest);
}

std::string iso8601(TimePoint time) { return std::string(TimeText().of(time)); }

/// Returns the time, clamped.
TimePoint TimeText::beginDay(TimePoint time) {
  using namespace std::chrono;
  time = timePointAt(time.time_since_epoch().count());
  day_ = floor<days>(time);
  const year_month_day date{day_};
  const int year = static_cast<int>(date.year());
  put(0, year / 100);
  put(2, year % 100);
  put(5, static_cast<int>(static_cast<unsigned>(date.month())));
  put(8, static_cast<int>(static_cast<unsigned>(date.day())));
  return time;
}

std::optional<TimePoint> fromExactIso8601(std::string_view text) {
  constexpr std::string_view shape = "0000-00-00T00:00:00Z";
  if (text.size() != shape.size()) return std::nullopt;
  // Looked at once for all characters: stores read millions of these, nearly all of them right.
  bool fits = true;
  for (const std::size_t at : {4U, 7U, 10U, 13U, 16U, 19U}) fits &= text[at] == shape[at];
  const auto pair = [&](std::size_t at) {
    const int tens = text[at] - '0', ones = text[at + 1] - '0';
    fits &= static_cast<unsigned>(tens) < 10 && static_cast<unsigned>(ones) < 10;
    return tens * 10 + ones;
  };
  const int years = pair(0) * 100 + pair(2), months = pair(5), days = pair(8);
  const int hour = pair(11), minute = pair(14), second = pair(17);
  // A leap second would be written as the next minute.
  if (!fits || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  using namespace std::chrono;
  const year_month_day date{year{years}, month{static_cast<unsigned>(months)}, day{static_cast<unsigned>(days)}};
  if (!date.ok()) return std::nullopt;
  return sys_days{date} + hours{hour} + minutes{minute} + seconds{second};
}

std::optional<TimePoint> fromIso8601(std::string_view text) {
  using namespace std::chrono;
  const auto yearNumber = takeNumber(text, 4);
  if (!yearNumber || !take(text, '-')) return std::nullopt;
  const auto monthNumber = takeNumber(text, 2);
  if (!monthNumber || !take(text, '-')) return std::nullopt;
  const auto dayNumber = takeNumber(text, 2);
  if (!dayNumber || !take(text, 'T')) return std::nullopt;
  const auto hour = takeNumber(text, 2);
  if (!hour || !take(text, ':')) return std::nullopt;
  const auto minute = takeNumber(text, 2);
  if (!minute || !take(text, ':')) return std::nullopt;
  const auto second = takeNumber(text, 2);
  if (!second || *hour > 23 || *minute > 59 || *second > 60) return std::nullopt;
  dropFraction(text);
  const auto offset = takeOffset(text);
  const year_month_day date{year{*yearNumber}, month{static_cast<unsigned>(*monthNumber)},
                            day{static_cast<unsigned>(*dayNumber)}};
  if (!offset || !date.ok()) return std::nullopt;
  const TimePoint time = sys_days{date} + hours{*hour} + minutes{*minute} + seconds{*second} - *offset;
  return timePointAt(time.time_since_epoch().count());
}

}  // namespace tidra
