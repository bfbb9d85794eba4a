#include "fleet/hub/host_file.h"

#include <gtest/gtest.h>

#include <limits>

#include "fleet/hub/protocol/hub_json.h"
#include "tests/fleet/hub/hub_fixture.h"
#include "tests/support/effort.h"

namespace tidra {
namespace {

HubHostFile fileWithHistory(int points) {
  HubHostFile file;
  file.host = "a \"history\":[] host";  // looks like the place of the history
  file.firstSeen = noon;
  file.lastSeen = noon;
  file.reports = points;
  file.latest = busyReport(file.host);
  file.note = R"(,"history":[{"time":1}])";
  for (int i = 0; i < points; ++i) {
    HubHistoryPoint point{.time = noon + std::chrono::hours{i},
                          .reclaimableBytes = i,
                          .disposedBytes = -i,
                          .failures = i,
                          .volumeAvailableBytes = {},
                          .dryRun = i % 2 == 0};
    if (i % 4 == 1) point.freedBytes = 5 * i;
    if (i % 3 == 0) point.volumeAvailableBytes = std::numeric_limits<std::int64_t>::max() - i;
    file.history.push_back(point);
  }
  return file;
}

TEST(HostFile, IsNamedAfterTheHost) {
  EXPECT_EQ(hostFileName("web/01"), "web_01.json");
  EXPECT_EQ(hostFileName("Web-1.example_com"), "Web-1.example_com.json");
  EXPECT_EQ(hostFileName(""), "_.json");
  EXPECT_EQ(hostFileName(".."), "...json");
  EXPECT_EQ(hostFileName("b\u00fcro \U0001F600"), "b_ro__.json");  // a character each
  EXPECT_EQ(hostFileName(std::string("a\0b", 3)), "a_b.json");
  const std::string longName(253, 'x');
  EXPECT_EQ(hostFileName(longName).size(), 240U);
  EXPECT_NE(hostFileName(longName), hostFileName(longName.substr(1)));
}

TEST(HostFile, HasTheTextOfTheGeneralEncoderAndComesBack) {
  for (const int points : {0, 1, 7}) {
    auto file = fileWithHistory(points);
    EXPECT_EQ(HubJSON::compact(file), jsonText(toJson(file), false));
    EXPECT_EQ(parseHostFile(HubJSON::compact(file), "file"), file);
    EXPECT_EQ(parseHostFile(HubJSON::pretty(file), "file"), file);
    file.lastAuditRewind = noon;
    file.note.reset();
    EXPECT_EQ(parseHostFile(HubJSON::compact(file), "file"), file);
  }
}

TEST(HostFile, KeepsEveryDayAndKnowsThoseThatAreNone) {
  auto file = fileWithHistory(0);
  for (const char* time : {"0000-01-01T00:00:00Z", "1969-12-31T23:59:59Z", "1970-01-01T00:00:00Z",
                           "2024-02-29T12:34:56Z", "2024-03-01T00:00:00Z", "9999-12-31T23:59:59Z"})
    file.history.push_back({.time = *fromIso8601(time), .volumeAvailableBytes = {}});
  const std::string text = HubJSON::compact(file);
  EXPECT_EQ(parseHostFile(text, "file"), file);
  std::string wrong = text;
  wrong.replace(wrong.find("2024-02-29"), 10, "2025-02-29");
  EXPECT_THROW(parseHostFile(wrong, "file"), DecodingError);
}

TEST(HostFile, MeansTheSameToTheScannerAndTheGeneralDecoderWhereverItIsBroken) {
  const std::string text = HubJSON::compact(fileWithHistory(3));
  const auto reading = [](auto&& read) -> std::string {
    try {
      HubHostFile file = read();
      file.latest.startedAt = noon;  // the present second where its key is broken
      return HubJSON::compact(file);
    } catch (const DecodingError&) {
      return "refused";
    }
  };
  int refused = 0;
  for (std::size_t i = 0; i < text.size(); i += effort(1, 5)) {
    for (const char byte : {'\0', '0', '"', ']', ' ', '-', 'x'}) {
      std::string broken = text;
      broken[i] = byte;
      const auto expected = reading([&] { return HubJSON::decode<HubHostFile>(broken, "file"); });
      ASSERT_EQ(reading([&] { return parseHostFile(broken, "file"); }), expected) << i << byte;
      refused += expected == "refused" ? 1 : 0;
    }
    ASSERT_EQ(reading([&] { return parseHostFile(text.substr(0, i), "file"); }), "refused") << i;
  }
  EXPECT_GT(refused, effort(1000, 200));
  std::string twice = text;
  twice.insert(twice.size() - 1, R"(,"history":[])");
  EXPECT_TRUE(parseHostFile(twice, "file").history.empty());
}

}  // namespace
}  // namespace tidra
