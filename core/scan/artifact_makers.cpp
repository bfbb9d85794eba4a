#include "core/scan/artifact_makers.h"

#include <algorithm>
#include <array>

namespace tidra {
namespace {

constexpr std::string_view environmentManifests =
    "requirements*.txt requirements*.in pyproject.toml setup.py setup.cfg Pipfile Pipfile.lock "
    "poetry.lock uv.lock pdm.lock environment.yml environment.yaml";

constexpr std::array makers{
    ArtifactMaker{"node_modules", ".package-lock.json .modules.yaml .yarn-state.yml .yarn-integrity", "package.json",
                  "package.json"},
    ArtifactMaker{".pnpm-store", "v*/files v*/index"},
    ArtifactMaker{".next", "BUILD_ID build-manifest.json cache trace package.json", "package.json next.config.*"},
    ArtifactMaker{".nuxt", "nuxt.d.ts nuxt.json dist tsconfig.json", "nuxt.config.*"},
    ArtifactMaker{".svelte-kit", "generated output tsconfig.json", "svelte.config.*"},
    ArtifactMaker{".turbo", "cache cookies daemon turbo-*.log *.log", "turbo.json package.json"},
    ArtifactMaker{".parcel-cache", "*.blob data.mdb *.txt", "package.json"},
    ArtifactMaker{".angular", "cache", "angular.json"},
    ArtifactMaker{".nx", "cache workspace-data", "nx.json package.json"},
    ArtifactMaker{"dist", "CACHEDIR.TAG .vite/manifest.json *.tsbuildinfo *.whl", "package.json"},
    ArtifactMaker{"coverage",
                  "lcov.info clover.xml coverage-final.json coverage-summary.json lcov-report .last_run.json "
                  ".resultset.json cobertura-coverage.xml"},
    ArtifactMaker{"build",
                  "CMakeCache.txt CACHEDIR.TAG .ninja_log build.ninja meson-info tmp/compileJava classes/java/main "
                  "classes/kotlin/main bdist.* lib.*-cpython-* temp.*-cpython-*",
                  "build.gradle build.gradle.kts package.json"},
    ArtifactMaker{"target",
                  "CACHEDIR.TAG .rustc_info.json classes test-classes maven-status maven-archiver surefire-reports "
                  "scala-* streams"},
    ArtifactMaker{".gradle", "buildOutputCleanup vcs-1 file-system.probe checksums [0-9]*",
                  "build.gradle build.gradle.kts settings.gradle settings.gradle.kts gradlew"},
    ArtifactMaker{"__pycache__", "*.pyc", {}, {}, true},
    ArtifactMaker{".venv", "pyvenv.cfg", {}, environmentManifests},
    ArtifactMaker{"venv", "pyvenv.cfg", {}, environmentManifests},
    ArtifactMaker{".mypy_cache", "CACHEDIR.TAG [0-9].[0-9]*"},
    ArtifactMaker{".pytest_cache", "CACHEDIR.TAG v/cache"},
    ArtifactMaker{".ruff_cache", "CACHEDIR.TAG [0-9]*.[0-9]*.[0-9]*"},
    ArtifactMaker{".tox", ".pkg .tox-info.json CACHEDIR.TAG */pyvenv.cfg", "tox.ini pyproject.toml setup.cfg"},
    ArtifactMaker{"vendor",
                  "composer/installed.json modules.txt bundle/ruby ruby/*/specifications",
                  {},
                  "go.mod go.work composer.json Gemfile",
                  true},
    ArtifactMaker{"Pods", "Manifest.lock", "Podfile"},
    ArtifactMaker{".build", "workspace-state.json build.db checkouts", "Package.swift"},
    ArtifactMaker{"obj", "project.assets.json *.nuget.g.props", "*.csproj *.fsproj *.vbproj"},
    ArtifactMaker{".terraform", "providers modules/modules.json terraform.tfstate", "*.tf"},
    ArtifactMaker{".aider.tags.cache.v3", "cache.db"},
    ArtifactMaker{".crush", "crush.db"},
    ArtifactMaker{".chroma", "chroma.sqlite3"},
    ArtifactMaker{"chroma_db", "chroma.sqlite3"},
    ArtifactMaker{".lancedb", "*.lance"},
    ArtifactMaker{"worktrees", "*/.git"},
};

}  // namespace

const ArtifactMaker* makerOf(std::string_view folderName) {
  const auto known = std::find_if(makers.begin(), makers.end(),
                                  [&](const ArtifactMaker& maker) { return maker.folder == folderName; });
  return known == makers.end() ? nullptr : &*known;
}

}  // namespace tidra
