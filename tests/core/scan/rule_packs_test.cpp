// What each rule of the packs finds, and what it must leave.
#include <algorithm>
#include <set>

#include "core/base/text.h"
#include "core/platform/path_text.h"
#include "core/rules/rule_packs.h"
#include "core/scan/artifact_evidence.h"
#include "core/scan/probes/catalog_path_probe.h"
#include "tests/core/scan/probes/probe_fixture.h"
#include "tests/core/scan/scan_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/tables.h"

namespace tidra {
namespace {

/// Rule, the folder that it finds and what else lies there; behind "!" a tree in which it finds nothing.
constexpr std::string_view projectFixtures = R"(
elixir-build p/_build p/mix.exs p/_build/dev/ ! p/_build/dev/
elixir-deps p/deps p/mix.exs p/deps/jason/.hex ! p/mix.exs p/deps/jason/lib.c
elixir-ls p/.elixir_ls p/mix.exs p/.elixir_ls/build/ ! p/.elixir_ls/build/
erlang-build p/_build p/rebar.config p/_build/default/ ! p/rebar.lock p/_build/default/
erlang-mk p/.erlang.mk p/erlang.mk p/.erlang.mk/a ! p/.erlang.mk/a
cabal-build p/dist-newstyle p/x.cabal p/dist-newstyle/cache/ ! p/x.cabal p/dist-newstyle/a
stack-work p/.stack-work p/stack.yaml p/.stack-work/a ! p/.stack-work/a
dune-build p/_build p/dune-project p/_build/log ! p/dune-project p/_build/notes
opam-local-switch p/_opam p/x.opam p/_opam/.opam-switch/ ! p/_opam/.opam-switch/
scala-target p/target p/build.sbt p/target/scala-3.3/ ! p/build.sbt p/target/a
mill-out p/out p/build.mill p/out/mill-profile.json ! p/build.mill p/out/a
scala-build p/.scala-build p/.scala-build/.bloop/ ! p/.scala-build/a
bloop p/.bloop p/build.sbt p/.bloop/root.json ! p/.bloop/root.json
metals p/.metals p/build.sbt p/.metals/metals.log ! p/build.sbt p/.metals/a
clojure-target p/target p/project.clj p/target/stale/ ! p/target/stale/
clojure-cpcache p/.cpcache p/deps.edn p/.cpcache/1.cp ! p/deps.edn p/.cpcache/a
shadow-cljs p/.shadow-cljs p/shadow-cljs.edn p/.shadow-cljs/a ! p/.shadow-cljs/a
clj-kondo-cache p/.clj-kondo/.cache p/.clj-kondo/.cache/v1/ ! p/.cache/v1/
clojure-lsp-cache p/.lsp/.cache p/.lsp/.cache/db.transit.json ! p/.lsp/.cache/a
zig-cache p/zig-cache p/zig-cache/o/ ! p/zig-cache/a
zig-out p/zig-out p/build.zig p/zig-out/bin/ ! p/zig-out/bin/
nimcache p/nimcache p/nimcache/@mmain.nim.c ! p/nimcache/main.nim
nimbledeps p/nimbledeps p/x.nimble p/nimbledeps/pkgs2/ ! p/nimbledeps/pkgs2/
crystal-shards p/lib p/shard.yml p/lib/.shards.info ! p/shard.yml p/lib/a
gleam-build p/build p/gleam.toml p/build/dev/ ! p/build/dev/
elm-stuff p/elm-stuff p/elm.json p/elm-stuff/0.19.1/ ! p/elm-stuff/0.19.1/
dart-tool p/.dart_tool p/pubspec.yaml p/.dart_tool/a ! p/.dart_tool/a
flutter-build p/build p/pubspec.yaml p/build/app/ ! p/pubspec.yaml p/build/a
dub-build p/.dub p/dub.sdl p/.dub/build/ ! p/.dub/build/
renv-library p/renv/library p/renv/activate.R p/renv/library/a ! p/activate.R p/library/a
packrat-library p/packrat/lib p/packrat/packrat.lock p/packrat/lib/a ! p/packrat/lib/a
r-targets p/_targets p/_targets.R p/_targets/meta/ ! p/_targets/meta/
rstudio-state p/.Rproj.user p/x.Rproj p/.Rproj.user/a ! p/.Rproj.user/a
documenter-build p/docs/build p/docs/make.jl p/docs/build/a ! p/make.jl p/build/a
cmake-build p/cmake-build-release p/CMakeLists.txt p/cmake-build-release/CMakeCache.txt=@CMAKE:p ! p/cmake-build-release/a
clangd-index p/.cache/clangd p/.cache/clangd/index/ ! p/clangd/index/
meson-build p/builddir p/meson.build p/builddir/meson-info/meson-info.json=@MESON:p ! p/builddir/a
meson-packagecache p/subprojects/packagecache p/subprojects/x.wrap p/subprojects/packagecache/a ! p/subprojects/packagecache/a
buck-out p/buck-out p/.buckconfig p/buck-out/v2/ ! p/buck-out/v2/
pants-work p/.pants.d p/pants.toml p/.pants.d/a ! p/.pants.d/a
unity-library p/Library p/ProjectSettings/ProjectVersion.txt p/Library/ArtifactDB ! p/Library/ArtifactDB
unity-logs p/Logs p/ProjectSettings/ProjectVersion.txt p/Logs/a.log ! p/ProjectSettings/a p/Logs/a.log
unreal-intermediate p/Intermediate p/x.uproject p/Intermediate/a ! p/Intermediate/a
unreal-derived-data p/DerivedDataCache p/x.uproject p/DerivedDataCache/a ! p/DerivedDataCache/a
unreal-binaries p/Binaries p/x.uproject p/Binaries/a ! p/Binaries/a
unreal-saved p/Saved p/x.uproject p/Saved/a ! p/Saved/a
godot-cache p/.godot p/project.godot p/.godot/a ! p/.godot/a
godot-import p/.import p/project.godot p/.import/a.md5 ! p/project.godot p/.import/a
godot-mono p/.mono/temp p/project.godot p/.mono/temp/bin/ ! p/.mono/temp/bin/
android-cxx p/.cxx p/build.gradle.kts p/.cxx/Debug/ ! p/.cxx/Debug/
android-external-native p/.externalNativeBuild p/build.gradle p/.externalNativeBuild/a ! p/.externalNativeBuild/a
nitro-output p/.output p/.output/nitro.json ! p/package.json p/.output/a
nitro p/.nitro p/nuxt.config.ts p/.nitro/a ! p/.nitro/a
astro p/.astro p/astro.config.mjs p/.astro/a ! p/.astro/a
expo p/.expo p/app.json p/.expo/devices.json ! p/.expo/devices.json
vercel-output p/.vercel/output p/.vercel/output/config.json ! p/output/config.json
docusaurus p/.docusaurus p/docusaurus.config.js p/.docusaurus/a ! p/.docusaurus/a
gatsby-cache p/.cache p/gatsby-config.js p/.cache/a ! p/.cache/a
gatsby-public p/public p/gatsby-config.ts p/public/page-data/ ! p/gatsby-config.ts p/public/index.html
vitepress-cache p/.vitepress/cache p/.vitepress/config.mts p/.vitepress/cache/deps/ ! p/config.mts p/cache/deps/
vuepress-cache p/.vuepress/.temp p/.vuepress/config.js p/.vuepress/.temp/a ! p/.vuepress/.temp/a
vite-cache p/.vite p/vite.config.ts p/.vite/deps/ ! p/.vite/deps/
storybook-static p/storybook-static p/.storybook/main.js p/storybook-static/iframe.html ! p/storybook-static/iframe.html
react-router p/.react-router p/react-router.config.ts p/.react-router/types/ ! p/.react-router/types/
contentlayer p/.contentlayer p/contentlayer.config.ts p/.contentlayer/a ! p/.contentlayer/a
vinxi p/.vinxi p/app.config.ts p/.vinxi/a ! p/.vinxi/a
nyc-output p/.nyc_output p/.nyc_output/processinfo/ ! p/package.json p/.nyc_output/a.json
yarn-project-cache p/.yarn/cache p/yarn.lock p/.yarn/cache/a.zip ! p/yarn.lock p/.yarn/cache/a
yarn-unplugged p/.yarn/unplugged p/yarn.lock p/.yarn/unplugged/x/node_modules/ ! p/yarn.lock p/.yarn/unplugged/x/a
python-env p/my-env p/requirements.txt=x p/my-env/pyvenv.cfg ! p/requirements.txt=x p/my-env/a
nox p/.nox p/noxfile.py p/.nox/a ! p/.nox/a
hypothesis p/.hypothesis p/.hypothesis/examples/ ! p/.hypothesis/a
ipynb-checkpoints p/.ipynb_checkpoints p/.ipynb_checkpoints/a-checkpoint.ipynb ! p/.ipynb_checkpoints/a
egg-info p/src/x.egg-info p/setup.py p/src/x.egg-info/PKG-INFO ! p/src/x.egg-info/PKG-INFO
eggs p/.eggs p/setup.py p/.eggs/a ! p/.eggs/a
htmlcov p/htmlcov p/htmlcov/status.json ! p/htmlcov/index.html
pypackages p/__pypackages__ p/pyproject.toml p/__pypackages__/3.11/ ! p/__pypackages__/3.11/
pdm-build p/.pdm-build p/pyproject.toml p/.pdm-build/a ! p/.pdm-build/a
pytype p/.pytype p/setup.cfg p/.pytype/pyi/ ! p/.pytype/pyi/
sphinx-build p/_build p/conf.py p/_build/doctrees/ ! p/conf.py p/_build/a
mkdocs-site p/site p/mkdocs.yml p/site/sitemap.xml ! p/mkdocs.yml p/site/index.html
phpunit-cache p/.phpunit.cache p/phpunit.xml p/.phpunit.cache/a ! p/.phpunit.cache/a
symfony-cache p/var/cache p/symfony.lock p/var/cache/dev/ ! p/var/cache/dev/
terragrunt-cache p/.terragrunt-cache p/terragrunt.hcl p/.terragrunt-cache/a ! p/.terragrunt-cache/a
cdk-out p/cdk.out p/cdk.json p/cdk.out/manifest.json ! p/cdk.out/manifest.json
serverless p/.serverless p/serverless.yml p/.serverless/a ! p/.serverless/a
aws-sam p/.aws-sam p/template.yaml p/.aws-sam/build/ ! p/template.yaml p/.aws-sam/a
packer-cache p/packer_cache p/x.pkr.hcl p/packer_cache/a ! p/packer_cache/a)";

/// Rule, a finding, and what proves it there. "~" is the home folder, "V/" a folder that the variable of the same name
/// names; without the proof nothing may be found.
constexpr std::string_view systemFixtures = R"(
hex-packages ~/.hex/packages hexpm/ | rebar3-hex ~/.cache/rebar3/hex hexpm/ |
cabal-packages ~/.cabal/packages hackage.haskell.org/ | cabal-store ~/.local/state/cabal/store ghc-9.4.7/ |
stack-snapshots ~/.stack/snapshots x86_64-linux/ | ghcup-cache ~/.ghcup/cache ghcup-0.0.8.yaml |
dune-cache ~/.cache/dune db/ | opam-downloads ~/.opam/download-cache sha256/ | coursier-cache ~/.cache/coursier/v1 https/ |
ivy-cache ~/.ivy2/cache org/x/ivy-1.xml | sbt-boot ~/.sbt/boot sbt.boot.lock | clojure-gitlibs ~/.gitlibs _repos/ |
zig-global-cache ~/.cache/zig o/ | nim-cache ~/.cache/nim x_d/@mx.nim.c |
nimble-packages ~/.nimble/pkgs2 x-1/nimblemeta.json | crystal-cache ~/.cache/crystal home-x.cr/F-ile.o |
shards-cache ~/.cache/shards github.com/x/y.git/ | gleam-cache ~/.cache/gleam hex/ |
elm-packages ~/.elm/0.19.1/packages registry.dat | pub-cache ~/.pub-cache/hosted pub.dev/ |
renv-cache ~/.cache/R/renv cache/ | julia-compiled ~/.julia/compiled v1.10/ |
julia-packages ~/.julia/packages X/a1/Project.toml |
julia-artifacts ~/.julia/artifacts 0123456789012345678901234567890123456789/ |
vcpkg-archives ~/.cache/vcpkg/archives 0a/0a1.zip | conan-packages ~/.conan2/p cache.sqlite3 |
bazel-output ~/.cache/bazel _bazel_me/ | bazelisk-downloads ~/.cache/bazelisk/downloads sha256/ |
unreal-shared-derived-data ~/.config/Epic/UnrealEngine/Common/DerivedDataCache 0A/ |
android-ndk ~/Android/Sdk/ndk/26.1 source.properties |
android-system-images ~/Android/Sdk/system-images/android-34 google/x86_64/source.properties |
android-cache ~/.android/cache sdkbin-1_a | android-avd ~/.android/avd/x.avd config.ini |
deno-registries ~/.cache/deno/registries deno.land/x | yarn-berry ~/.yarn/berry/metadata npm/ |
pnpm-cache ~/.cache/pnpm metadata-v1.3/ | corepack-cache ~/.cache/node/corepack v1/ |
node-gyp-cache ~/.cache/node-gyp 20.1.0/include/node/ | electron-cache ~/.cache/electron a1/electron-v30.zip |
cypress-cache ~/.cache/Cypress 13.1.0/Cypress/ | next-swc-cache ~/.cache/next-swc a.tgz |
swc-native-cache ~/.cache/swc-native-1 a.node | pre-commit-cache ~/.cache/pre-commit db.db |
poetry-environments ~/.cache/pypoetry/virtualenvs/x pyvenv.cfg |
pipenv-environments ~/.local/share/virtualenvs/x pyvenv.cfg | virtualenv-seeds ~/.local/share/virtualenv wheel/ |
composer-cache ~/.cache/composer repo/ | cargo-git ~/.cargo/git db/ |
cargo-home-registry V/CARGO_HOME/registry index/ | cargo-target-dir V/CARGO_TARGET_DIR .rustc_info.json |
sccache ~/.cache/sccache 0/a/ | terraform-plugins ~/.terraform.d/plugin-cache registry.terraform.io/ |
helm-cache ~/.cache/helm repository/ | kubectl-cache ~/.kube/cache discovery/ |
minikube-cache ~/.minikube/cache kic/ | moved-npm-cache V/npm_config_cache/_cacache index-v5/ |
moved-yarn-cache V/XDG_CACHE_HOME/yarn v6/ | moved-bun-cache V/BUN_INSTALL_CACHE_DIR a@1@@@1/ |
moved-deno-cache V/DENO_DIR/npm registry.npmjs.org/ | moved-pip-cache V/XDG_CACHE_HOME/pip http-v2/ |
moved-uv-cache V/XDG_CACHE_HOME/uv CACHEDIR.TAG | moved-poetry-cache V/POETRY_CACHE_DIR/artifacts 0a/ |
moved-go-build-cache V/XDG_CACHE_HOME/go-build trim.txt | moved-go-mod-cache V/GOMODCACHE cache/download/ |
moved-gradle-caches V/GRADLE_USER_HOME/caches modules-2/ | moved-nuget-packages V/NUGET_PACKAGES x/1.0/x.nuspec |
moved-ccache V/CCACHE_DIR 0/stats | moved-hf-hub V/XDG_CACHE_HOME/huggingface/hub models--x/ |
moved-playwright-browsers V/PLAYWRIGHT_BROWSERS_PATH chromium-1/INSTALLATION_COMPLETE |
moved-homebrew-cache V/HOMEBREW_CACHE downloads/)";

