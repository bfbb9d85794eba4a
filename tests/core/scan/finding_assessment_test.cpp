// What evidence, or its absence, and the folders around it make of a finding.
#include "core/scan/finding_assessment.h"

#include <tuple>

#include "core/platform/path_text.h"
#include "tests/core/scan/scan_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

std::vector<std::string> assess(std::vector<FoundArtifact>& found, const TemporaryTree& tree,
                                const RuleCatalog& catalog = {}) {
  return assessFindings(found, catalog, currentPlatform, {tree.root(), {}}, [] { return false; });
}

/// Without its skipped folders, in one of which the tree may lie.
RuleCatalog builtInRules() {
  RuleCatalog catalog = RuleCatalog::builtIn();
  catalog.walkSkipByPlatform.clear();
  return catalog;
}

TEST(Assessment, RaisesWhatNothingMakesAgainAndSetsTheEvidenceOfTheRest) {
  const TemporaryTree tree;
  makeEntries(tree, {"a/venv/__init__.py", "p/bin/", "p/lib/node_modules/.package-lock.json",
                     "w/package.json={\"dependencies\":{\"a\":\"1\"}}", "w/node_modules/.package-lock.json",
                     "x/node_modules/a"});
  std::vector<FoundArtifact> found;
  for (const char* path : {"a/venv", "p/lib/node_modules", "w/node_modules", "x/node_modules"}) {
    ScanArtifactFinding finding;
    finding.path = tree.path(path);
    finding.groupRoot = parentPath(finding.path);
    finding.ruleID = "x";
    found.push_back({.finding = finding, .place = finding.path});
  }
  EXPECT_THAT(assess(found, tree), IsEmpty());
  const auto findings = plain(found);
  EXPECT_EQ(findings[0].safetyTier, ArtifactSafetyTier::warning);
  EXPECT_EQ(findings[1].safetyTier, ArtifactSafetyTier::warning);
  EXPECT_EQ(findings[1].restoreHint, "Belongs to the installed program npm");
  EXPECT_TRUE(lacksEvidence(findings[0]) && lacksEvidence(findings[1]));
  EXPECT_EQ(findings[3].noEvidence, "no file beside it names its packages");
  EXPECT_EQ(findings[2].safetyTier, ArtifactSafetyTier::safe);
  EXPECT_EQ(findings[2].evidence, "holds .package-lock.json");
}

TEST(Assessment, NothingInAnOutputFolderIsSafe) {
  const TemporaryTree tree;
  makeEntries(
      tree,
      {"w/package.json={\"scripts\":{\"build\":\"vite build\"}}", "w/dist/node_modules/.package-lock.json",
       // A packager wrote a manifest into its output.
       "i/.git/", "i/.gitignore=dist", "i/package.json={\"scripts\":{\"build\":\"ng build\"}}",
       "i/dist/package.json={}", "i/dist/node_modules/.package-lock.json",
       // Sources of the project's own: by their manifest, and because git does not ignore them.
       "s/.git/", "cmake/.git/", "s/package.json={\"scripts\":{\"build\":\"webpack\"}}",
       "s/build/package.json={\"dependencies\":{\"x\":\"1\"}}", "s/build/node_modules/.package-lock.json", "g/.git/",
       "g/.gitignore=/dist/dist", "g/package.json={\"scripts\":{\"build\":\"tsc\"}}", "g/dist/dist/a.js", "g/dist/w.js",
       "c/CMakeLists.txt", "c/build/CMakeCache.txt=@CMAKE:c", "c/build/_deps/foo/dist/CACHEDIR.TAG",
       "mine/build/p/dist/CACHEDIR.TAG", "worktrees/one/.git", "worktrees/one/dist/CACHEDIR.TAG",
       "cmake/build/CMakeLists.txt", "cmake/build/CMakeCache.txt", "cmake/build/sub/dist/CACHEDIR.TAG"});
  // With the rules for the output folders disabled.
  const auto catalog = catalogOf({plainRule("node_modules"), plainRule("dist")});
  auto request = requestFor(tree, catalog);
  std::map<std::string, std::string> seen;
  for (const char* root : {"w/dist", "i/dist", "s/build", "g/dist", "c", "mine", "worktrees", "cmake"}) {
    request.root = tree.path(root);
    auto found = Scanner::scan(request).findings;
    EXPECT_THAT(assess(found, tree), IsEmpty());
    for (const FoundArtifact& one : found)
      seen[one.finding.path.substr(tree.root().size() + 1)] =
          std::string(rawValue(one.finding.safetyTier)) + (lacksEvidence(one.finding) ? " to look at" : "");
  }
  EXPECT_EQ(seen, (std::map<std::string, std::string>{{"w/dist/node_modules", "caution to look at"},
                                                      {"i/dist/node_modules", "caution to look at"},
                                                      {"c/build/_deps/foo/dist", "caution to look at"},
                                                      {"mine/build/p/dist", "safe"},
                                                      {"worktrees/one/dist", "safe"},
                                                      {"s/build/node_modules", "safe"},
                                                      {"g/dist/dist", "safe"},
                                                      {"cmake/build/sub/dist", "safe"}}));
  for (const char* root : {"c/build", "c/build/_deps/foo"}) {
    request.root = tree.path(root);
    EXPECT_THAT(Scanner::scan(request).rootObstacle.value_or(""), EndsWith("scan ~/c instead.")) << root;
  }
  // A project into which cmake wrote is one.
  request.root = tree.path("cmake/build/sub");
  EXPECT_EQ(pathsOf(Scanner::scan(request).findings, tree).size(), 1U);
}

