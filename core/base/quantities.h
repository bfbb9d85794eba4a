// Sizes and ages as written on a command line.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "core/base/time_point.h"

namespace tidra {

/// Saturating addition of non-negative sizes: sparse files and faulty tools may claim any size.
template <class Bytes>
constexpr Bytes saturatedSum(Bytes left, Bytes right) {
  constexpr Bytes most = std::numeric_limits<Bytes>::max();
  return right > most - left ? most : static_cast<Bytes>(left + right);
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

/// Returns `now` minus an age. A day that the earlier month lacks becomes that month's last day.
TimePoint momentBefore(TimePoint now, const Age& age);

}  // namespace tidra
