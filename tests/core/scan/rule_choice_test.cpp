// Which rule a folder matches, in scans of small trees.
#include "core/base/text.h"
#include "tests/core/scan/scan_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

constexpr std::string_view catalogText = R"({
  "projectRules": [
    {"id": "target", "folderName": "target", "markers": [
      {"ecosystem": "rust", "files": ["Cargo.toml"]},
      {"ecosystem": "java", "files": ["pom.xml", "build.gradle*"]}]},
    {"id": "obj", "folderName": "obj", "requireMarker": true,
      "markers": [{"ecosystem": "dotnet", "files": ["*.csproj", "*.[fv]?proj"]}]},
    {"id": "trees", "folderName": "worktrees", "parentName": ".claude", "ecosystem": "ai"},
    {"id": "bin-mac", "folderName": "bin", "ecosystem": "swift", "platforms": ["macos"]},
    {"id": "bin-linux", "folderName": "bin", "ecosystem": "go", "requireMarker": true, "platforms": ["linux"],
      "markers": [{"ecosystem": "go", "files": ["go.mod"]}]},
    {"id": "bin-any", "folderName": "bin", "ecosystem": "general", "requireMarker": true,
      "markers": [{"ecosystem": "npm", "files": ["./package.json", "conf/bin.json"]}]},
    {"id": "out-marked", "folderName": "out", "requireMarker": true,
      "markers": [{"ecosystem": "rust", "files": [".git"]}]},
    {"id": "out-app", "folderName": "out", "parentName": "app", "ecosystem": "java"},
    {"id": "out-rest", "folderName": "out", "ecosystem": "npm"}
  ]})";

struct Case {
  std::vector<std::string> entries;
  std::vector<std::string> findings;
  TidraPlatform platform = TidraPlatform::linux;
};

TEST(RuleChoice, TakesTheFirstRuleThatMatches) {
  const RuleCatalog catalog = [] {
    RuleCatalog loaded = RuleCatalog::load(catalogText);
    loaded.walkSkipByPlatform["all"] = {".git"};
    return loaded;
  }();
  const std::vector<Case> cases{
      // Markers decide in their order; without one the rule's own ecosystem applies.
      {{"p/target/f=1", "p/Cargo.toml"}, {"p/target 1 rust target p"}},
      {{"p/target/f=1", "p/pom.xml"}, {"p/target 1 java target p"}},
      {{"p/target/f=1", "p/pom.xml", "p/Cargo.toml"}, {"p/target 1 rust target p"}},
      {{"p/target/f=1", "p/build.gradle.kts"}, {"p/target 1 java target p"}},
      {{"p/target/f=1", "p/sub/Cargo.toml", "Cargo.toml"}, {"p/target 1 general target p"}},
      {{"p/target/Cargo.toml=1"}, {"p/target 1 general target p"}},
      {{"target/f=1", "Cargo.toml"}, {"target 1 rust target ."}},
      // A marker may be a folder or a working link, but not a dangling one.
      {{"p/target/", "p/Cargo.toml/"}, {"p/target 0 rust target p"}},
      {{"p/target/", "p/Cargo.toml->real", "p/real"}, {"p/target 0 rust target p"}},
      {{"p/target/", "p/Cargo.toml->nowhere"}, {"p/target 0 general target p"}},
      // Without the required marker the walk descends.
      {{"p/obj/f=1", "p/p.csproj"}, {"p/obj 1 dotnet obj p"}},
      {{"p/obj/f=1", "p/p.vbproj"}, {"p/obj 1 dotnet obj p"}},
      {{"p/obj/f=1", "p/.csproj"}, {"p/obj 1 dotnet obj p"}},
      {{"p/obj/f=1", "p/p.csproj.user", "p/P.CSPROJ"}, {}},
      {{"p/obj/target/f=12"}, {"p/obj/target 2 general target p/obj"}},
      {{"p/obj/obj/f=1", "p/obj/x.csproj"}, {"p/obj/obj 1 dotnet obj p/obj"}},
      // The parent's name, and the folder above it as the project.
      {{"p/.claude/worktrees/f=1"}, {"p/.claude/worktrees 1 ai trees p"}},
      {{".claude/worktrees/f=1"}, {".claude/worktrees 1 ai trees ."}},
      {{"p/claude/worktrees/f=1", "p/.claude/x/worktrees/f=1", "worktrees/f=1"}, {}},
      // Rules with one name apply in catalog order, on their platforms only.
      {{"p/bin/f=1"}, {}},
      {{"p/bin/f=1", "p/go.mod", "p/package.json"}, {"p/bin 1 go bin-linux p"}},
      {{"p/bin/f=1", "p/go.mod"}, {"p/bin 1 swift bin-mac p"}, TidraPlatform::macOS},
      {{"p/bin/f=1", "p/package.json"}, {"p/bin 1 npm bin-any p"}},
      {{"p/bin/f=1", "p/conf/bin.json"}, {"p/bin 1 npm bin-any p"}},
      {{"p/bin/f=1", "p/conf->gone"}, {}},
      {{"app/out/f=1", "q/out/f=1"}, {"app/out 1 java out-app .", "q/out 1 npm out-rest q"}},
      // A marker counts even if the walk skips it.
      {{"app/out/f=1", "app/.git/"}, {"app/out 1 rust out-marked app"}},
  };
  for (const Case& c : cases) {
    const TemporaryTree tree;
    makeEntries(tree, c.entries);
    auto request = requestFor(tree, catalog);
    request.platform = c.platform;
    EXPECT_THAT(linesOf(Scanner::scan(request).findings, tree), ElementsAreArray(c.findings))
        << joined(c.entries, ", ");
  }
}

TEST(RuleChoice, AFindingCarriesWhatItsRuleSays) {
  const TemporaryTree tree;
  makeEntries(tree, {"p/target/f=12345"});
  ProjectArtifactRule rule = plainRule("target", "rust");
  rule.id = "an-id";
  rule.label = "a label";
  rule.tier = ArtifactSafetyTier::warning;
  rule.restoreHint = "cargo build";
  const RuleCatalog catalog = catalogOf({rule});
  const ScanArtifactFinding expected{.path = tree.path("p/target"),
                                     .label = "a label",
                                     .sizeBytes = 5,
                                     .ecosystemTag = "rust",
                                     .groupRoot = tree.path("p"),
                                     .source = ArtifactSource::projectWalk,
                                     .safetyTier = ArtifactSafetyTier::warning,
                                     .restoreHint = "cargo build",
                                     .lastActivityDate = std::nullopt,
                                     .ruleID = "an-id"};
  EXPECT_EQ(plain(Scanner::scan(requestFor(tree, catalog)).findings), std::vector{expected});
}

}  // namespace
}  // namespace tidra
