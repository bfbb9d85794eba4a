#include "core/scan/artifact_makers.h"

#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include "core/base/text.h"
#include "core/rules/rule_packs.h"

namespace tidra {
namespace {

constexpr std::string_view environmentManifests =
    "requirements*.txt requirements*.in pyproject.toml setup.py setup.cfg Pipfile Pipfile.lock "
    "poetry.lock uv.lock pdm.lock pylock.toml pylock.*.toml environment.yml environment.yaml";

constexpr std::array makers{
    ArtifactMaker{.folder = "node_modules",
                  .marks = ".package-lock.json .modules.yaml .yarn-state.yml .yarn-integrity",
                  .manifests = "package.json",
                  .needs = "package.json"},
    ArtifactMaker{.folder = ".pnpm-store", .marks = "v*/files v*/index"},
    ArtifactMaker{.folder = ".next",
                  .marks = "BUILD_ID build-manifest.json",
                  .manifests = "package.json next.config.*",
                  .commonMarks = "cache trace package.json"},
    ArtifactMaker{.folder = ".nuxt",
                  .marks = "nuxt.d.ts nuxt.json",
                  .manifests = "nuxt.config.*",
                  .commonMarks = "dist tsconfig.json"},
    ArtifactMaker{
        .folder = ".svelte-kit", .manifests = "svelte.config.*", .commonMarks = "generated output tsconfig.json"},
    ArtifactMaker{.folder = ".turbo",
                  .marks = "turbo-*.log",
                  .manifests = "turbo.json package.json",
                  .commonMarks = "cache cookies daemon *.log"},
    ArtifactMaker{
        .folder = ".parcel-cache", .marks = "*.blob data.mdb", .manifests = "package.json", .commonMarks = "*.txt"},
    ArtifactMaker{.folder = ".angular", .manifests = "angular.json", .commonMarks = "cache"},
    ArtifactMaker{
        .folder = ".nx", .marks = "workspace-data", .manifests = "nx.json package.json", .commonMarks = "cache"},
    ArtifactMaker{.folder = "dist",
                  .marks = "CACHEDIR.TAG .vite/manifest.json *.tsbuildinfo",
                  .manifests = "package.json",
                  .commonMarks = "*.whl",
                  .markers = "pyproject.toml setup.py setup.cfg"},
    ArtifactMaker{.folder = "coverage",
                  .marks = "lcov.info clover.xml coverage-final.json coverage-summary.json lcov-report .last_run.json "
                           ".resultset.json cobertura-coverage.xml"},
    ArtifactMaker{.folder = "build",
                  .marks = "CMakeCache.txt CACHEDIR.TAG .ninja_log build.ninja meson-info tmp/compileJava "
                           "classes/java/main classes/kotlin/main bdist.* lib.*-cpython-* temp.*-cpython-*",
                  .manifests = "build.gradle build.gradle.kts package.json"},
    ArtifactMaker{.folder = "target",
                  .marks = "CACHEDIR.TAG .rustc_info.json maven-status maven-archiver surefire-reports",
                  .commonMarks = "classes test-classes scala-* streams",
                  .markers = "pom.xml build.sbt build.gradle build.gradle.kts project.clj"},
    ArtifactMaker{.folder = ".gradle",
                  .marks = "buildOutputCleanup vcs-1 file-system.probe",
                  .manifests = "build.gradle build.gradle.kts settings.gradle settings.gradle.kts gradlew",
                  .commonMarks = "checksums [0-9]*"},
    ArtifactMaker{.folder = "__pycache__", .marks = "*.pyc", .marksTravel = true},
    ArtifactMaker{.folder = ".venv", .marks = "pyvenv.cfg", .needs = environmentManifests},
    ArtifactMaker{.folder = "venv", .marks = "pyvenv.cfg", .needs = environmentManifests},
    ArtifactMaker{.folder = ".mypy_cache", .marks = "CACHEDIR.TAG [0-9].[0-9]*"},
    ArtifactMaker{.folder = ".pytest_cache", .marks = "CACHEDIR.TAG v/cache"},
    ArtifactMaker{.folder = ".ruff_cache", .marks = "CACHEDIR.TAG [0-9]*.[0-9]*.[0-9]*"},
    ArtifactMaker{.folder = ".tox",
                  .marks = ".pkg .tox-info.json CACHEDIR.TAG */pyvenv.cfg",
                  .manifests = "tox.ini pyproject.toml setup.cfg"},
    ArtifactMaker{.folder = "vendor",
                  .marks = "composer/installed.json modules.txt bundle/ruby ruby/*/specifications",
                  .needs = "go.mod go.work composer.json Gemfile",
                  .marksTravel = true},
    ArtifactMaker{.folder = "Pods", .marks = "Manifest.lock", .manifests = "Podfile"},
    ArtifactMaker{.folder = ".build",
                  .marks = "workspace-state.json build.db",
                  .manifests = "Package.swift",
                  .commonMarks = "checkouts"},
    ArtifactMaker{
        .folder = "obj", .marks = "project.assets.json *.nuget.g.props", .manifests = "*.csproj *.fsproj *.vbproj"},
    ArtifactMaker{.folder = ".terraform",
                  .marks = "modules/modules.json terraform.tfstate",
                  .manifests = "*.tf",
                  .commonMarks = "providers"},
    ArtifactMaker{.folder = ".aider.tags.cache.v3", .marks = "cache.db"},
    ArtifactMaker{.folder = ".crush", .marks = "crush.db"},
    ArtifactMaker{.folder = ".chroma", .marks = "chroma.sqlite3"},
    ArtifactMaker{.folder = "chroma_db", .marks = "chroma.sqlite3"},
    ArtifactMaker{.folder = ".lancedb", .marks = "*.lance"},
    ArtifactMaker{.folder = "worktrees", .marks = "*/.git"},
};

constexpr std::string_view environmentMark = "pyvenv.cfg";

/// A maker with the texts that it refers to.
struct PackMaker {
  std::string folder;
  std::string manifests;
  std::string marks;

