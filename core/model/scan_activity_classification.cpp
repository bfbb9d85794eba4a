#include "core/model/scan_activity_classification.h"

#include <algorithm>

#include "core/model/system_group_root.h"
#include "core/platform/directory_reader.h"

namespace tidra {
namespace {

constexpr int monthsOfUnknownDate = 12;
constexpr int monthsOfUnreadablePath = 36;

/// Adds calendar months, keeping the time of day; a month that lacks the day yields its last day.
TimePoint addingMonths(TimePoint date, int months) {
  using namespace std::chrono;
  const auto day = floor<days>(date);
  const year_month_day start{day};
  const year_month target = year_month{start.year(), start.month()} + std::chrono::months{months};
  const auto lastDay = year_month_day_last{target.year(), month_day_last{target.month()}}.day();
  return sys_days{target / std::min(start.day(), lastDay)} + (date - day);
}

}  // namespace

int ScanActivityClassification::monthsSince(TimePoint date, TimePoint now) {
  using namespace std::chrono;
  if (date >= now) return 0;
  const year_month_day start{floor<days>(date)};
  const year_month_day end{floor<days>(now)};
  const auto between = year_month{end.year(), end.month()} - year_month{start.year(), start.month()};
  const int months = static_cast<int>(between.count());
  return std::max(0, addingMonths(date, months) > now ? months - 1 : months);
}

std::optional<std::int64_t> ScanActivityClassification::idleDays(std::optional<TimePoint> date, TimePoint now) {
  if (!date) return std::nullopt;
  constexpr std::int64_t secondsPerDay = 86400;
  return std::max<std::int64_t>(0, (now - *date).count() / secondsPerDay);
}

ProjectActivity ScanActivityClassification::classify(int months, int dormantMonths, int inactiveMonths) {
  if (months >= dormantMonths) return ProjectActivity::dormant;
  if (months >= inactiveMonths) return ProjectActivity::inactive;
  return months > 0 ? ProjectActivity::recent : ProjectActivity::active;
}

int ScanActivityClassification::monthsIdle(std::optional<TimePoint> date, TimePoint now) {
  return date ? monthsSince(*date, now) : monthsOfUnknownDate;
}

int ScanActivityClassification::monthsIdle(const std::string& path, TimePoint now) {
  if (path.starts_with(TidraSystemGroupRoot::prefix)) return monthsOfUnknownDate;
  const auto facts = pathFacts(path);
  return facts ? monthsSince(facts->modified, now) : monthsOfUnreadablePath;
}

bool ScanActivityClassification::isAtLeastThisOld(TimePoint date, const Age& age, TimePoint now) {
  if (age.months > 0) return date < now && monthsSince(date, now) >= age.months;
  return now - date >= age.days;
}

}  // namespace tidra
