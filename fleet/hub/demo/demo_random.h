// A portable pseudo-random generator: equal seeds make equal sequences on every machine, unlike std distributions.
#pragma once

#include <cstdint>
#include <span>

namespace tidra {

class DemoRandom {
 public:
  explicit DemoRandom(std::uint64_t seed) : state_(seed) {}

  /// SplitMix64: a counter and a finaliser, so that adjacent seeds are uncorrelated.
  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
  }

  /// Uniform in [0, 1).
  double share() {
    constexpr double steps = 9007199254740992.0;  // 2^53, the precision of double
    return static_cast<double>(next() >> 11U) / steps;
  }

  bool chance(double probability) { return share() < probability; }

  /// Uniform in [least, most].
  std::int64_t between(std::int64_t least, std::int64_t most) {
    return least + static_cast<std::int64_t>(next() % static_cast<std::uint64_t>(most - least + 1));
  }
  double between(double least, double most) { return least + share() * (most - least); }

  template <class T>
  const T& pick(std::span<const T> values) {
    return values[next() % values.size()];
  }

 private:
  std::uint64_t state_;
};

}  // namespace tidra
