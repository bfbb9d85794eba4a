// Settings, exclusions and the last scan over a store in memory.
#include "app/state/app_settings.h"
#include "app/state/exclusions_store.h"
#include "app/state/last_scan_store.h"
#include "app/state/state_folders.h"
#include "core/base/json_fields.h"
#include "core/base/json_writer.h"
#include "core/platform/files.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

class MemoryPreferences : public PreferencesStore {
 public:
  std::optional<Value> value(const std::string& key) const override {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  void transact(const std::function<Changes()>& prepare, const std::function<void()>& finish) override {
    const Changes changes = prepare();
    if (refuses) throw PreferencesError("no");
    for (const auto& [key, value] : changes) {
      values.erase(key);
      if (value) values.emplace(key, *value);
    }
    if (diesBeforeFinishing) return;
    finish();
  }

  std::map<std::string, Value> values;
  bool refuses = false;
  bool diesBeforeFinishing = false;
};

const std::string settingsKey = "tidra.appSettings.v1";
const std::string exclusionsKey = "tidra.exclusions.v1";

TEST(Settings, HaveTheirDefaultsAndSurviveASave) {
  MemoryPreferences preferences;
  SettingsStore store(preferences);
  TidraAppSettings settings = store.load();
  EXPECT_EQ(settings, TidraAppSettings{});
  EXPECT_EQ(settings.defaultScanLocation, TidraScanDefaultLocation::home);
  EXPECT_TRUE(settings.moveToTrash && !settings.emptyTrashAfterDeletion && !settings.askBeforeEachScan);
  EXPECT_EQ(settings.ecosystemsEnabled.size(), 10U);
  EXPECT_EQ(settings.systemScanEnabled.size(), 8U);
  EXPECT_EQ(settings.thresholds().dormantMonths, 24);
  EXPECT_EQ(settings.thresholds().inactiveMonths, 6);

  settings = {
      TidraScanDefaultLocation::custom, "/p/\xff\n", true, {{"npm", false}}, 5, 9, false, true, {{"docker", false}}};
  store.save(settings);
  EXPECT_EQ(store.load(), settings);
  EXPECT_EQ(preferences.values.size(), 1U);
}

TEST(Settings, AChangeKeepsTheOthersAndWhatANewerVersionWrote) {
  MemoryPreferences preferences;
  SettingsStore store(preferences);
  preferences.values[settingsKey] = std::string(R"({"dormantThresholdYears": 3, "newer": [1]})");
  store.change([](UserSettings& settings) { settings.app.inactiveThresholdMonths = 9; });
  store.change([](UserSettings& settings) { settings.terminal.tiers = {{ArtifactSafetyTier::caution}}; });
  EXPECT_THAT(std::get<std::string>(preferences.values[settingsKey]), HasSubstr(R"("newer":[1])"));
  const UserSettings all = store.loadAll();
  EXPECT_EQ(all.app.thresholds(), (ActivityThresholds{36, 9}));
  EXPECT_EQ(all.terminal.tiers, std::set{ArtifactSafetyTier::caution});
  store.change([](UserSettings& settings) { settings.terminal = {}; });
  EXPECT_EQ(store.loadAll().terminal, TerminalDefaults{});
}

TEST(Settings, WhatIsMissingIsDefaultAndWhatDoesNotDecodeIsNoSettings) {
  for (const auto& [stored, years] :
       rowsOf(R"({"dormantThresholdYears": 7} => 7 | {"moveToTrash": false, "ofANewerBuild": [1]} => 2 |
          {"moveToTrash": null, "dormantThresholdYears": 0} => 0 | {"moveToTrash": "no", "dormantThresholdYears": 7} => 2 |
          {"dormantThresholdYears": 7.5} => 2 | {"dormantThresholdYears": 99999999999} => 2 |
          {"dormantThresholdYears": 7, "defaultScanLocation": "moon"} => 2 | [{"dormantThresholdYears": 7}] => 2 |
          {"dormantThresholdYears": 7, "ecosystemsEnabled": {"npm": 1}} => 2 | {"dormantThresholdYears": 7 => 2 | => 2)")) {
    MemoryPreferences preferences;
    preferences.values[settingsKey] = stored;
    const TidraAppSettings settings = SettingsStore(preferences).load();
    EXPECT_EQ(settings.dormantThresholdYears, std::stoi(years)) << stored;
    EXPECT_EQ(settings.moveToTrash, stored.find("\"moveToTrash\": false") == std::string::npos) << stored;
  }
  MemoryPreferences preferences;
  preferences.values[settingsKey] = true;
  EXPECT_EQ(SettingsStore(preferences).load(), TidraAppSettings{});
}

TEST(Settings, ThresholdsAreAtLeastAYearAndAMonth) {
  for (const auto& [years, months, dormant, inactive] : std::vector<std::array<int, 4>>{
           {0, 0, 12, 1}, {-5, -5, 12, 1}, {3, 4, 36, 4}, {std::numeric_limits<int>::min(), 1, 12, 1}}) {
    TidraAppSettings settings;
    settings.dormantThresholdYears = years;
    settings.inactiveThresholdMonths = months;
    EXPECT_EQ(settings.thresholds().dormantMonths, dormant);
    EXPECT_EQ(settings.thresholds().inactiveMonths, inactive);
  }
  TidraAppSettings settings;
  settings.dormantThresholdYears = std::numeric_limits<int>::max();
  EXPECT_GT(settings.thresholds().dormantMonths, 12 * 100000);
}

TEST(Exclusions, AreAddedOnceAndRemovedByTheirText) {
  MemoryPreferences preferences;
  ExclusionsStore store(preferences);
  const TimePoint now{std::chrono::seconds{1700000000}};
  EXPECT_TRUE(store.load().empty());
  EXPECT_TRUE(store.add("~/work", ExclusionRowKind::path, now));
  EXPECT_TRUE(store.add("*/vendor/*", ExclusionRowKind::pattern, now));
  EXPECT_FALSE(store.add("~/work", ExclusionRowKind::project, now));
  EXPECT_TRUE(store.add("/a\xff", ExclusionRowKind::path, now));
  const auto rows = store.load();
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[1], (ExclusionEntry{rows[1].id, "*/vendor/*", ExclusionRowKind::pattern, now}));
  EXPECT_EQ(rows[2].pathDisplay, "/a\xff");
  EXPECT_THAT(rows[0].id, MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_NE(rows[0].id, rows[1].id);
  EXPECT_FALSE(store.remove("~/wor"));
  EXPECT_TRUE(store.remove("~/work"));
  EXPECT_FALSE(store.remove("~/work"));
  EXPECT_EQ(store.load().size(), 2U);
  for (const PreferencesStore::Value& odd :
       {PreferencesStore::Value{"[{]"}, PreferencesStore::Value{"{}"}, PreferencesStore::Value{R"([{"id": 1}])"},
        PreferencesStore::Value{true}}) {
    preferences.values[exclusionsKey] = odd;
    EXPECT_TRUE(store.load().empty());
  }
}

TEST(Exclusions, WhatDoesNotDecodeIsNeverLost) {
  MemoryPreferences preferences;
  std::vector<std::string> notes;
  ExclusionsStore store(preferences, [&](const std::string& note) { notes.push_back(note); });
  const std::string row = R"({"addedAt":"2023-11-14T22:13:20Z","id":"I","kind":"path","pathDisplay":"/a"})";
  const std::string newer = R"({"id":1},7,{"kind":"regex","pathDisplay":"/a"})";
  preferences.values[exclusionsKey] = "[" + newer + "," + row + "]";
  EXPECT_EQ(store.load().size(), 1U);
  EXPECT_FALSE(store.add("/a", ExclusionRowKind::path, {}));
  EXPECT_TRUE(store.remove("/a"));
  EXPECT_EQ(preferences.bytes(exclusionsKey), "[" + newer + "]");
  EXPECT_THAT(notes, IsEmpty());
  for (const PreferencesStore::Value& odd : {PreferencesStore::Value{"[{]"}, PreferencesStore::Value{true}}) {
    preferences.values[exclusionsKey] = odd;
    EXPECT_FALSE(store.remove("/a"));
    EXPECT_EQ(preferences.value(exclusionsKey), odd);
    EXPECT_TRUE(store.add("/a", ExclusionRowKind::path, {}));
    EXPECT_EQ(store.load().size(), 1U);
    EXPECT_EQ(preferences.value(exclusionsKey + ".damaged"), odd);
  }
  EXPECT_EQ(notes.size(), 2U);
}

const std::string aggregateKey = "tidra.lastScanAggregate.";
const std::string flagKey = "tidra.lastScanAggregate.file.";
constexpr TimePoint end{std::chrono::seconds{1700000000}};

std::string encoded(const ScanAggregate& aggregate) { return compactJson(aggregate); }

/// An aggregate with one finding whose label pads the JSON to this size.
ScanAggregate aggregateOfSize(std::size_t bytes) {
  ScanArtifactFinding finding;
  finding.ecosystemTag = "npm";
  // The label occurs twice and the project's name an odd number of times.
  for (const char* path : {"/p/x", "/pp/x"}) {
    finding.path = path;
    finding.label.clear();
    const std::size_t left = bytes - encoded(ScanAggregate({finding})).size();
    finding.label.assign(left / 2, 'l');
    if (left % 2 == 0) break;
  }
  const ScanAggregate made({finding});
  EXPECT_EQ(encoded(made).size(), bytes);
  return made;
}

class StoredScan : public testing::Test {
 protected:
  /// The result of a load: the label of its only finding, "nothing" or "no scan".
  std::string loaded() const {
    const auto last = store.load();
    if (!last) return "no scan";
    return last->aggregate ? last->aggregate->sampleFindings.at(0).label : "nothing";
  }
  static std::string labelled(const std::string& label) {
    ScanArtifactFinding finding;
    finding.label = label;
    finding.path = "/p/x";
    return encoded(ScanAggregate({finding}));
  }
  std::string file(const std::string& version) const { return "data/lastScanAggregate." + version + ".data"; }
  bool hasFile() const { return static_cast<bool>(readFile(tree.path(file("v2")))); }

  TemporaryTree tree;
  MemoryPreferences preferences;
  LastScanStore store{preferences, tree.path("data")};
};

TEST_F(StoredScan, AnAggregateGoesToAFileWhenItIsLarge) {
  ScanResultsSummary summary{1.5, 3, "~/\xff", {{"npm", 1.25}, {"py", 0.25}}, {{ProjectActivity::dormant, 1}}, 0.5};
  EXPECT_EQ(store.load(), std::nullopt);
  for (const std::size_t size : {480000U, 480001U, 480000U, 1000000U}) {
    const ScanAggregate aggregate = aggregateOfSize(size);
    summary.projectCount = static_cast<std::int64_t>(size);
    store.save(summary, size == 480001U, aggregate, end);
    EXPECT_EQ(store.load(), (LastScan{summary, size == 480001U, aggregate, end}));
    EXPECT_EQ(hasFile(), size > 480000);
    EXPECT_EQ(preferences.boolean(flagKey + "v2"), size > 480000);
    EXPECT_EQ(preferences.bytes(aggregateKey + "v2").has_value(), size <= 480000);
    EXPECT_EQ(preferences.boolean("tidra.hasCompletedScan"), true);
  }
  for (const SnapshotEntry& entry : snapshotOf(tree.path("data"))) EXPECT_EQ(entry.mode & 0077U, 0U) << entry;
  store.save(summary, false, std::nullopt, end);
  EXPECT_EQ(store.load(), (LastScan{summary, false, std::nullopt, end}));
  EXPECT_FALSE(hasFile());
  EXPECT_EQ(preferences.boolean(flagKey + "v2"), false);
}

TEST_F(StoredScan, AFailedSaveLeavesTheFormerState) {
  store.save({}, false, aggregateOfSize(2000), end);
  const auto before = store.load();
  preferences.refuses = true;
  EXPECT_THROW(store.save({7, 7, {}, {}, {}, 7}, true, aggregateOfSize(3000), end), PreferencesError);
  EXPECT_EQ(store.load(), before);
  preferences.refuses = false;
  tree.writeFile("data", "in the way");
  EXPECT_THAT(messageOf<PreferencesError>([&] { store.save({}, true, aggregateOfSize(500000), end); }),
              StartsWith("The last scan was not saved: "));
  EXPECT_EQ(store.load(), before);
}

TEST_F(StoredScan, ACrashBetweenTheFileAndThePreferencesMixesNoTwoScans) {
  const ScanResultsSummary first{1, 1, {}, {}, {}, 0};
  const ScanResultsSummary second{2, 2, {}, {}, {}, 0};
  const ScanAggregate large = aggregateOfSize(500000);
  const ScanAggregate larger = aggregateOfSize(600000);
  store.save(first, false, large, end);
  preferences.refuses = true;
  EXPECT_THROW(store.save(second, false, larger, end), PreferencesError);
  EXPECT_EQ(store.load(), (LastScan{first, false, large, end})) << "the file was written, the preferences were not";
  preferences.refuses = false;
  preferences.diesBeforeFinishing = true;
  store.save(second, true, larger, end);
  EXPECT_EQ(store.load(), (LastScan{second, true, larger, end})) << "the file did not get to its place";
  // The file left by another scan is ignored.
  preferences.diesBeforeFinishing = false;
  store.save(first, false, large, end);
  tree.writeFile(file("v2") + ".next", encoded(larger));
  EXPECT_EQ(store.load(), (LastScan{first, false, large, end}));
  tree.writeFile(file("v2"), encoded(larger));
  EXPECT_EQ(store.load(), (LastScan{first, false, std::nullopt, end}));
}

TEST_F(StoredScan, FallsBackInOrder) {
  // Stored values, "-" for none and "!" for one that does not decode: file and bytes of v2, of v1; and what loads.
  for (const auto& [values, loads] :
       rowsOf("f2 b2 f1 b1 => f2 | ! b2 f1 b1 => b2 | - b2 f1 b1 => b2 | ! ! f1 b1 => nothing | - ! f1 b1 => nothing | "
              "! - f1 b1 => f1 | - - f1 b1 => f1 | - - - b1 => b1 | - - ! b1 => b1 | - - - ! => nothing | "
              "- - ! - => nothing | - - - - => nothing")) {
    const Texts value = wordsOf(values);
    const auto stored = [](const std::string& what) { return what == "!" ? labelled("x").substr(1) : labelled(what); };
    for (const bool flagged : {true, false}) {
      preferences.values.clear();
      store.save({}, false, std::nullopt, end);
      for (const auto& [version, inFile, inBytes] :
           {std::tuple{"v2", value[0], value[1]}, {"v1", value[2], value[3]}}) {
        ::unlink(tree.path(file(version)).c_str());
        if (inFile != "-") tree.writeFile(file(version), stored(inFile));
        preferences.values[flagKey + version] = flagged;
        if (inBytes != "-") preferences.values[aggregateKey + version] = stored(inBytes);
      }
      if (flagged) {
        EXPECT_EQ(loaded(), loads) << values;
      } else {
        // A file without its flag is ignored.
        const std::string bytes = value[1] != "-" ? value[1] : value[3];
        EXPECT_EQ(loaded(), bytes == "-" || bytes == "!" ? "nothing" : bytes);
      }
    }
  }
}

TEST_F(StoredScan, WithoutASummaryThereIsNoLastScan) {
  for (const std::string odd : {"", "{", "[]", "{}", R"({"totalRecoverableGB": "much"})"}) {
    preferences.values = {{"tidra.lastScanSummary.v1", odd}, {aggregateKey + "v2", labelled("x")}};
    EXPECT_EQ(loaded(), "no scan") << odd;
  }
  store.save({}, true, std::nullopt, end);
  preferences.values[aggregateKey + "v2"] = labelled("x");
  preferences.values["tidra.lastScanPartial.v1"] = std::string("true");
  preferences.values.erase("tidra.lastScanEnd");
  EXPECT_EQ(loaded(), "x");
  EXPECT_EQ(store.load()->partial, false);
  EXPECT_EQ(store.load()->end, std::nullopt);
}

TEST(StateFolders, AreWhereThePlatformKeepsThem) {
  const auto folders = [](TidraPlatform platform, const Environment& variables) {
    const StateFolders made = stateFolders(platform, {"/home/u", variables});
    return made.preferences + " " + made.applicationData;
  };
  EXPECT_EQ(folders(TidraPlatform::linux, {}), "/home/u/.config/tidra /home/u/.local/share/tidra");
  EXPECT_EQ(folders(TidraPlatform::linux, {{"XDG_CONFIG_HOME", "/c/"}, {"XDG_DATA_HOME", "/d"}}), "/c/tidra /d/tidra");
  EXPECT_EQ(folders(TidraPlatform::linux, {{"XDG_CONFIG_HOME", ""}, {"XDG_DATA_HOME", "relative"}}),
            "/home/u/.config/tidra /home/u/.local/share/tidra");
  EXPECT_EQ(
      folders(TidraPlatform::macOS, {{"XDG_CONFIG_HOME", "/c"}}),
      "/home/u/Library/Application Support/com.kavrin.Tidra /home/u/Library/Application Support/com.kavrin.Tidra");
}

}  // namespace
}  // namespace tidra
