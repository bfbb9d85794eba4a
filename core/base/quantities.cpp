#include "core/base/quantities.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <string>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/base/whole_number.h"

namespace tidra {
namespace {

struct Unit {
  std::string_view name;
  double factor;
};

constexpr double kilo = 1024.0;
constexpr std::array sizeUnits{
    Unit{"", 1},
    Unit{"b", 1},
    Unit{"k", kilo},
    Unit{"kb", kilo},
    Unit{"kib", kilo},
    Unit{"m", kilo* kilo},
    Unit{"mb", kilo* kilo},
    Unit{"mib", kilo* kilo},
    Unit{"g", kilo* kilo* kilo},
    Unit{"gb", kilo* kilo* kilo},
    Unit{"gib", kilo* kilo* kilo},
    Unit{"t", kilo* kilo* kilo* kilo},
    Unit{"tb", kilo* kilo* kilo* kilo},
    Unit{"tib", kilo* kilo* kilo* kilo},
};

InputError badSize(std::string_view text) {
  return InputError(fmt::format("'{}' is not a size; write a number with an optional unit, such as 500KB, 10M or 1.5G",
                                escapedForTerminal(text)));
}

InputError badAge(std::string_view text) {
  return InputError(
      fmt::format("'{}' is not an age; write a whole number with d, w, mo or y, such as 30d, 8w, 6mo or 1y",
                  escapedForTerminal(text)));
}

}  // namespace

std::int64_t parseSize(std::string_view text) {
  const auto numberLength = std::min(text.find_first_not_of("0123456789."), text.size());
  const std::string digits(text.substr(0, numberLength));
  if (digits.find_first_of("0123456789") == std::string::npos || std::count(digits.begin(), digits.end(), '.') > 1) {
    throw badSize(text);
  }
  const double number = std::strtod(digits.c_str(), nullptr);
  const std::string name = asciiLowered(trimmed(text.substr(numberLength)));
  for (const Unit& unit : sizeUnits) {
    if (unit.name != name) continue;
    const double bytes = number * unit.factor;
    if (!(bytes < static_cast<double>(std::numeric_limits<std::int64_t>::max()))) throw badSize(text);
    return static_cast<std::int64_t>(bytes);
  }
  throw badSize(text);
}

std::size_t parseCount(std::string_view text) {
  if (const auto count = wholeNumber<std::size_t>(text)) return *count;
  throw InputError(fmt::format("'{}' is not a count; write a whole number, such as 0 or 25", escapedForTerminal(text)));
}

Age parseAge(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  constexpr int mostYears = 1000;
  if (error != std::errc{} || number < 0 || number > mostYears * 366 || text.starts_with('-')) throw badAge(text);
  const std::string unit = asciiLowered(text.substr(static_cast<std::size_t>(end - text.data())));
  if (unit == "d" || (unit.empty() && number == 0)) return {0, std::chrono::days{number}};
  if (unit == "w") return {0, std::chrono::days{number * 7}};
  if (unit == "mo") return {number, std::chrono::days{0}};
  if (unit == "y" && number <= mostYears) return {number * 12, std::chrono::days{0}};
  throw badAge(text);
}

std::string ageText(const Age& age) {
  return age.months > 0 ? fmt::format("{}mo", age.months) : fmt::format("{}d", age.days.count());
}

TimePoint momentBefore(TimePoint now, const Age& age) {
  const auto day = std::chrono::floor<std::chrono::days>(now);
  auto date = std::chrono::year_month_day{day} - std::chrono::months{age.months};
  if (!date.ok()) date = date.year() / date.month() / std::chrono::last;
  return std::chrono::sys_days{date} + (now - day) - age.days;
}

}  // namespace tidra
