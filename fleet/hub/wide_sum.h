// Overflow-free sums of untrusted figures.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace tidra {

/// Adds and subtracts at least 2^64 64-bit figures exactly.
class WideSum {
 public:
  WideSum& operator+=(std::int64_t figure) {
    sum_ += figure;
    return *this;
  }
  WideSum& operator-=(std::int64_t figure) {
    sum_ -= figure;
    return *this;
  }
  WideSum& operator+=(const WideSum& other) {
    sum_ += other.sum_;
    return *this;
  }
  WideSum& operator-=(const WideSum& other) {
    sum_ -= other.sum_;
    return *this;
  }

  /// The sum, saturated.
  std::int64_t value() const {
    using Figure = std::numeric_limits<std::int64_t>;
    return static_cast<std::int64_t>(std::clamp<Wide>(sum_, Figure::min(), Figure::max()));
  }

 private:
  __extension__ using Wide = __int128;

  Wide sum_ = 0;
};

}  // namespace tidra
