// Commands with state between runs, and the selection of system caches.
#include <algorithm>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_entry.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

class CliState : public CliTest {
 protected:
  CliState() {
    tree().writeFileOfSize(".cache/pip/f", 700);
    tree().writeFileOfSize(".cargo/registry/f", 90);
    tree().writeFileOfSize(".mine/f", 5);
    tree().writeFileOfSize(".cache/pip/node_modules/p/dist/notes.txt", 0);
    rules_ = tree().writeFile(
        "rules.json", R"({"systemRules": [{"id": "m", "category": "mine", "label": "My own", "ecosystem": "ours",
        "paths": {"linux": ["~/.mine"], "macos": ["~/.mine"]}}]})");
  }

  /// Scans categories that run none of this machine's tools: the caches and a category of the test's rules.
  ProgramRun scanAll(Texts more) const {
    Texts arguments{"scan", "--json", "--rules", rules_};
    if (more.empty() || more.front().starts_with('-')) arguments.emplace_back(".");
    const auto isChosen = [](const std::string& word) { return word == "--category" || word == "--no-system"; };
    if (std::none_of(more.begin(), more.end(), isChosen))
      more.insert(more.begin(), {"--category", "globalCaches,mine"});
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run(arguments);
  }
  static Texts pathsIn(const ProgramRun& ran) {
    EXPECT_EQ(ran.status, 0) << ran.err;
    Texts paths;
    for (const auto& item : reportOf(ran).items) paths.push_back(item.displayPath);
    std::sort(paths.begin(), paths.end());
    return paths;
  }

  std::string rules_;
};

const Texts projects{"~/code/ancient/target", "~/code/snake/.venv", "~/code/tool/target", "~/code/web/dist",
                     "~/code/web/node_modules"};

