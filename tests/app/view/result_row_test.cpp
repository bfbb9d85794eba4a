#include "app/view/result_row.h"

#include <gtest/gtest.h>

#include "core/model/scan_report.h"
#include "tests/core/model/finding.h"

namespace tidra {
namespace {

const TidraPathResolver resolver{"/home/ada", {}};
const TimePoint now = fromIso8601("2026-03-14T10:15:00Z").value();

TEST(ResultRow, IsTheSameOfAFindingAndOfItsReportItem) {
  std::vector<FoundArtifact> found(3);
  found[0].finding = finding("/home/ada/code/web/node_modules", 100, "npm", "/home/ada/code/web");
  found[0].finding.restoreHint = "npm install";
  found[0].finding.lastActivityDate = fromIso8601("2024-02-14T10:15:00Z");
  found[0].finding.freeableBytes = 40;
  found[0].finding.difference = SizeDifference::hardLinks;
  found[1].finding = finding("docker:prune:dangling", 0, "docker", "__tidra:system:docker__");
  found[1].finding.source = ArtifactSource::dockerCLI;
  found[1].category = "docker";
  found[2].finding = finding("/x/dist", 0);
  found[2].finding.lastActivityDate = now;
  ScanReport::Circumstances circumstances;
  circumstances.generatedAt = now;
  const auto report = ScanReport::make(found, resolver, circumstances);
  struct Row {
    const char* groupName;
    std::int64_t freeable;
    std::optional<ProjectActivity> activity;
    const char* hint;
    bool isTool;
  };
  const Row rows[] = {{"~/code/web", 40, ProjectActivity::dormant, "to get it back: npm install", false},
                      {"Docker", 0, std::nullopt, "", true},
                      {"/x", 0, ProjectActivity::active, "", false}};
  RowMaker maker(resolver, {}, now);
  for (std::size_t i = 0; i < found.size(); ++i) {
    const ResultRow row = maker.rowOf(found[i], {ItemMark::Kind::review, "why"});
    EXPECT_EQ(row.groupName.view(), rows[i].groupName);
    EXPECT_EQ(row.freeableBytes, rows[i].freeable);
    EXPECT_EQ(row.activity, rows[i].activity);
    EXPECT_EQ(row.hintSentence(), rows[i].hint);
    EXPECT_EQ(row.isTool(), rows[i].isTool);
    EXPECT_EQ(row.id, std::stoull(report.items[i].id, nullptr, 16));
    EXPECT_TRUE(row == RowMaker(resolver, {}, now).rowOf(report.items[i], {ItemMark::Kind::review, "why"})) << i;
  }
}

TEST(ItemHint, IsAWayBackOnlyWhereItIsOne) {
  struct Row {
    const char* path;
    ArtifactSafetyTier tier;
    const char* category;
    const char* rule;
    const char* hint;
    const char* sentence;
    ArtifactSource source = ArtifactSource::projectWalk;
  };
  using enum ArtifactSafetyTier;
  for (const Row& row :
       {Row{"/p/a", safe, "project", "node_modules", "npm install", "to get it back: npm install"},
        Row{"/p/a", caution, "project", "node_modules", "Holds files tracked by git",
            "careful: Holds files tracked by git"},
        Row{"/h/.npm", safe, "globalCaches", "npm-cache", "npm cache clean --force",
            "to get it back: npm install downloads the packages again"},
        Row{"/h/logs", safe, "aiTools", "codex-logs", "old ones are lost", "afterwards: old ones are lost"},
        Row{"pip:orphan:/e", caution, "python", "", "pip install to restore: a, b",
            "empties pip's download cache; the packages stay until pip uninstall removes them: a, b",
            ArtifactSource::pipCLI}}) {
    ScanReportItem item;
    item.path = row.path;
    item.tier = row.tier;
    item.category = row.category;
    item.ruleID = row.rule;
    item.restoreHint = row.hint;
    item.source = row.source;
    if (item.category != projectCategory && item.source == ArtifactSource::projectWalk) {
      item.source = ArtifactSource::systemProbe;
    }
    EXPECT_EQ(RowMaker({}, {}, {}).rowOf(item, {}).hintSentence(), row.sentence);
  }
}

}  // namespace
}  // namespace tidra
