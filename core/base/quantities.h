// Sizes and ages as people write them on a command line.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "core/base/time_point.h"

namespace tidra {

/// The sum of two sizes, neither negative; the largest figure where the type does not hold it. Sparse files and tools
/// gone wrong may claim any size.
template <class Bytes>
constexpr Bytes saturatedSum(Bytes left, Bytes right) {
  constexpr Bytes most = std::numeric_limits<Bytes>::max();
  return right > most - left ? most : static_cast<Bytes>(left + right);
}

/// A size where no negative figure is known; what claims to be one counts as nothing.
constexpr std::uint64_t unsignedBytes(std::int64_t bytes) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(bytes, 0));
}

/// Bytes of "500", "500KB", "10M", "1.5G", "2TiB" (powers of 1024, any letter case). Throws InputError naming the text.
std::int64_t parseSize(std::string_view text);

/// A count of things: "0", "25". Throws InputError naming the text.
std::size_t parseCount(std::string_view text);

/// An age: "30d", "8w" are days, "6mo", "1y" are calendar months.
struct Age {
  int months = 0;
  std::chrono::days days{0};

  bool operator==(const Age&) const = default;
};

/// Throws InputError naming the text.
Age parseAge(std::string_view text);

/// The moment that lies an age before `now`. A day that the earlier month lacks counts as that month's last day.
TimePoint momentBefore(TimePoint now, const Age& age);

}  // namespace tidra