TEST_F(CliState, OptionsChooseWhatOutsideProjectsIsFound) {
  for (const auto& [options, names] : rowsOf(R"(
       => .cache/pip .cargo/registry ~/.mine ancient/target snake/.venv tool/target web/dist web/node_modules |
       --no-system => ancient/target snake/.venv tool/target web/dist web/node_modules |
       --no-projects => .cache/pip .cargo/registry ~/.mine |
       --no-projects --category mine => ~/.mine | --no-projects --category xcode => |
       --no-projects --category mine --category globalCaches => .cache/pip .cargo/registry ~/.mine |
       --no-projects --ecosystem rust,ours => .cargo/registry ~/.mine | --ecosystem rust => .cargo/registry tool/target |
       --no-projects --disable-rule pip-cache => .cargo/registry ~/.mine | --no-projects --min-size 100 => .cache/pip |
       --no-projects --exclude .cargo => .cache/pip ~/.mine |
       --no-projects --exclude *.txt => .cargo/registry ~/.mine |
       --no-projects --exclude dist => .cache/pip .cargo/registry ~/.mine |
       --no-projects --exclude f => | code/web => web/dist web/node_modules |
       code/web --system => .cache/pip .cargo/registry ~/.mine web/dist web/node_modules)"))
    EXPECT_EQ(shortNames(pathsIn(scanAll(wordsOf(options)))), names) << options;
  const std::string text = run({"scan", "--no-projects", "--category", "globalCaches,mine", "--rules", rules_}).out;
  EXPECT_THAT(text, AllOf(HasSubstr("Global package caches"), HasSubstr("mine  "), HasSubstr("pip cache"),
                          HasSubstr("My own"), HasSubstr("3 artefacts in 2 categories outside projects")));
}

TEST_F(CliState, AnUnknownCategoryOrEcosystemIsRefusedWithTheKnownOnes) {
  const std::string category = refused({"scan", "--category", "globalCaches,moon", "--rules", rules_});
  for (const auto& known : systemScanCategoryTable) EXPECT_THAT(category, HasSubstr(std::string(known.key)));
  EXPECT_THAT(category, AllOf(StartsWith("tidra: Unknown category 'moon'; "), HasSubstr("mine")));
  EXPECT_THAT(refused({"scan", "--category", "dokcer"}), HasSubstr("'dokcer'; did you mean docker? Known are "));
  EXPECT_THAT(refused({"config", "get", "tire"}), HasSubstr("'tire'; did you mean tier? Known are "));
  const std::string ecosystem = refused({"scan", "--ecosystem", "cobol"});
  for (const auto& known : ecosystemTable) EXPECT_THAT(ecosystem, HasSubstr(std::string(known.key)));
  EXPECT_THAT(ecosystem, StartsWith("tidra: Unknown ecosystem 'cobol'; "));
}

TEST_F(CliState, ExclusionsAreKeptAndHonoured) {
  EXPECT_THAT(run({"exclude"}).out, StartsWith("Nothing is excluded."));
  EXPECT_EQ(run({"exclude", "add", tree().path("code/./web/")}).out, "~/code/web is now excluded.\n");
  EXPECT_EQ(run({"exclude", "add", "~/code/web"}).out, "~/code/web was already excluded.\n");
  tree().symlink("way", "code/web");
  EXPECT_EQ(run({"exclude", "add", "~/way"}).err, "note: That place is excluded already as '~/code/web'.\n");
  EXPECT_EQ(run({"exclude", "remove", "~/way"}).err, "note: '~/code/web' is still excluded.\n");
  EXPECT_EQ(run({"exclude", "add", "x?/"}).out, "x? is now excluded.\n");
  EXPECT_EQ(run({"exclude", "remove", "x?"}).status, 0);
  EXPECT_EQ(run({"exclude", "add", "~/.cache"}).out, "~/.cache is now excluded.\n");
  EXPECT_EQ(run({"exclude", "add", "t?ol\x1b[31m"}).out, "t?ol\\x1b[31m is now excluded.\n");
  EXPECT_EQ(run({"exclude", "add", "t?ol"}).status, 0);
  EXPECT_EQ(run({"exclude", "add", "-n", "~/code"}).out, "~/code would be excluded.\n");
  EXPECT_EQ(run({"exclude", "list"}).out,
            "path     ~/code/web\npath     ~/.cache\npattern  t?ol\\x1b[31m\npattern  t?ol\n");
  const ProgramRun json = run({"exclude", "list", "--json"});
  EXPECT_EQ(JsonCodec<std::vector<ExclusionEntry>>::decode(documentOf(json), "it").at(3).pathDisplay, "t?ol");
  EXPECT_EQ(pathsIn(scanAll({})), (Texts{"~/.cargo/registry", "~/.mine", projects[0], projects[1]}));

  EXPECT_EQ(run({"exclude", "remove", "web"}).status, 2) << "is another row than the path";
  EXPECT_EQ(run({"exclude", "remove", tree().path("code/web")}).out, "~/code/web is no longer excluded.\n");
  EXPECT_EQ(run({"exclude", "remove", "t?ol"}).status, 0);
  EXPECT_EQ(run({"exclude", "add", "~/$NO_SUCH"}).out, "~/$NO_SUCH is now excluded.\n");
  EXPECT_EQ(run({"exclude", "remove", "~/$NO_SUCH"}).status, 0);
  EXPECT_EQ(run({"exclude", "remove", "t?ol\\x1b[31m"}).status, 0) << "as the list shows it";
  // A relative path is not a pattern.
  EXPECT_EQ(run({"exclude", "add", "./some/x"}).out, "~/some/x is now excluded.\n");
  EXPECT_EQ(run({"exclude", "add", "code/../../x"}).out, parentPath(tree().root()) + "/x is now excluded.\n");
  EXPECT_THAT(run({"exclude", "add", "../x"}).out, HasSubstr("/x was already excluded.\n"));
  EXPECT_THAT(run({"exclude", "add", "-n", "./x/**"}).out, "~/x/** would be excluded.\n");
  EXPECT_EQ(run({"exclude", "remove", "~/some/x"}).status, 0);
  // One entry in several spellings.
  tree().makeFolder("k4");
  const Texts spellings{"k4", "k4/", "./k4", tree().path("k4")};
  for (const std::string& added : spellings) {
    for (const std::string& removed : spellings) {
      ASSERT_EQ(run({"exclude", "add", added}).status, 0) << added;
      EXPECT_EQ(run({"exclude", "remove", removed}).status, 0) << added << " " << removed;
      EXPECT_EQ(run({"exclude", "remove", removed}).status, 2) << added << " " << removed;
    }
  }
  const Texts patterns{"~/k4/*", "./k4/*", "$HOME/k4/*", tree().path("k4/*")};
  for (const std::string& added : patterns) {
    for (const std::string& removed : patterns) {
      ASSERT_EQ(run({"exclude", "add", added}).status, 0) << added;
      EXPECT_EQ(run({"exclude", "remove", removed}).status, 0) << added << " " << removed;
    }
  }
  EXPECT_EQ(run({"exclude", "add", "k4/"}).out, "~/k4 is now excluded.\n");
  EXPECT_EQ(run({"exclude", "add", "k4"}).status, 0);
  EXPECT_EQ(run({"exclude", "remove", "k4"}).err, "note: '~/k4' is still excluded.\n");
  EXPECT_EQ(run({"exclude", "remove", "k4"}, {.folder = tree().path("code")}).status, 2);
  EXPECT_EQ(run({"exclude", "remove", "k4"}).out, "~/k4 is no longer excluded.\n");
  EXPECT_EQ(refused({"exclude", "remove", "t?ol"}),
            "tidra: 't?ol' is not excluded; tidra exclude list shows what is.\n");
  EXPECT_THAT(pathsIn(scanAll({"--no-system"})), ElementsAreArray(projects));
  for (const char* action : {"add", "remove"}) refused({"exclude", action, ""});
  for (const char* action : {"add", "drop"}) refused({"exclude", action});
}

TEST_F(CliState, TheLastScanShowsTheSameItems) {
  const auto itemsOf = [](const ProgramRun& ran) {
    auto report = reportOf(ran);
    std::sort(report.items.begin(), report.items.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
    return report.items;
  };
  EXPECT_EQ(run({"scan", "--last"}).status, 2) << "there is none yet";
  const ProgramRun made = scanAll({});
  const ProgramRun shown = run({"scan", "--last", "--json"});
  EXPECT_EQ(itemsOf(shown), itemsOf(made));
  EXPECT_EQ(itemsOf(shown).size(), 8U);
  const std::string text = run({"scan", "--last"}).out;
  EXPECT_THAT(text, AllOf(HasSubstr("Global package caches"), HasSubstr("~/code/web"), HasSubstr("Scanned at 20"),
                          Not(HasSubstr("Scanned in"))));
  scanAll({"-n", "--no-projects"});
  EXPECT_EQ(itemsOf(run({"scan", "--last", "--json"})).size(), 8U) << "a dry run keeps nothing";
  scanAll({"--no-projects"});
  EXPECT_EQ(itemsOf(run({"scan", "--last", "--json"})).size(), 3U);
}

TEST_F(CliState, TheLastScanIsNarrowedWithoutScanning) {
  scanAll({});
  removeFile(tree().path("code/web/dist/f"));
  for (const auto& [options, names] : rowsOf(R"(
       --min-size 200 => .cache/pip ancient/target tool/target web/dist web/node_modules |
       --category mine => ~/.mine | --ecosystem rust,ours => .cargo/registry ~/.mine tool/target |
       --category globalCaches,mine --min-size 6 => .cache/pip .cargo/registry | --older-than 5y => ancient/target |
       --tier warning => )")) {
    Texts words = wordsOf("scan --last --json " + options);
    EXPECT_EQ(shortNames(pathsIn(run(words))), names) << options;
  }
  EXPECT_THAT(refused({"scan", "--last", "--ecosystem", "cobol"}), HasSubstr("'cobol'; known are ai"));
  const auto shownIn = [&](const char* zone) { return run({"scan", "--last"}, {.environment = {{"TZ", zone}}}).out; };
  EXPECT_NE(shownIn("UTC"), shownIn("XXX-09"));
}

TEST_F(CliState, TheSummaryOfALastScanShowsWithoutItsFindings) {
  scanAll({});
  const std::string file = tree().path(".config/tidra/preferences.json");
  auto preferences = parseJson(readFile(file, 1 << 20)->c_str(), "it");
  preferences["tidra.lastScanAggregate.v2"]["text"] = "{torn";
  replaceFile(file, jsonText(preferences, false));
  const ProgramRun shown = run({"scan", "--last"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_THAT(shown.out, AllOf(HasSubstr("54 KB reclaimable: 6 groups in ~. Scanned at 20"), HasSubstr("49 KB  Rust"),
                               HasSubstr("Outside projects")));
  EXPECT_THAT(shown.err, StartsWith("note: The findings of the last scan cannot be read any more"));
  EXPECT_EQ(run({"scan", "--last", "--json"}).status, 2);
}

TEST_F(CliState, PreferencesThatCannotBeUsedDoNotHinderAScan) {
  tree().makeFolder(".config/tidra/preferences.json");
  const ProgramRun scanned = scanAll({});
  EXPECT_EQ(pathsIn(scanned).size(), 8U);
  EXPECT_THAT(linesOf(scanned.err), Each(StartsWith("note: The preferences ")));
  EXPECT_THAT(linesOf(scanned.err).at(0), EndsWith("not a regular file. The exclusions stored there are ignored."));
  for (const char* line : {"exclude add x", "exclude list", "scan --last"})
    EXPECT_THAT(refused(wordsOf(line)), HasSubstr("cannot be read: not a regular file."));
}

TEST_F(CliState, NothingIsRemovedWhileTheExclusionsCannotBeRead) {
  const std::string plan = run({"plan", "--no-system", "code"}).out;
  const std::string place = ".config/tidra/preferences.json";
  run({"exclude", "add", "~/code/web"});
  const std::string kept = *readFile(tree().path(place));
  for (const std::string& text : {kept.substr(0, 30), std::string(R"({"tidra.exclusions.v1": {"text": "{}"}})"),
                                  std::string(R"({"tidra.exclusions.v1": {"text": "[{\"kind\": \"newer\"}]"}})")}) {
    tree().writeFile(place, text);
    tree().writeFile("plan.json", plan);
    const auto before = tree().snapshot();
    for (const char* line : {"clean --no-system --yes code", "clean --no-system -n code", "plan --no-system code",
                             "apply --yes plan.json"}) {
      const ProgramRun ran = run(wordsOf(line));
      EXPECT_EQ(ran.status, 2) << text << line;
      EXPECT_EQ(ran.out, "");
      EXPECT_THAT(linesOf(ran.err).back(),
                  HasSubstr("Nothing is removed until the stored exclusions are repaired or moved away."));
    }
    EXPECT_EQ(tree().snapshot(), before);
  }
  tree().writeFile(place, kept);
  EXPECT_EQ(run({"clean", "--no-system", "--yes", "code"}).status, 0);
  EXPECT_THAT(tree().snapshot(), Contains(testing::Field(&SnapshotEntry::path, HasSubstr("code/web/dist/f"))));
}

TEST_F(CliState, OnlyTheUserBeginsNewPreferencesInPlaceOfDamagedOnes) {
  const std::string damaged = tree().writeFile(".config/tidra/preferences.json", "{\"tidra.exclusions.v1\": ");
  for (const Texts& quiet : {Texts{}, Texts{"-q"}}) {
    const ProgramRun scanned = scanAll(quiet);
    EXPECT_EQ(pathsIn(scanned).size(), 8U);
    EXPECT_THAT(scanned.err, HasSubstr("note: The preferences " + damaged + " are damaged, so exclusions kept there"));
    EXPECT_EQ(*readFile(damaged), "{\"tidra.exclusions.v1\": ");
    EXPECT_EQ(run({"clean", "--no-system", "--yes", "code"}).status, 2) << "a scan repairs nothing";
  }
  const ProgramRun added = run({"exclude", "add", "~/code/web", "-q"});
  EXPECT_THAT(added.err, HasSubstr("they are kept as " + damaged + ".damaged and replaced by new ones. What was"));
  EXPECT_EQ(run({"clean", "--no-system", "--dry-run", "code"}).status, 0);
}

}  // namespace
}  // namespace tidra
