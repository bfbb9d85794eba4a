#include "core/rules/rule_catalog.h"

#include <gtest/gtest.h>

#include "core/base/errors.h"
#include "core/base/json_fields.h"
#include "core/base/json_writer.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

using Ids = std::vector<std::string>;

std::string projectRule(const std::string& fields) { return R"({"projectRules": [{)" + fields + "}]}"; }
std::string systemRule(const std::string& fields) { return R"({"systemRules": [{)" + fields + "}]}"; }

TEST(RuleCatalog, FillsInEveryDefault) {
  const auto empty = RuleCatalog::load("{}");
  EXPECT_EQ(empty, RuleCatalog());
  EXPECT_EQ(empty.schemaVersion, 1);
  EXPECT_EQ(empty.catalogVersion, "custom");
  EXPECT_EQ(RuleCatalog::load(R"({"schemaVersion": null, "projectRules": null, "walkSkip": null, "future": 1})"),
            empty);
  EXPECT_EQ(RuleCatalog::load(R"({"schemaVersion": 0})").schemaVersion, 0);
  EXPECT_EQ(RuleCatalog::load(projectRule(R"("id": "x", "folderName": "out")")).projectRules.at(0),
            (ProjectArtifactRule{"x", "out", {}, "out", "general", ArtifactSafetyTier::safe, {}, {}, false, {}}));
  using Rule = SystemPathRule;
  const Rule defaults{"x",
                      "c",
                      "",
                      "general",
                      ArtifactSafetyTier::safe,
                      {},
                      {},
                      Rule::Mode::directory,
                      Rule::Kind::directory,
                      Rule::Activity::none,
                      {}};
  const auto least = systemRule(R"("id": "x", "category": "c", "label": "", "paths": {}, "tier": null)");
  EXPECT_EQ(RuleCatalog::load(least).systemRules.at(0), defaults);
}

TEST(RuleCatalog, ReadsAndWritesEveryField) {
  const auto catalog = RuleCatalog::load(R"({
    "schemaVersion": 1, "catalogVersion": "acme",
    "projectRules": [{"id": "p", "folderName": "obj", "parentName": "up", "label": "L", "ecosystem": "dotnet",
      "tier": "warning", "restoreHint": "build", "markers": [{"ecosystem": "a", "files": ["*.a", "b"]}],
      "requireMarker": true, "platforms": ["linux"]}],
    "systemRules": [{"id": "s", "category": "c", "label": "L", "ecosystem": "ai", "tier": "caution",
      "restoreHint": "h", "paths": {"macos": ["~/a"], "linux": ["$B", "c"]}, "mode": "children",
      "kind": "directory", "activity": "newestChild", "childLabel": "{name}"}],
    "walkSkip": {"all": ["~/x"], "linux": ["/y"]}})");
  const ProjectArtifactRule project{"p",      "obj",
                                    "up",     "L",
                                    "dotnet", ArtifactSafetyTier::warning,
                                    "build",  {{"a", {"*.a", "b"}}},
                                    true,     {TidraPlatform::linux}};
  EXPECT_EQ(catalog.projectRules.at(0), project);
  EXPECT_FALSE(catalog.projectRules[0].appliesTo(TidraPlatform::macOS));
  EXPECT_TRUE(catalog.projectRules[0].appliesTo(TidraPlatform::linux));
  using Rule = SystemPathRule;
  const Rule system{"s",
                    "c",
                    "L",
                    "ai",
                    ArtifactSafetyTier::caution,
                    "h",
                    {{"macos", {"~/a"}}, {"linux", {"$B", "c"}}},
                    Rule::Mode::children,
                    Rule::Kind::directory,
                    Rule::Activity::newestChild,
                    "{name}"};
  EXPECT_EQ(catalog.systemRules.at(0), system);
  for (const auto& original : {catalog, RuleCatalog(), RuleCatalog::builtIn()})
    EXPECT_EQ(RuleCatalog::load(prettyJson(original)), original);
}

TEST(RuleCatalog, SaysExactlyWhatIsWrong) {
  const std::string build = R"({"id": "build", "folderName": "b"})";
  const std::string two = R"("projectRules": [)" + build + "," + build + "]}";
  const std::string clash = R"({"projectRules": [)" + build + R"(], "systemRules": [{"id": "build", )";
  const std::string system = R"("id": "x", "category": "c", "label": "l", "paths": {)";
  const std::pair<std::string, const char*> cases[] = {
      {R"({"schemaVersion": 2, )" + two, "Rule catalog schema 2 is newer than this build supports (1)."},
      {"{" + two, "Duplicate rule id 'build'."},
      {clash + R"("category": "c", "label": "l", "paths": {"freebsd": []}}]})", "Duplicate rule id 'build'."},
      {projectRule(R"("id": "", "folderName": "b")"), "Rule '': empty id or folderName."},
      {projectRule(R"("id": "x", "folderName": "")"), "Rule 'x': empty id or folderName."},
      {systemRule(R"("id": "", "category": "c", "label": "l", "paths": {"freebsd": []})"), "Rule '': empty id."},
      {systemRule(system + R"("linux": [], "freebsd": ["/x"]})"), "Rule 'x': unknown platform 'freebsd'."},
      {systemRule(system + R"("all": []}, "kind": "file", "mode": "children")"), "Rule 'x': unknown platform 'all'."},
      {systemRule(system + R"(}, "kind": "file", "mode": "children")"),
       "Rule 'x': file rules cannot use children mode."}};
  for (const auto& [document, message] : cases)
    EXPECT_EQ(messageOf<RuleCatalogError>([&] { RuleCatalog::load(document); }), message) << document;
  EXPECT_NO_THROW(RuleCatalog::load(systemRule(system + R"("macos": []}, "kind": "file")")));
}

