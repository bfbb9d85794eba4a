// Byte counts, and sizes and ages as written on a command line.
//
// What the file system and tools report is counted in std::uint64_t, from the walk to the finding. Documents (report,
// plan, receipts, reports to the hub) hold std::int64_t. Only the two conversions here lead from one to the other.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/time_point.h"

namespace tidra {

/// Adds non-negative sizes; nullopt when the type does not hold the sum.
template <class Bytes>
constexpr std::optional<Bytes> exactSum(Bytes left, Bytes right) {
  if (right > std::numeric_limits<Bytes>::max() - left) return std::nullopt;
  return static_cast<Bytes>(left + right);
}

/// Saturating addition of non-negative sizes: sparse files and faulty tools may claim any size.
template <class Bytes>
constexpr Bytes saturatedSum(Bytes left, Bytes right) {
  return exactSum(left, right).value_or(std::numeric_limits<Bytes>::max());
}

/// Clamps negative values to 0.
constexpr std::uint64_t unsignedBytes(std::int64_t bytes) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(bytes, 0));
}

/// Returns the size as a signed figure, clamped to the largest one.
constexpr std::int64_t signedBytes(std::uint64_t bytes) {
  constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  return static_cast<std::int64_t>(std::min(bytes, most));
}

/// Returns the bytes of "500", "500KB", "10M", "1.5G", "2TiB" (powers of 1024, any letter case). Throws InputError.
std::int64_t parseSize(std::string_view text);

/// Parses a whole number such as "0" or "25". Throws InputError.
std::size_t parseCount(std::string_view text);

/// An age: "30d", "8w" are days, "6mo", "1y" are calendar months.
struct Age {
  int months = 0;
  std::chrono::days days{0};

  bool operator==(const Age&) const = default;
};

/// Throws InputError.
Age parseAge(std::string_view text);

/// Returns the age as parseAge() reads it; not for one with both months and days.
std::string ageText(const Age& age);

/// Returns `now` minus an age. A day that the earlier month lacks becomes that month's last day.
TimePoint momentBefore(TimePoint now, const Age& age);

}  // namespace tidra
