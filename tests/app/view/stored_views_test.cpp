// Views of what is kept between launches: the last scan, the exclusions, the settings.
#include <gtest/gtest.h>

#include "app/view/exclusions_view.h"
#include "app/view/last_scan_view.h"
#include "app/view/settings_draft.h"
#include "core/base/errors.h"
#include "tests/app/view/memory_preferences.h"
#include "tests/app/view/rows.h"
#include "tests/core/model/finding.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

class StoredViews : public ::testing::Test {
 protected:
  std::optional<LastScanView> lastView() const { return LastScanView::of(lastScan.load().value(), place); }

  /// Stores a scan with a finding in each of these places.
  void store(const std::vector<std::string>& paths, bool partial, TimePoint end) {
    std::vector<ScanArtifactFinding> findings;
    for (const std::string& path : paths) {
      findings.push_back(finding(path, 1000, "npm", "/code/web"));
      findings.back().evidence = "holds a lock file";
    }
    ScanAggregate aggregate(findings);
    ScanReport::Circumstances circumstances;
    circumstances.generatedAt = end;
    circumstances.scanRoot = "/code";
    const auto report = ScanReport::make(findings, aggregate, place.resolver, circumstances);
    lastScan.save(ScanResultsSummary::make(report), partial, aggregate, end);
  }

  TemporaryTree tree;
  MemoryStore preferences;
  LastScanStore lastScan{preferences, tree.path("data")};
  LastScanPlace place{.resolver = {"/home/ada", {}}, .host = "here", .thresholds = {}, .now = timePointAt(2000)};
};

TEST_F(StoredViews, APartOfTheLastScanCanBePlannedAndIsThenNoLongerInIt) {
  store({"/code/web/dist", "/code/web/node_modules", "/code/web/node_modules/x/dist"}, false, timePointAt(1000));
  const auto view = lastView();
  ASSERT_EQ(view->rows.size(), 3U);
  EXPECT_EQ(view->banner(), "");
  EXPECT_TRUE(view->rows[1].isMarkable());
  const CleanupPlan plan = view->planOf({view->rows[1].path}, DisposalMethod::trash);
  ASSERT_EQ(plan.items.size(), 1U);
  EXPECT_EQ(plan.items[0].path, "/code/web/node_modules");
  EXPECT_EQ(plan.items[0].evidence, "holds a lock file");
  EXPECT_EQ(plan.createdAt, timePointAt(1000));

  const std::vector<DisposalReceipt> removed{{.path = plan.items[0].path, .destination = {}, .bytes = {}}};
  EXPECT_TRUE(storeWithoutRemoved(lastScan, *view, removed, place));
  const auto left = lastView();
  ASSERT_EQ(left->rows.size(), 1U);
  EXPECT_EQ(left->rows[0].path, "/code/web/dist");
  EXPECT_EQ(left->end, timePointAt(1000));
  EXPECT_EQ(lastScan.load()->summary.scannedPathLabel, "/code");

  store({"/code/web/node_modules"}, false, timePointAt(1500));
  EXPECT_FALSE(storeWithoutRemoved(lastScan, *left, removed, place)) << "another scan has been stored since";
  EXPECT_EQ(lastView()->rows.size(), 1U);
}

TEST_F(StoredViews, OfAPartialScanNothingCanBeMarked) {
  store({"/code/web/dist"}, true, timePointAt(1000));
  const auto view = lastView();
  EXPECT_EQ(view->banner(), "Partial scan — results may be incomplete. Re-scan for full results.");
  EXPECT_FALSE(view->rows.at(0).isMarkable());
}

