#include "app/view/duration_text.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/model/scan_activity_classification.h"

namespace tidra {

std::string idleText(const std::optional<TimePoint>& lastActivity, TimePoint now, std::string_view unknown) {
  if (!lastActivity) return std::string(unknown);
  const int months = ScanActivityClassification::monthsSince(*lastActivity, now);
  constexpr int yearsFrom = 24;
  if (months >= yearsFrom) return fmt::format("{} y", months / 12);
  if (months > 0) return fmt::format("{} mo", months);
  const auto days = ScanActivityClassification::idleDays(lastActivity, now).value_or(0);
  return days == 0 ? "today" : fmt::format("{} d", days);
}

std::string timeLeftText(double seconds) {
  constexpr double minute = 60;
  constexpr double hour = 60 * minute;
  if (seconds < minute) return fmt::format("{:.0f} s left", std::max(seconds, 1.0));
  if (seconds < hour) return fmt::format("{:.0f} min left", seconds / minute);
  return fmt::format("{:.0f} h left", seconds / hour);
}

}  // namespace tidra