TEST(RuleCatalog, SaysWhereADocumentIsMalformed) {
  const std::string project = R"("id": "x", "folderName": "b", )";
  const std::string system = R"("id": "x", "category": "c", "label": "l", "paths": {}, )";
  const std::pair<std::string, std::string> cases[] = {
      {"{\n\"projectRules\": }", " is not valid JSON (line 2, column 17)"},
      {"[]", " must be an object"},
      {R"({"systemRules": {}})", ".systemRules must be an array"},
      {R"({"walkSkip": {"all": "~"}})", ".walkSkip.all must be an array"},
      {projectRule(R"("folderName": "b")"), ".projectRules[0].id is missing"},
      {projectRule(R"("id": "x")"), ".projectRules[0].folderName is missing"},
      {projectRule(project + R"("platforms": ["linux", "windows"])"),
       ".projectRules[0].platforms[1]: unknown platform 'windows' (known: macos, linux)"},
      {projectRule(project + R"("markers": [{"ecosystem": "e"}])"), ".projectRules[0].markers[0].files is missing"},
      {systemRule(R"("id": "x", "category": "c", "label": "l")"), ".systemRules[0].paths is missing"},
      {systemRule(system + R"("tier": "low")"),
       ".systemRules[0].tier: unknown tier 'low' (known: safe, caution, warning)"},
      {systemRule(system + R"("kind": "link")"), ".systemRules[0].kind: unknown kind 'link' (known: directory, file)"}};
  for (const auto& [document, message] : cases)
    EXPECT_EQ(messageOf<DecodingError>([&] { RuleCatalog::load(document); }), "The rule catalog" + message);
}

/// Rules with only an id and, as label, the catalog they came from.
RuleCatalog catalogOf(const Ids& projectIds, const Ids& systemIds, const std::string& mark) {
  RuleCatalog catalog;
  catalog.catalogVersion = mark;
  for (const auto& id : projectIds)
    (catalog.projectRules.emplace_back().id = id, catalog.projectRules.back().label = mark);
  for (const auto& id : systemIds)
    (catalog.systemRules.emplace_back().id = id, catalog.systemRules.back().label = mark);
  return catalog;
}

Ids marksOf(const auto& rules) {
  Ids marks;
  for (const auto& rule : rules) marks.push_back(rule.id + " " + rule.label);
  return marks;
}

TEST(RuleCatalog, MergingReplacesInPlaceAndAppends) {
  auto base = catalogOf({"a", "b", "c"}, {"s", "t"}, "base");
  base.walkSkipByPlatform = {{"all", {"/x"}}, {"linux", {"/l"}}};
  auto overlay = catalogOf({"new", "b", "new2"}, {"t", "u"}, "over");
  overlay.walkSkipByPlatform = {{"all", {"/x", "/y"}}, {"macos", {"/m"}}};
  overlay.schemaVersion = 0;
  const auto merged = base.merging(overlay);
  EXPECT_EQ(marksOf(merged.projectRules), (Ids{"a base", "b over", "c base", "new over", "new2 over"}));
  EXPECT_EQ(marksOf(merged.systemRules), (Ids{"s base", "t over", "u over"}));
  EXPECT_EQ(merged.schemaVersion, 1);
  EXPECT_EQ(merged.catalogVersion, "base+over");
  EXPECT_EQ(merged.walkSkip(TidraPlatform::linux), (Ids{"/x", "/x", "/y", "/l"}));
  EXPECT_EQ(merged.walkSkip(TidraPlatform::macOS), (Ids{"/x", "/x", "/y", "/m"}));
  EXPECT_EQ(RuleCatalog::builtIn().merging(RuleCatalog::load("{}")).catalogVersion, "2026.10.27+custom");
}

TEST(RuleCatalog, RemovingDropsRulesOfBothKinds) {
  auto catalog = catalogOf({"a", "b", "c"}, {"s", "t"}, "base");
  auto expected = catalogOf({"a", "c"}, {"t"}, "base");
  catalog.walkSkipByPlatform = expected.walkSkipByPlatform = {{"all", {"/x"}}};
  EXPECT_EQ(catalog.removing({"b", "s", "no such rule"}), expected);
}

TEST(RuleCatalog, SelectsSystemRulesByPlatformAndCategory) {
  auto catalog = catalogOf({}, {"both", "mac", "linux", "none", "empty"}, "");
  auto& rules = catalog.systemRules;
  rules[0].paths = {{"macos", {"a"}}, {"linux", {"b"}}};
  rules[1].paths = {{"macos", {"a"}}};
  rules[2].paths = {{"linux", {"a"}}};
  rules[4].paths = {{"macos", {}}, {"linux", {}}};
  for (auto& rule : rules) rule.category = rule.id == "both" ? "docker" : "python";
  const auto select = [&](TidraPlatform platform, const std::optional<std::set<std::string>>& categories) {
    return marksOf(catalog.systemRulesFor(platform, categories));
  };
  EXPECT_EQ(select(TidraPlatform::macOS, std::nullopt), (Ids{"both ", "mac "}));
  EXPECT_EQ(select(TidraPlatform::linux, std::nullopt), (Ids{"both ", "linux "}));
  EXPECT_EQ(select(TidraPlatform::linux, {{"python"}}), (Ids{"linux "}));
  EXPECT_EQ(select(TidraPlatform::linux, std::set<std::string>{}), Ids{});
}

}  // namespace
}  // namespace tidra