TEST_F(StoredViews, ExclusionsAreEditedAndTriedOnResults) {
  ExclusionsStore store(preferences);
  ExclusionsView view(store, place.resolver);
  ResultsView results;
  results.add({rowAt("/home/ada/web/dist", 1), rowAt("/home/ada/web/build", 2), rowAt("/home/ada/[old]/dist", 4),
               rowAt("docker:prune:dangling", 8)});
  using Effect = ExclusionsView::Effect;
  for (const auto& [text, effect] :
       {std::pair("dist", Effect{2, 5}), std::pair("~/web", Effect{2, 3}), std::pair("~/web/dist/inner", Effect{1, 1}),
        std::pair("*", Effect{3, 7}), std::pair("none", Effect{}), std::pair(" ", Effect{})}) {
    EXPECT_EQ(view.effectOf(text, results), effect) << text;
  }
  const auto added = view.addFolder("/home/ada/[old]", timePointAt(5));
  EXPECT_TRUE(added.isNew);
  EXPECT_EQ(added.entry.pathDisplay, "~/[old]");
  EXPECT_EQ(added.entry.kind, ExclusionRowKind::path);
  EXPECT_FALSE(view.addFolder("/home/ada/[old]", timePointAt(6)).isNew);
  EXPECT_EQ(view.addTyped(" *.log ", timePointAt(6)).entry.kind, ExclusionRowKind::pattern);
  EXPECT_THROW(view.addTyped(" ", timePointAt(6)), InputError);
  EXPECT_EQ(view.entries().size(), 2U);
  EXPECT_TRUE(view.remove(added.entry));
  EXPECT_FALSE(view.remove(added.entry));
  EXPECT_EQ(store.load().size(), 1U);
}

TEST_F(StoredViews, SettingsAreCheckedAndSavedBesideWhatOthersChanged) {
  SettingsStore store(preferences);
  SettingsDraft draft(store.loadAll());
  EXPECT_FALSE(draft.isChanged());
  draft.values.app.inactiveThresholdMonths = 3;
  draft.values.app.ecosystemsEnabled["rust"] = false;
  draft.values.terminal.minimumSize = "10M";
  store.change([](UserSettings& other) {
    other.app.dormantThresholdYears = 4;
    other.app.ecosystemsEnabled["npm"] = false;
    other.terminal.color = "never";
  });
  EXPECT_TRUE(draft.isChanged());
  draft.save(store, place.resolver);
  EXPECT_FALSE(draft.isChanged());
  const UserSettings saved = store.loadAll();
  EXPECT_EQ(saved, draft.values);
  EXPECT_EQ(saved.app.thresholds(), (ActivityThresholds{48, 3}));
  EXPECT_FALSE(saved.app.ecosystemsEnabled.at("rust") || saved.app.ecosystemsEnabled.at("npm"));
  EXPECT_EQ(saved.terminal.color, "never");
  draft.values.terminal.minimumSize.reset();
  draft.save(store, place.resolver);
  EXPECT_EQ(store.loadAll().terminal.minimumSize, std::nullopt);
}

TEST_F(StoredViews, SettingsThatCannotBeUsedAreNotSaved) {
  struct Case {
    const char* key;
    void (*edit)(UserSettings&);
  };
  const auto custom = [](UserSettings& settings) {
    settings.app.defaultScanLocation = TidraScanDefaultLocation::custom;
  };
  SettingsStore store(preferences);
  for (const Case& c :
       {Case{"location", custom},
        Case{"dormant-after", [](UserSettings& settings) { settings.app.dormantThresholdYears = 0; }},
        Case{"inactive-after", [](UserSettings& settings) { settings.app.inactiveThresholdMonths = 24; }},
        Case{"min-size", [](UserSettings& settings) { settings.terminal.minimumSize = "big"; }}}) {
    SettingsDraft draft(store.loadAll());
    c.edit(draft.values);
    const auto problems = draft.problems(place.resolver);
    ASSERT_EQ(problems.size(), 1U) << c.key;
    EXPECT_EQ(problems[0].key, c.key);
    EXPECT_THROW(draft.save(store, place.resolver), InputError);
  }
  EXPECT_EQ(store.loadAll(), UserSettings());
  SettingsDraft draft(store.loadAll());
  custom(draft.values);
  draft.values.app.customScanPath = tree.root();
  EXPECT_TRUE(draft.problems(place.resolver).empty());
}

}  // namespace
}  // namespace tidra
