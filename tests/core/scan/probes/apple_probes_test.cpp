#include "core/scan/probes/apple_probes.h"

#include <fmt/format.h>

#include "tests/core/scan/probes/probe_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

TEST(XcodeArchives, EveryBundleIsAFindingWithItsDate) {
  ProbeFixture fixture;
  const std::string archives = "home/Library/Developer/Xcode/Archives/";
  for (const char* name : {"2024-03-01/My App 1.xcarchive/Products", "2023-01-02/B.xcarchive", "Loose.xcarchive",
                           "a/b/Deep.xcarchive", "notes", "2024-03-01/kept.xcarchive"})
    fixture.tree().makeFolder(archives + name);
  fixture.tree().writeFile(archives + "file.xcarchive");
  fixture.tree().symlink(archives + "link.xcarchive", fixture.tree().path(archives + "Loose.xcarchive"));
  const TimePoint modified{std::chrono::seconds{1709294400}};
  for (const char* name :
       {"2024-03-01/My App 1.xcarchive", "2023-01-02/B.xcarchive", "Loose.xcarchive", "a/b/Deep.xcarchive"})
    fixture.tree().setModified(archives + name, modified);
  fixture.context.exclusionFilter.addPattern("kept.*");
  const ProbeReport report = XcodeArchivesProbe().scan(fixture.context);
  const std::string at = "@/" + archives;
  const auto line = [&](const std::string& path, const std::string& label) {
    return at + path + " | " + label + " | " + at + path;
  };
  EXPECT_THAT(fixture.lines(report),
              ElementsAre(line("2023-01-02/B.xcarchive", "B 2024-03-01"),
                          line("2024-03-01/My App 1.xcarchive", "My App 1 2024-03-01"),
                          line("Loose.xcarchive", "Loose 2024-03-01"), line("a/b/Deep.xcarchive", "Deep 2024-03-01")));
  for (const ProbeItem& item : report.items) {
    EXPECT_EQ(item.finding.lastActivityDate, modified);
    EXPECT_EQ(item.finding.groupRoot, "__tidra:system:xcode__");
    EXPECT_EQ(item.finding.ruleID, "xcode-archive");
    EXPECT_EQ(item.finding.restoreHint, "Cannot be restored — re-archive from Xcode if needed");
    EXPECT_TRUE(item.enterBundles) << "an archive holds nothing but bundles";
  }
}

TEST(Simulators, UnavailableOnesAndThoseLongNotBootedAreOffered) {
  // The reference time is 2023-11-14T22:13:20Z.
  const TextPairs cases =
      rowsOf(R"x("isAvailable": false => offered | "isAvailable": true => kept | "isAvailable": "NO" => offered |
      "isAvailable": "YES" => kept | "availability": "(unavailable, runtime profile not found)" => offered |
      "availability": "(available)" => kept | "isAvailable": true, "availability": "(unavailable)" => kept |
      "isAvailable": false, "availabilityError": "runtime profile not found" => offered |
      "lastBootedAt": null => kept | "isAvailable": true, "lastBootedAt": "2023-05-14T22:13:20Z" => offered |
      "isAvailable": true, "lastBootedAt": "2023-05-14T22:13:21Z" => kept |
      "isAvailable": true, "lastBootedAt": "2023-11-01T00:00:00Z" => kept |
      "isAvailable": true, "lastBootedAt": "2033-11-01T00:00:00Z" => kept |
      "isAvailable": true, "lastBootedAt": "long ago" => kept |
      "isAvailable": false, "lastBootedAt": 7 => offered | "isAvailable": 0, "availability": 1 => kept |
      "isAvailable": false, "name": 7 => kept | "isAvailable": false, "udid": 7 => kept |
      "isAvailable": false, "udid": "../../.." => kept | "isAvailable": false, "udid": "" => kept |
      "isAvailable": false, "udid": "A-GONE" => kept)x");
  ProbeFixture fixture;
  std::string devices;
  std::vector<std::string> expected;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const std::string udid = fmt::format("ABCD-{:02}", i);
    const std::string folder = fixture.tree().makeFolder("home/Library/Developer/CoreSimulator/Devices/" + udid);
    // The last of repeated keys wins.
    devices +=
        fmt::format(R"({}{{"udid": "{}", "name": "iPhone {}", {}}})", i == 0 ? "" : ", ", udid, i, cases[i].first);
    if (cases[i].second == "offered") {
      expected.push_back(fixture.shown(fmt::format("{} | Simulator: iPhone {} | {}", folder, i, folder)));
    }
  }
  const std::string xcrun =
      fixture.tool("xcrun", {{"simctl list devices -j", "cat <<'END'\n{\"devices\": {\"iOS-17\": [" + devices +
                                                            "], \"iOS-9\": null, \"iOS-8\": []}}\nEND\n"}});
  const ProbeReport report = CoreSimulatorProbe(xcrun).scan(fixture.context);
  EXPECT_EQ(fixture.lines(report), expected);
  ASSERT_FALSE(report.items.empty());
  EXPECT_EQ(report.items[0].finding.ruleID, "simulator-ABCD-00");
  EXPECT_EQ(report.items[0].finding.restoreHint, "Create new simulator in Xcode → Devices & Simulators");
  EXPECT_EQ(report.items[0].finding.groupRoot, "__tidra:system:xcode__");

  fixture.context.exclusionFilter.addPattern("Devices/*");
  EXPECT_THAT(CoreSimulatorProbe(xcrun).scan(fixture.context).items, IsEmpty());
  EXPECT_THAT(CoreSimulatorProbe(fixture.tree().path("no xcrun")).scan(fixture.context).notes, IsEmpty());
}

}  // namespace
}  // namespace tidra
