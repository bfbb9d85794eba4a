#include "app/view/idle_text.h"

#include <fmt/format.h>

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

}  // namespace tidra
