// The disk of a host of the demo fleet.
#pragma once

#include <cstdint>

#include "core/base/time_point.h"
#include "fleet/hub/demo/demo_catalog.h"
#include "fleet/hub/demo/demo_random.h"

namespace tidra {

inline constexpr double demoGigabyte = 1024.0 * 1024 * 1024;

/// Simulates filling and cleaning a disk. Figures are bytes.
class DemoDisk {
 public:
  DemoDisk(const DemoKind& kind, bool isLow, DemoRandom& random);

  void fill(TimePoint time, std::int64_t intervalSeconds);

  /// Returns the bytes removed by a run; mostly 0 until enough has accumulated.
  double sweep();

  double cleanable() const { return cleanable_; }
  double delicate() const { return delicate_; }
  std::int64_t sizeBytes() const { return static_cast<std::int64_t>(size_); }

  /// `age` is 0 at the last run and 1 at the first. Free space on a low disk declines to its present value.
  std::int64_t freeBytes(double age) const;

 private:
  double most() const { return size_ * 0.3; }

  DemoRandom& random_;
  double growthADay_, size_;
  bool isLow_, rests_;
  double freeAtEnd_;
  bool hasDelicate_ = false;
  double cleanable_ = 0;  // of the tier safe
  double delicate_ = 0;   // of the other tiers
};

}  // namespace tidra