RuleCatalog withAllPacks() {
  RuleCatalog catalog = RuleCatalog::builtIn();
  for (const RulePack& pack : RulePack::all()) catalog = catalog.withPack(pack.catalog);
  catalog.walkSkipByPlatform.clear();  // temporary folders are in it
  return catalog;
}

/// The paths that a rule finds.
Texts foundBy(const std::string& rule, const TemporaryTree& tree) {
  const RuleCatalog catalog = withAllPacks();
  Texts paths;
  for (const auto& found : Scanner::scan(requestFor(tree, catalog)).findings) {
    if (found.finding.ruleID == rule) paths.push_back(pathsOf({found}, tree).front());
  }
  return paths;
}

TEST(RulePacks, EachProjectRuleFindsItsArtefactByWhatItDemands) {
  std::set<std::string> rules;
  for (const std::string_view row : splitNonEmpty(projectFixtures, '\n')) {
    const auto split = row.find(" ! ");
    Texts match = wordsOf(row.substr(0, split));
    const std::string rule = match[0];
    const std::string path = match[1];
    match.erase(match.begin(), match.begin() + 2);
    const TemporaryTree tree;
    makeEntries(tree, match);
    EXPECT_EQ(foundBy(rule, tree), Texts{path}) << row;
    const auto verdict = ArtifactEvidence({tree.path("home"), {}}).of(tree.path(path), rule);
    EXPECT_TRUE(std::holds_alternative<std::string>(verdict)) << row;
    const TemporaryTree other;
    makeEntries(other, wordsOf(row.substr(split + 3)));
    EXPECT_EQ(foundBy(rule, other), Texts{}) << row;
    rules.insert(rule);
  }
  for (const RulePack& pack : RulePack::all()) {
    for (const auto& rule : pack.catalog.projectRules) EXPECT_TRUE(rules.contains(rule.id)) << rule.id;
  }
}