  explicit PackMaker(const ProjectArtifactRule& rule) : folder(rule.folderName) {
    std::vector<std::string> files;
    for (const auto& marker : rule.markers) files.insert(files.end(), marker.files.begin(), marker.files.end());
    manifests = joined(files, " ");
    marks = joined(rule.holds.value_or(std::vector<std::string>{}), " ");
  }

  /// What lies inside is the tool's alone unless the rule demands a manifest as well.
  ArtifactMaker maker() const {
    if (!manifests.empty()) return {.folder = folder, .manifests = manifests, .commonMarks = marks};
    return {.folder = folder, .marks = marks, .needs = marks == environmentMark ? environmentManifests : ""};
  }
};

}  // namespace

const ArtifactMaker* makerOfPackRule(const std::string& ruleID) {
  struct Made {
    PackMaker texts;
    ArtifactMaker maker;
  };
  // Nodes of a map never move, so that the views stay valid.
  static const std::map<std::string, Made> known = [] {
    std::map<std::string, Made> made;
    for (const RulePack& pack : RulePack::all()) {
      for (const ProjectArtifactRule& rule : pack.catalog.projectRules) {
        auto& entry = made.try_emplace(rule.id, Made{PackMaker(rule), {}}).first->second;
        entry.maker = entry.texts.maker();
      }
    }
    return made;
  }();
  const auto found = known.find(ruleID);
  return found == known.end() ? nullptr : &found->second.maker;
}

const ArtifactMaker* makerOf(std::string_view folderName) {
  const auto known = std::find_if(makers.begin(), makers.end(),
                                  [&](const ArtifactMaker& maker) { return maker.folder == folderName; });
  return known == makers.end() ? nullptr : &*known;
}

}  // namespace tidra
