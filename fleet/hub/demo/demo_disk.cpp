#include "fleet/hub/demo/demo_disk.h"

#include <algorithm>
#include <chrono>

namespace tidra {

DemoDisk::DemoDisk(const DemoKind& kind, bool isLow, DemoRandom& random)
    : random_(random),
      growthADay_(kind.gigabytesADay * demoGigabyte * random.between(0.5, 2.0)),
      size_(static_cast<double>(kind.volumeGB << random.between(std::int64_t{0}, std::int64_t{2})) * demoGigabyte),
      isLow_(isLow),
      rests_(kind.role != "agent-host" && kind.role != "gpu"),
      freeAtEnd_(isLow_ ? random.between(0.015, 0.095) : random.between(0.15, 0.55)) {
  for (const DemoFinding& finding : kind.findings) {
    if (finding.tier != ArtifactSafetyTier::safe) hasDelicate_ = true;
  }
  cleanable_ = std::min(growthADay_ * random.between(2.0, 12.0), most() / 2);
  if (hasDelicate_) delicate_ = cleanable_ * random.between(0.1, 0.5);
}

void DemoDisk::fill(TimePoint time, std::int64_t intervalSeconds) {
  constexpr std::chrono::duration<double> day = std::chrono::days{1};
  const auto weekday = std::chrono::weekday(std::chrono::floor<std::chrono::days>(time));
  const bool isWeekend = weekday == std::chrono::Saturday || weekday == std::chrono::Sunday;
  const double pace = (rests_ && isWeekend ? 0.2 : 1.0) * random_.between(0.4, 1.6);
  const double grown = growthADay_ * pace * static_cast<double>(intervalSeconds) / day.count();
  cleanable_ += grown * std::max(0.0, 1 - cleanable_ / most());  // growth slows down as reclaimable data accumulates
  if (hasDelicate_) delicate_ += grown * 0.05 * std::max(0.0, 1 - delicate_ / (most() / 4));
}

double DemoDisk::sweep() {
  if (cleanable_ < growthADay_ * 1.5 && !random_.chance(0.15)) return 0;
  const double swept = cleanable_ * random_.between(0.3, 0.8);
  cleanable_ -= swept;
  return swept;
}

std::int64_t DemoDisk::freeBytes(double age) const {
  const double wave = (most() - cleanable_) / most() * 0.05;
  const double share = isLow_ ? freeAtEnd_ + age * 0.3 : std::max(0.11, freeAtEnd_ + wave - 0.04 + age * 0.05);
  return static_cast<std::int64_t>(size_ * share);
}

}  // namespace tidra
