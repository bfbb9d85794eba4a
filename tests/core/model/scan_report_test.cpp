#include "core/model/scan_report.h"

#include <gtest/gtest.h>

#include <limits>

#include "core/base/json_fields.h"
#include "core/base/json_writer.h"
#include "tests/core/model/finding.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

using Codec = JsonCodec<ScanReport>;
using Space = TidraVolumeSpaceReader::Space;

const TidraPathResolver resolver{"/home/ada", {}};

ScanReport reportOf(const std::vector<ScanArtifactFinding>& findings, std::optional<Space> volume = std::nullopt) {
  return ScanReport::make(findings, ScanAggregate(findings), resolver,
                          {.catalogVersion = "2026.10.27",
                           .generatedAt = fromIso8601("2026-03-14T10:15:00Z").value(),
                           .host = "build-7",
                           .platform = TidraPlatform::macOS,
                           .scanRoot = "/home/ada/code",
                           .durationSeconds = 1.25,
                           .partial = true,
                           .volume = volume,
                           .thresholds = {}});
}

std::vector<ScanArtifactFinding> oddFindings() {
  std::vector<ScanArtifactFinding> findings;
  for (const std::string name :
       {"line\nbreak", "quote\"", "back\\slash", "\xFF\xC3(", "\x1b[2J", "名前", "\"items\": []"}) {
    auto& odd = findings.emplace_back(finding("/home/ada/" + name + "/dist", 1, name, "/home/ada/" + name));
    odd.label = name;
    odd.restoreHint = odd.ruleID = name;
    odd.lastActivityDate = timePointAt(1700000000);
  }
  return findings;
}

TEST(ScanReportItem, TakesCategoryAndDisplayPathFromTheFinding) {
  struct Case {
    const char* path;
    std::optional<std::string> group;
    ArtifactSource source;
    const char* category;
    const char* displayPath;
  };
  using enum ArtifactSource;
  const Case cases[] = {{"/home/ada/p/dist", "/home/ada/p", projectWalk, "project", "~/p/dist"},
                        {"/home/adam/x", {}, systemProbe, "project", "/home/adam/x"},
                        {"/x", "__tidra:system:ai_tools__", systemProbe, "aiTools", "/x"},
                        {"docker:prune:x", "__tidra:system:docker__", dockerCLI, "docker", "docker:prune:x"},
                        {"pip:orphan:x", {}, pipCLI, "python", "pip:orphan:x"},
                        {"pip:orphan:x", "__tidra:system:caches__", pipCLI, "globalCaches", "pip:orphan:x"}};
  for (const Case& c : cases) {
    auto made = finding(c.path, 5, "npm", c.group);
    made.source = c.source;
    const auto item = ScanReportItem::make(made, "the group", resolver, 3, ProjectActivity::recent);
    EXPECT_EQ(item.category, c.category);
    EXPECT_EQ(item.displayPath, c.displayPath);
    EXPECT_EQ(item.path, c.path);
    EXPECT_EQ(item.group, "the group");
  }
  EXPECT_EQ(reportOf({finding("a", 1)}).items[0].id, "af63dc4c8601ec8c");
}

TEST(ScanReport, SumsItsItemsAndDatesThem) {
  auto cache = finding("/home/ada/.cache/uv", 100, "py", "__tidra:system:caches__");
  cache.safetyTier = ArtifactSafetyTier::caution;
  auto project = finding("/home/ada/p/sub/node_modules", 10, "npm", "/home/ada/p");
  project.lastActivityDate = fromIso8601("2025-09-14T10:15:00Z");
  const auto report = reportOf({cache, project, finding("/home/ada/q/dist", 1)});
  EXPECT_EQ(report.tidraVersion, "1.3.0");
  EXPECT_EQ(report.home, "/home/ada");
  EXPECT_EQ(report.totalBytes, 111);
  EXPECT_EQ(report.projectCount, 3);
  EXPECT_EQ(report.bytesByTier, (std::map<std::string, std::int64_t>{{"safe", 11}, {"caution", 100}}));
  EXPECT_EQ(report.bytesByCategory, (std::map<std::string, std::int64_t>{{"project", 11}, {"globalCaches", 100}}));
  EXPECT_EQ(report.bytesByEcosystem, (std::map<std::string, std::int64_t>{{"npm", 11}, {"py", 100}}));
  EXPECT_EQ(report.items.at(0).group, "__tidra:system:caches__");
  EXPECT_EQ(report.items[0].activity, std::nullopt);
  EXPECT_EQ(report.items[0].idleDays, std::nullopt);
  EXPECT_EQ(report.items.at(1).group, "/home/ada/p");
  EXPECT_EQ(report.items[1].activity, ProjectActivity::inactive);
  EXPECT_EQ(report.items[1].idleDays, 181);
  EXPECT_EQ(report.items.at(2).group, "/home/ada/q");
}

TEST(ScanReport, SizesBeyondSignedFiguresStayAtTheLargest) {
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(reportOf({finding("/p/a", std::numeric_limits<std::uint64_t>::max())}).items[0].bytes, most);
  const auto two = reportOf({finding("/p/a", static_cast<std::uint64_t>(most)), finding("/p/b", 2)});
  EXPECT_EQ(two.totalBytes, most);
  EXPECT_EQ(two.bytesByTier.at("safe"), most);
}

TEST(ScanReport, TextIsExactlyTheTextOfTheEncodingAndReadsBack) {
  std::vector<ScanArtifactFinding> many;
  for (int i = 0; i < 3000; ++i) many.push_back(finding("/p/" + std::to_string(i), 1));
  auto named = reportOf(oddFindings());
  named.host = named.catalogVersion = named.scanRoot = "\"items\": []";
  named.home = "\xFF \"items\": []";
  named.bytesByCategory["items"] = 0;
  for (const auto& report : {reportOf({}), reportOf(many), named, reportOf(oddFindings(), Space{1, 0})}) {
    EXPECT_EQ(prettyJson(report), jsonText(toJson(report), true));
    const auto read = Codec::decode(parseJson(prettyJson(report), "It"), "It");
    ASSERT_EQ(read.items.size(), report.items.size());
    for (std::size_t i = 0; i < read.items.size(); ++i) {
      EXPECT_EQ(read.items[i].path, report.items[i].path);
      EXPECT_EQ(read.items[i].group, report.items[i].group);
    }
  }
  const auto plain = reportOf({finding("/home/ada/größe/dist", 7)}, Space{1000, 400});
  EXPECT_EQ(Codec::decode(parseJson(prettyJson(plain), "It"), "It"), plain);
}

TEST(ScanReport, OnlyOptionalFieldsMayBeAbsent) {
  const auto full = toJson(reportOf({finding("/p/x", 1)}));
  EXPECT_FALSE(full.contains("volume"));
  const auto message = [](const nlohmann::json& json) {
    return messageOf<DecodingError>([&] { Codec::decode(json, "It"); });
  };
  EXPECT_EQ(full.size(), 16U);
  EXPECT_EQ(full["items"][0].size(), 10U);
  for (const std::string place : {"", "/items/0"}) {
    const nlohmann::json::json_pointer pointer(place);
    for (const auto& [key, value] : full.at(pointer).items()) {
      auto without = full;
      without.at(pointer).erase(key);
      EXPECT_EQ(message(without), (place.empty() ? "It." : "It.items[0].") + key + " is missing");
    }
  }
  auto wrong = full;
  wrong["platform"] = "freebsd";
  EXPECT_EQ(message(wrong), "It.platform: unknown platform 'freebsd' (known: macos, linux)");
}

}  // namespace
}  // namespace tidra