TEST(Assessment, NamesTheOneWayBackThatFitsTheProject) {
  const auto catalog = builtInRules().withPack(RuleCatalog::load(R"({"projectRules": [{"id": "mine",
    "folderName": "mine", "restoreHint": "any", "hintsBeside": [{"files": ["a", "*.b"], "hint": "b"}]}]})"));
  const std::string venv = "python -m venv .venv";
  const std::vector<std::tuple<std::vector<std::string>, std::string, std::string>> rows{
      {{"package.json"}, "node_modules", "npm install / pnpm install / yarn"},
      {{"pnpm-lock.yaml=a"}, "node_modules", "pnpm install"},
      {{"package-lock.json=a", "yarn.lock=a"}, "node_modules", "yarn"},
      {{"package-lock.json=a", "yarn.lock/f"}, "node_modules", "npm install"},
      {{"package-lock.json=a", "yarn.lock"}, "node_modules", "npm install"},
      {{"node_modules/.package-lock.json=a", "yarn.lock=a"}, "node_modules", "npm install"},
      {{"node_modules/.yarn-integrity=a", "package-lock.json=a"}, "node_modules", "yarn"},
      {{"node_modules/.pnpm/a", "yarn.lock=a"}, "node_modules", "pnpm install"},
      {{R"(package.json={"packageManager": "pnpm@9"})", "yarn.lock=a"}, "node_modules", "pnpm install"},
      {{R"(package.json={"packageManager": "other@9"})", "yarn.lock=a"}, "node_modules", "yarn"},
      {{R"(package.json={"packageManager": "pnpm@9"})", "node_modules/.package-lock.json=a"},
       "node_modules",
       "npm install"},
      {{"pnpm-workspace.yaml=a", "p/a/package.json"}, "p/a/node_modules", "pnpm install"},
      {{"Cargo.toml=a"}, "target", "cargo build"},
      {{"go.mod=a"}, "vendor", "go mod vendor"},
      {{"go.mod=a", "vendor/bundle/ruby/"}, "vendor", "bundle install"},
      {{"pyproject.toml=a", "uv.lock=a"}, ".venv", "uv sync"},
      {{"pyproject.toml=a", "requirements.txt=a"}, ".venv", venv + " && pip install -r requirements.txt"},
      {{"pyproject.toml=a", "requirements.txt"}, ".venv", venv + " && .venv/bin/pip install -e ."},
      {{"x.py"}, ".venv", venv},
      {{"CMakeLists.txt", "build/CMakeCache.txt=@CMAKE:."}, "build", "cmake -B build && cmake --build build"},
      {{"s/CMakeLists.txt", "build/a b/CMakeCache.txt=@CMAKE:s"},
       "build",
       "cmake -S s -B 'build/a b' && cmake --build 'build/a b'"},
      {{"CMakeLists.txt", "build/a/CMakeCache.txt=@CMAKE:.", "build/b/CMakeCache.txt=@CMAKE:."},
       "build",
       "cmake -B build/a && cmake --build build/a; likewise 1 more"},
      {{"meson.build", "build/x/meson-info/meson-info.json=@MESON:."},
       "build",
       "meson setup build/x && meson compile -C build/x"},
      {{"CMakeLists.txt", "build/CMakeCache.txt"}, "build", "Re-run the build"},
      {{"x.b=a"}, "mine", "b"},
      {{"x.c"}, "mine", "any"}};
  for (const auto& [entries, artefact, hint] : rows) {
    const TemporaryTree tree;
    makeEntries(tree, entries);
    if (!pathFacts(tree.path(artefact))) tree.makeFolder(artefact);
    auto found = Scanner::scan(requestFor(tree, catalog)).findings;
    EXPECT_THAT(assess(found, tree, catalog), IsEmpty());
    ASSERT_EQ(pathsOf(found, tree), std::vector{artefact});
    EXPECT_EQ(found[0].finding.restoreHint, hint) << artefact << testing::PrintToString(entries);
  }
}

