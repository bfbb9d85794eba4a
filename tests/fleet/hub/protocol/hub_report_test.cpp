#include "fleet/hub/protocol/hub_report.h"

#include <limits>

#include "fleet/hub/protocol/hub_json.h"
#include "fleet/hub/protocol/hub_records.h"
#include "fleet/hub/protocol/hub_summary.h"
#include "tests/fleet/hub/hub_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

HubHostReport decode(std::string_view text) { return HubJSON::decode<HubHostReport>(text, "report"); }

std::string refusalOf(std::string_view text) {
  return messageOf<DecodingError>([&] { decode(text); });
}

TEST(HubReport, ReadsAReportThatHasOnlyAHost) {
  const TimePoint before = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  HubHostReport report = decode(R"({"host":"web","unheardOf":[1]})");
  EXPECT_GE(report.startedAt, before);
  report.startedAt = {};
  HubHostReport expected;
  expected.host = "web";
  EXPECT_EQ(report, expected);
  EXPECT_EQ(report.schemaVersion, 1);
  EXPECT_EQ(decode(R"({"host":"a","failures":null,"volumeTotalBytes":null})").volumeTotalBytes, std::nullopt);
}

TEST(HubReport, WritesSortedKeysAndLeavesOutWhatIsAbsent) {
  HubAck ack{.accepted = true, .host = "a/b", .hostsKnown = 3, .message = ""};
  EXPECT_EQ(HubJSON::compact(ack), R"({"accepted":true,"host":"a/b","hostsKnown":3,"message":""})");
  const HubTopItem item{.path = "/home/a",
                        .label = "l",
                        .bytes = 5,
                        .tier = ArtifactSafetyTier::safe,
                        .category = "c",
                        .ruleID = {},
                        .idleDays = {}};
  EXPECT_EQ(HubJSON::compact(item), R"({"bytes":5,"category":"c","label":"l","path":"/home/a","tier":"safe"})");
  HubHostReport report;
  report.host = "web";
  const auto object = toJson(report);
  EXPECT_EQ(object.size(), 32U);  // every key but the optional ones
  EXPECT_EQ(object.count("volumeTotalBytes"), 0U);
  EXPECT_EQ(object.at("startedAt"), "1970-01-01T00:00:00Z");
}

TEST(HubReport, ComesBackAsItWas) {
  HubHostReport report = busyReport("web/\"01\"\n");
  report.reclaimableBytes = std::numeric_limits<std::int64_t>::max();
  report.plannedBytes = std::numeric_limits<std::int64_t>::min();
  report.topItems[0].path = "/tmp/\xff\xfe";  // file names may be any bytes
  EXPECT_EQ(decode(HubJSON::compact(report)), report);
  EXPECT_EQ(decode(HubJSON::pretty(report)), report);
}

TEST(HubReport, RefusesWhatIsNoReport) {
  EXPECT_EQ(refusalOf("{}"), "report.host is missing");
  EXPECT_EQ(refusalOf("[]"), "report must be an object");
  EXPECT_EQ(refusalOf(R"({"host":7})"), "report.host must be a text");
  EXPECT_EQ(refusalOf("{"), "report is not valid JSON (line 1, column 2)");
  EXPECT_THAT(refusalOf(R"({"host":"a","startedAt":"yesterday"})"), StartsWith("report.startedAt must be a date"));
  EXPECT_EQ(refusalOf(R"({"host":"a","findings":9223372036854775808})"),
            "report.findings must be a whole number below 2^63");
  EXPECT_EQ(refusalOf(R"({"host":"a","findings":1.5})"), "report.findings must be a whole number");
  EXPECT_EQ(refusalOf(R"({"host":"a","durationSeconds":1e999})"),
            "report is not valid JSON (a number is out of range)");
  EXPECT_EQ(refusalOf(R"({"host":"a","platform":"amiga"})"),
            "report.platform: unknown platform 'amiga' (known: macos, linux)");
  EXPECT_EQ(refusalOf(R"({"host":"a","topItems":[{"path":"/a"}]})"), "report.topItems[0].tier is missing");
  EXPECT_EQ(refusalOf("{\"host\":\"\xff\"}"), "report is not valid JSON (line 1, column 10)");
  EXPECT_EQ(refusalOf(std::string(100000, '[')), "report is nested too deep");
}

TEST(HubRecords, ComeBackAsTheyWere) {
  HubHostRecord record = busyRecord("web", "a note");
  record.history = {{.time = noon,
                     .reclaimableBytes = 1,
                     .disposedBytes = 2,
                     .failures = 3,
                     .volumeAvailableBytes = 4,
                     .dryRun = true,
                     .freedBytes = 5}};
  const std::string text = HubJSON::compact(record);
  EXPECT_EQ(HubJSON::decode<HubHostRecord>(text, "record"), record);
  // A client without the history decodes the same document.
  EXPECT_EQ(HubJSON::decode<HubHostRow>(text, "row").latest, record.latest);

  HubSummary summary;
  summary.title = "Fleet";
  summary.hostsByStatus = {{"healthy", 1}};
  summary.topReclaimable = {{"web", 1}};
  summary.topFreed = {{"db", 2}};
  summary.lowestDisk = {{"web", 1, 4, 0.25}};
  summary.topRules = {{"node_modules", ArtifactSafetyTier::safe, "node", 3, 4}};
  summary.recentRuns = {{"web", noon, 5, 6, 7, true, true, 8, 13}};
  summary.trend = {{"2026-03-14", 9, 10, 11, 14}};
  summary.staleAfterSeconds = 12;
  EXPECT_EQ(HubJSON::decode<HubSummary>(HubJSON::compact(summary), "summary"), summary);
}

}  // namespace
}  // namespace tidra
