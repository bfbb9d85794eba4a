#include <gtest/gtest.h>

#include <limits>

#include "core/base/errors.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/base/time_point.h"
#include "tests/support/message_of.h"
#include "tests/support/tables.h"

namespace tidra {
namespace {

TEST(Iso8601, ReadsDatesWithFractionsAndOffsetsAndNothingElse) {
  constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  const std::pair<const char*, std::int64_t> dates[] = {
      {"1969-12-31T23:59:59Z", -1},
      {"2026-03-14T10:15:00.999999Z", 1773483300},
      {"2026-03-14T12:15:00+02:00", 1773483300},
      {"2026-03-14T00:45:00.5-09:30", 1773483300},
      {"2000-02-29T23:59:60Z", 951868800},  // a leap second is the next second
      {"0000-01-01T00:00:00Z", lowest},     // out-of-range values saturate
      {"0000-01-01T00:00:00+01:00", -62167219201},
      {"9999-12-31T23:59:59-01:00", 253402300800},
      {"9999-12-31T23:59:59Z", highest}};
  for (const auto& [text, seconds] : dates) {
    EXPECT_EQ(fromIso8601(text), timePointAt(seconds)) << text;
    EXPECT_EQ(fromIso8601(iso8601(timePointAt(seconds))), timePointAt(seconds)) << text;
  }
  EXPECT_EQ(iso8601(timePointAt(1773483300)), "2026-03-14T10:15:00Z");
  EXPECT_EQ(iso8601(timePointAt(-1)), "1969-12-31T23:59:59Z");
  EXPECT_EQ(iso8601(timePointAt(highest)), "9999-12-31T23:59:59Z");
  constexpr std::string_view refused =
      ",2026-03-14,2026-03-14T10:15:00,2026-03-14 10:15:00Z,2026-03-14T10:15:00z,2026-03-14T10:15Z,2026-3-14T10:15:00Z,"
      "2026-02-29T00:00:00Z,1900-02-29T00:00:00Z,2026-04-31T00:00:00Z,2026-00-10T00:00:00Z,2026-13-10T00:00:00Z,"
      "2026-01-00T00:00:00Z,2026-03-14T24:00:00Z,2026-03-14T10:60:00Z,2026-03-14T10:15:61Z,2026-03-14T10:15:00Z ,"
      "2026-03-14T10:15:00+0200,2026-03-14T10:15:00+24:00,2026-03-14T10:15:00+02:60,2026-03-14T10:15:00.Z,"
      "2026-03-14T10:15:00.5,-026-03-14T10:15:00Z,+026-03-14T10:15:00Z,2026--3-14T10:15:00Z,2026-03-14T-1:15:00Z";
  for (const auto text : split(refused, ',')) EXPECT_EQ(fromIso8601(text), std::nullopt) << text;
}

TEST(ParseSize, ReadsNumbersWithUnitsAndNothingElse) {
  for (const auto& [text, bytes] :
       rowsOf("0 => 0 | 500 => 500 | 12b => 12 | 500KB => 512000 | 1k => 1024 | .5kib => 512 | 2. => 2 | 1.9 => 1 | "
              "3 MiB => 3145728 | 10m => 10485760 | 1.5G => 1610612736 | 2TiB => 2199023255552 | "
              "8388607tb => 9223370937343148032"))
    EXPECT_EQ(parseSize(text), std::stoll(bytes)) << text;
  for (const auto text :
       split("| |.|KB|-1|+1|1.2.3|1e3|0x10|5 PB|5kbs|1,5G|8388608tb|9223372036854775808|nan|1\n2", '|'))
    EXPECT_THROW(parseSize(text), InputError) << text;
  EXPECT_EQ(messageOf<InputError>([] { parseSize("ten\x1b"); }),
            "'ten\\x1b' is not a size; write a number with an optional unit, such as 500KB, 10M or 1.5G");
}

TEST(ParseAge, ReadsDaysWeeksMonthsAndYearsAndNothingElse) {
  using std::chrono::days;
  for (const char* none : {"0d", "0"}) EXPECT_EQ(parseAge(none), (Age{0, days{0}}));
  EXPECT_EQ(parseAge("30d"), (Age{0, days{30}}));
  EXPECT_EQ(parseAge("8W"), (Age{0, days{56}}));
  EXPECT_EQ(parseAge("6mo"), (Age{6, days{0}}));
  EXPECT_EQ(parseAge("2y"), (Age{24, days{0}}));
  for (const auto text : split("|d|30|-1d|-0|-0d|+1d|1.5y|6m|6 mo|30d |30dd|1001y|400000d|99999999999d|1e9d", '|'))
    EXPECT_THROW(parseAge(text), InputError) << text;
  EXPECT_EQ(messageOf<InputError>([] { parseAge("6m"); }),
            "'6m' is not an age; write a whole number with d, w, mo or y, such as 30d, 8w, 6mo or 1y");
}

}  // namespace
}  // namespace tidra