TEST(RulePacks, AFolderOfFurtherNamesIsShownWithItsOwn) {
  const TemporaryTree tree;
  makeEntries(tree, {"p/build-x/CMakeCache.txt", "p/cmake-build-debug/CMakeCache.txt"});
  const RuleCatalog catalog = withAllPacks();
  Texts labels;
  for (const auto& found : Scanner::scan(requestFor(tree, catalog)).findings) labels.push_back(found.finding.label);
  EXPECT_THAT(labels, ElementsAre("CMake build · build-x", "CMake build"));
}

/// The places that a rule finds in a home folder, with variables that name folders below "V".
Texts placesOf(const std::string& rule, const std::string& category, const TemporaryTree& tree, bool isMoved) {
  ProbeFixture fixture;
  fixture.catalog = withAllPacks();
  fixture.context.resolver = {tree.path("home"), {}};
  if (isMoved) {
    for (const char* name : {"CARGO_HOME", "CARGO_TARGET_DIR", "npm_config_cache", "XDG_CACHE_HOME", "DENO_DIR",
                             "BUN_INSTALL_CACHE_DIR", "POETRY_CACHE_DIR", "GOMODCACHE", "GRADLE_USER_HOME",
                             "NUGET_PACKAGES", "CCACHE_DIR", "PLAYWRIGHT_BROWSERS_PATH", "HOMEBREW_CACHE"}) {
      fixture.context.resolver.environment.emplace(name, tree.path(joinedPath("V", name)));
    }
  }
  Texts paths;
  for (const auto& candidate : CatalogPathProbe(category).candidates(fixture.context).taken) {
    if (candidate.rule.id == rule) paths.push_back(candidate.url);
  }
  return paths;
}

TEST(RulePacks, EachSystemRuleFindsItsPlaceByWhatItHolds) {
  std::map<std::string, std::string> categories;
  for (const RulePack& pack : RulePack::all()) {
    for (const auto& rule : pack.catalog.systemRules) {
      if (rule.holds) categories.emplace(rule.id, rule.category);
    }
  }
  std::set<std::string> rules;
  for (const std::string_view row : split(systemFixtures, '|')) {
    const Texts words = wordsOf(std::string(trimmed(row)));
    const std::string path = words[1].starts_with('~') ? "home" + words[1].substr(1) : words[1];
    const bool isMoved = path.starts_with("V/");
    const TemporaryTree tree;
    makeEntries(tree, {path + "/other"});
    EXPECT_EQ(placesOf(words[0], categories[words[0]], tree, isMoved), Texts{}) << row;
    makeEntries(tree, {joinedPath(path, words[2])});
    EXPECT_EQ(placesOf(words[0], categories[words[0]], tree, isMoved), Texts{tree.path(path)}) << row;
    rules.insert(words[0]);
  }
  for (const auto& [rule, category] : categories) EXPECT_TRUE(rules.contains(rule)) << rule;
}

}  // namespace
}  // namespace tidra
