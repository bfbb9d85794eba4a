// Classifies idle time. The reference time is a parameter, so that one scan uses one clock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/base/quantities.h"
#include "core/base/time_point.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {

struct ScanActivityClassification {
  /// Whole calendar months in UTC, including the time of day; 0 for a future date. In a month that lacks the start's
  /// day, the month completes on its last day.
  static int monthsSince(TimePoint date, TimePoint now);

  /// Whole days; 0 for a future date, nullopt for an unknown one.
  static std::optional<std::int64_t> idleDays(std::optional<TimePoint> date, TimePoint now);

  /// Tests the dormant threshold first: if it is below the inactive threshold, nothing is inactive.
  static ProjectActivity classify(int months, int dormantMonths, int inactiveMonths);

  /// Months since the date; 12 when it is unknown.
  static int monthsIdle(std::optional<TimePoint> date, TimePoint now);

  /// Months since the last modification of a path; 12 for a system group root, 36 for an unreadable path.
  static int monthsIdle(const std::string& path, TimePoint now);

  /// Whether at least this age lies between the date and now.
  static bool isAtLeastThisOld(TimePoint date, const Age& age, TimePoint now);
};

/// When a project counts as inactive and dormant, in whole months.
struct ActivityThresholds {
  int dormantMonths = 24;
  int inactiveMonths = 6;

  bool operator==(const ActivityThresholds&) const = default;
};

}  // namespace tidra