TEST(Assessment, ARootInWhatTheScanOfItsProjectKeepsTakesNothingThere) {
  const std::string lock = "node_modules/.package-lock.json";
  const std::string names = "package.json={\"dependencies\":{\"a\":\"1\"}}";
  const std::vector<std::tuple<std::vector<std::string>, std::string, bool>> rows{
      {{"p/.git/", "p/.gitignore=node_modules", "p/dist/" + names, "p/dist/" + lock}, "p/dist", false},
      {{"p/package.json", "p/dist/x/" + names, "p/dist/x/" + lock}, "p/dist/x", false},
      // Projects of their own.
      {{"p/.git/", "p/dist/x/.git/", "p/dist/x/" + names, "p/dist/x/" + lock}, "p/dist/x", true},
      {{"package.json", ".git/", "dist/x/" + names, "dist/x/" + lock}, "dist", true},
      {{"p/dist/" + names, "p/dist/" + lock}, "p/dist", true},
      {{"p/.git/", "p/obj/" + names, "p/obj/" + lock}, "p/obj", true}};
  const auto catalog = builtInRules();
  for (const auto& [entries, root, goes] : rows) {
    const TemporaryTree tree;
    makeEntries(tree, entries);
    auto request = requestFor(tree, catalog);
    request.root = tree.path(root);
    auto found = Scanner::scan(request).findings;
    EXPECT_THAT(assess(found, tree, catalog), IsEmpty());
    ASSERT_EQ(found.size(), 1U) << root;
    EXPECT_EQ(found[0].finding.safetyTier == ArtifactSafetyTier::safe && found[0].finding.evidence, goes)
        << testing::PrintToString(entries);
  }
}

TEST(DependencyFolders, NothingBelowOneIsAFindingOfItsOwn) {
  const TemporaryTree tree;
  makeEntries(tree, {"p/node_modules/vite/dist/f", "p/node_modules/vite/build/f", "p/.venv/pyvenv.cfg",
                     "p/.venv/lib/python3/site-packages/x/build/f", "p/vendor/modules.txt", "p/vendor/a/dist/f",
                     "p/bower_components/jq/dist/f", "mine/pyvenv.cfg", "mine/lib/x/build/f", "mine/src/dist/f",
                     "gems/gems/rack/dist/f", "gems/specifications/f", "vendor/client/dist/f"});
  // With the rules for these folders disabled.
  const auto catalog = catalogOf({plainRule("dist"), plainRule("build")});
  EXPECT_THAT(foundPaths(tree, catalog), ElementsAre("mine/src/dist", "vendor/client/dist"));
  for (const char* root : {"p/node_modules", "p/node_modules/vite", "p/.venv/lib", "p/vendor/a", "gems/gems/rack"}) {
    auto request = requestFor(tree, catalog);
    request.root = tree.path(root);
    const auto result = Scanner::scan(request);
    EXPECT_TRUE(result.findings.empty()) << root;
    EXPECT_THAT(result.rootObstacle.value_or(""), HasSubstr("dependency folder")) << root;
  }
}

}  // namespace
}  // namespace tidra
