#include "core/model/scan_activity_classification.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

using Activity = ScanActivityClassification;

TimePoint at(const std::string& text) { return fromIso8601(text.size() == 10 ? text + "T00:00:00Z" : text).value(); }

TEST(MonthsSince, CountsWholeCalendarMonths) {
  const std::tuple<const char*, const char*, int> cases[] = {
      {"2026-03-14", "2026-03-14", 0},
      {"2026-03-14T10:00:00Z", "2026-04-14T09:59:59Z", 0},  // the time of day counts
      {"2026-03-14T10:00:00Z", "2026-04-14T10:00:00Z", 1},
      {"2025-12-31", "2026-01-01", 0},
      {"2026-01-31", "2026-02-27T23:59:59Z", 0},  // a month without the day ends on its last day
      {"2026-01-31", "2026-02-28", 1},
      {"2026-01-31T12:00:00Z", "2026-02-28T11:59:59Z", 0},
      {"2026-01-31", "2026-03-30", 1},
      {"2026-01-31", "2026-03-31", 2},
      {"2024-01-31", "2024-02-28", 0},  // leap years
      {"2024-01-31", "2024-02-29", 1},
      {"2024-02-29", "2025-02-27", 11},
      {"2024-02-29", "2025-02-28", 12},
      {"2024-02-29", "2028-02-29", 48},
      {"2026-04-14", "2026-03-14", 0},  // the future
      {"0000-01-01", "9999-12-31", 119999}};
  for (const auto& [date, now, months] : cases)
    EXPECT_EQ(Activity::monthsSince(at(date), at(now)), months) << date << " to " << now;
}

TEST(IdleDays, CountsWholeDays) {
  const auto now = at("2026-03-14T12:00:00Z");
  EXPECT_EQ(Activity::idleDays(std::nullopt, now), std::nullopt);
  EXPECT_EQ(Activity::idleDays(at("2026-03-13T12:00:01Z"), now), 0);
  EXPECT_EQ(Activity::idleDays(at("2026-03-13T12:00:00Z"), now), 1);
  EXPECT_EQ(Activity::idleDays(at("2026-03-20"), now), 0);
  EXPECT_EQ(Activity::idleDays(timePointAt(std::numeric_limits<std::int64_t>::min()), now), 740054);
}

TEST(Classify, TestsDormantFirst) {
  using enum ProjectActivity;
  const std::pair<int, ProjectActivity> usual[] = {{0, active},   {1, recent},    {5, recent},
                                                   {6, inactive}, {23, inactive}, {24, dormant}};
  for (const auto& [months, activity] : usual) EXPECT_EQ(Activity::classify(months, 24, 6), activity) << months;
  EXPECT_EQ(Activity::classify(7, 3, 6), dormant);
  EXPECT_EQ(Activity::classify(2, 3, 6), recent);
  EXPECT_EQ(Activity::classify(0, 24, 0), inactive);
}

TEST(MonthsIdle, FallsBackWhenNothingIsKnown) {
  const auto now = at("2026-03-14");
  EXPECT_EQ(Activity::monthsIdle(at("2026-01-14"), now), 2);
  EXPECT_EQ(Activity::monthsIdle(std::optional<TimePoint>{}, now), 12);
  const TemporaryTree tree;
  tree.writeFile("file");
  tree.setModified("file", at("2025-03-15"));
  EXPECT_EQ(Activity::monthsIdle(tree.path("file"), now), 11);
  EXPECT_EQ(Activity::monthsIdle(tree.path("missing"), now), 36);
  EXPECT_EQ(Activity::monthsIdle(std::string("__tidra:system:caches__"), now), 12);
}

TEST(IsAtLeastThisOld, TakesDaysOrCalendarMonths) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"2026-03-01T10:00:00Z", "30d", true}, {"2026-03-01T10:00:01Z", "30d", false},
      {"2026-03-31T10:00:00Z", "0d", true},  {"2026-03-31T10:00:01Z", "0d", false},
      {"2026-02-28T10:00:00Z", "1mo", true}, {"2026-03-01T10:00:00Z", "1mo", false},
      {"2025-03-31T10:00:00Z", "1y", true},  {"2025-03-31T10:00:01Z", "1y", false},
      {"2027-01-01T00:00:00Z", "0mo", false}};
  for (const auto& [date, age, old] : cases) {
    EXPECT_EQ(Activity::isAtLeastThisOld(at(date), parseAge(age), at("2026-03-31T10:00:00Z")), old)
        << date << ' ' << age;
  }
}

}  // namespace
}  // namespace tidra
