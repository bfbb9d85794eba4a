// Evidence, strongest first: files that only the tool leaves inside (the table below); git ignores the folder; the
// tool's manifest lies beside it. The weaker kinds count only without counter-evidence: a project manifest inside,
// mostly hand-written source, a location below test fixtures, or contents all older than their arrival on this disk (an
// unpacked archive). Some folders no tool can recreate, regardless of evidence.
#include "core/scan/artifact_evidence.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <deque>
#include <nlohmann/json.hpp>
#include <vector>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_filter.h"

namespace tidra {
namespace {

/// The tools that make folders of one name. `marks` lie inside and `manifests` beside, as names, paths (marks) or
/// patterns separated by blanks. If `needs` is not empty, one of them must lie beside: otherwise nothing records how to
/// recreate the folder. `marksTravel`: marks also occur in archives and repositories.
struct Maker {
  std::string_view folder;
  std::string_view marks;
  std::string_view manifests = {};
  std::string_view needs = {};
  bool marksTravel = false;
};

constexpr std::string_view environmentManifests =
    "requirements*.txt requirements*.in pyproject.toml setup.py setup.cfg Pipfile Pipfile.lock "
    "poetry.lock uv.lock pdm.lock environment.yml environment.yaml";

constexpr std::array makers{
    Maker{"node_modules", ".package-lock.json .modules.yaml .yarn-state.yml .yarn-integrity", "package.json",
          "package.json"},
    Maker{".pnpm-store", "v*/files v*/index"},
    Maker{".next", "BUILD_ID build-manifest.json cache trace package.json", "package.json next.config.*"},
    Maker{".nuxt", "nuxt.d.ts nuxt.json dist tsconfig.json", "nuxt.config.*"},
    Maker{".svelte-kit", "generated output tsconfig.json", "svelte.config.*"},
    Maker{".turbo", "cache cookies daemon turbo-*.log *.log", "turbo.json package.json"},
    Maker{".parcel-cache", "*.blob data.mdb *.txt", "package.json"},
    Maker{".angular", "cache", "angular.json"},
    Maker{".nx", "cache workspace-data", "nx.json package.json"},
    Maker{"dist", "CACHEDIR.TAG .vite/manifest.json *.tsbuildinfo *.whl", "package.json"},
    Maker{"coverage",
          "lcov.info clover.xml coverage-final.json coverage-summary.json lcov-report .last_run.json "
          ".resultset.json cobertura-coverage.xml"},
    Maker{"build",
          "CMakeCache.txt CACHEDIR.TAG .ninja_log build.ninja meson-info tmp/compileJava classes/java/main "
          "classes/kotlin/main bdist.* lib.*-cpython-* temp.*-cpython-*",
          "build.gradle build.gradle.kts package.json"},
    Maker{"target",
          "CACHEDIR.TAG .rustc_info.json classes test-classes maven-status maven-archiver surefire-reports "
          "scala-* streams"},
    Maker{".gradle", "buildOutputCleanup vcs-1 file-system.probe checksums [0-9]*",
          "build.gradle build.gradle.kts settings.gradle settings.gradle.kts gradlew"},
    Maker{"__pycache__", "*.pyc", {}, {}, true},
    Maker{".venv", "pyvenv.cfg", {}, environmentManifests},
    Maker{"venv", "pyvenv.cfg", {}, environmentManifests},
    Maker{".mypy_cache", "CACHEDIR.TAG [0-9].[0-9]*"},
    Maker{".pytest_cache", "CACHEDIR.TAG v/cache"},
    Maker{".ruff_cache", "CACHEDIR.TAG [0-9]*.[0-9]*.[0-9]*"},
    Maker{".tox", ".pkg .tox-info.json CACHEDIR.TAG */pyvenv.cfg", "tox.ini pyproject.toml setup.cfg"},
    Maker{"vendor",
          "composer/installed.json modules.txt bundle/ruby ruby/*/specifications",
          {},
          "go.mod go.work composer.json Gemfile",
          true},
    Maker{"Pods", "Manifest.lock", "Podfile"},
    Maker{".build", "workspace-state.json build.db checkouts", "Package.swift"},
    Maker{"obj", "project.assets.json *.nuget.g.props", "*.csproj *.fsproj *.vbproj"},
    Maker{".terraform", "providers modules/modules.json terraform.tfstate", "*.tf"},
    Maker{".aider.tags.cache.v3", "cache.db"},
    Maker{".crush", "crush.db"},
    Maker{".chroma", "chroma.sqlite3"},
    Maker{"chroma_db", "chroma.sqlite3"},
    Maker{".lancedb", "*.lance"},
    Maker{"worktrees", "*/.git"},
};

/// Suffixes of hand-written source that no build puts into its output.
constexpr std::string_view sourceSuffixes =
    ".ts .tsx .jsx .go .c .cc .cpp .cxx .h .hpp .m .mm .py .pyx .rb .rs .java .kt .scala .swift .cs .php .pl .pm .sh "
    ".vim "
    ".el .lua .ml .hs .erl .ex .exs .f90 .pas .sql .proto .am .in .ac .m4 .cmake .rst .po .pod .tcl .erb .y .l .g4 .md";

/// Folders whose projects are only examples for tests.
constexpr std::array fixtureFolders{
    std::string_view{"fixtures"},  std::string_view{"__fixtures__"},  std::string_view{"fixture"},
    std::string_view{"testdata"},  std::string_view{"test-data"},     std::string_view{"__tests__"},
    std::string_view{"__mocks__"}, std::string_view{"__snapshots__"},
};

/// Test folders only inside a project; people also name folders for experiments like this.
constexpr std::array testFolders{std::string_view{"test"}, std::string_view{"tests"}, std::string_view{"spec"},
                                 std::string_view{"testing"}};

constexpr std::string_view projectManifests =
    "package.json go.mod Cargo.toml pom.xml setup.py pyproject.toml build.xml Makefile Makefile.am CMakeLists.txt "
    "meson.build "
    "composer.json Gemfile *.gemspec *.csproj BUILD BUILD.bazel configure.ac";

/// Deployed programs, whose packages no build in that folder recreates.
constexpr std::array deployableFolders{std::string_view{".output"}, std::string_view{".amplify-hosting"},
                                       std::string_view{".vercel"}, std::string_view{".netlify"}};

struct Entry {
  std::string name;
  EntryType type = EntryType::other;
};

/// In larger folders, the first entries in directory order.
constexpr std::size_t mostEntries = 4096;

std::vector<Entry> listing(const std::string& folder) {
  std::vector<Entry> entries;
  const auto opened = openDirectory(folder);
  if (!opened) return entries;
  DirectoryReader reader;
  reader.start(opened->get());
  for (DirectoryEntry entry; entries.size() < mostEntries && reader.next(entry);) {
    entries.push_back({std::string(entry.name), entry.type});
  }
  return entries;
}

/// As listing(), without what strangers put into a world-writable folder: they must not decide what is removed.
std::vector<Entry> ownListing(const std::string& folder) {
  auto entries = listing(folder);
  constexpr std::uint32_t everybodyMayWrite = 0002;
  const auto facts = followedFacts(folder);
  if (!facts || (facts->permissions & everybodyMayWrite) == 0) return entries;
  std::erase_if(entries, [&](const Entry& entry) {
    const auto its = pathFacts(joinedPath(folder, entry.name));
    return its && isPlanted(*its, *facts);
  });
  return entries;
}

/// Returns the first existing path that matches a pattern of path components; empty if none does.
std::string firstMatch(const std::string& folder, const std::vector<Entry>& entries, std::string_view pattern) {
  const auto slash = pattern.find('/');
  const std::string first(pattern.substr(0, slash));
  for (const Entry& entry : entries) {
    if (isGlob(first) ? !globMatches(first, entry.name.c_str()) : entry.name != first) continue;
    if (slash == std::string_view::npos) return entry.name;
    const std::string below = joinedPath(folder, entry.name);
    const auto rest = pattern.substr(slash + 1);
    if (!isGlob(rest)) {
      if (pathFacts(joinedPath(below, rest))) return joinedPath(entry.name, rest);
    } else if (const auto found = firstMatch(below, listing(below), rest); !found.empty()) {
      return joinedPath(entry.name, found);
    }
  }
  return {};
}

/// As firstMatch(), for the first pattern that matches.
std::string firstOf(const std::string& folder, const std::vector<Entry>& entries, std::string_view patterns) {
  for (const std::string_view pattern : splitNonEmpty(patterns, ' ')) {
    if (auto found = firstMatch(folder, entries, pattern); !found.empty()) return found;
  }
  return {};
}

/// A sample of the files and folders below a folder, breadth first.
struct Sample {
  std::size_t files = 0;
  std::size_t sources = 0;
  TimePoint newest = TimePoint::min();

  static Sample of(const std::string& folder);
};

bool isSource(std::string_view name) {
  const auto dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || name.ends_with(".d.ts")) return false;
  const auto suffixes = splitNonEmpty(sourceSuffixes, ' ');
  return std::find(suffixes.begin(), suffixes.end(), name.substr(dot)) != suffixes.end();
}

Sample Sample::of(const std::string& folder) {
  constexpr std::size_t mostFiles = 96;
  constexpr std::size_t mostFolders = 24;
  Sample sample;
  std::deque<std::string> waiting{folder};
  for (std::size_t folders = 0; !waiting.empty() && folders < mostFolders && sample.files < mostFiles; ++folders) {
    const std::string current = std::move(waiting.front());
    waiting.pop_front();
    // Skips the folder itself: archives are unpacked into new folders, which are newer than the contents.
    if (const auto facts = pathFacts(current); facts && current != folder) {
      sample.newest = std::max(sample.newest, facts->modified);
    }
    const auto opened = openDirectory(current);
    if (!opened) continue;
    DirectoryReader reader;
    reader.start(opened->get());
    for (DirectoryEntry entry; sample.files < mostFiles && reader.next(entry);) {
      if (entry.type == EntryType::directory && waiting.size() < mostFolders) {
        waiting.push_back(joinedPath(current, entry.name));
      }
      if (entry.type != EntryType::regularFile) continue;
      ++sample.files;
      if (isSource(entry.name)) ++sample.sources;
      const auto facts = entryFacts(opened->get(), entry.name.data());
      if (facts) sample.newest = std::max(sample.newest, facts->modified);
    }
  }
  return sample;
}

/// Returns the earliest ctime of the files in a folder, or in the nearest ancestor that has files. Unlike mtime it is
/// set by the kernel, so archives and copies cannot preserve it. Absent without files.
std::optional<TimePoint> arrivalOf(std::string folder) {
  constexpr std::size_t mostFiles = 64;
  constexpr int mostLevels = 8;
  std::optional<TimePoint> earliest;
  for (int level = 0; level < mostLevels && !earliest && folder != "/"; ++level, folder = parentPath(folder)) {
    std::size_t asked = 0;
    for (const Entry& entry : listing(folder)) {
      if (entry.type != EntryType::regularFile || asked++ >= mostFiles) continue;
      const auto facts = pathFacts(joinedPath(folder, entry.name));
      if (facts && (!earliest || facts->changed < *earliest)) earliest = facts->changed;
    }
  }
  return earliest;
}

bool isIn(const auto& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool hasComponent(std::string_view path, const auto& names) {
  const auto components = splitNonEmpty(path, '/');
  return std::any_of(components.begin(), components.end(), [&](auto component) { return isIn(names, component); });
}

bool isBelowTests(const std::string& folder) {
  if (hasComponent(folder, fixtureFolders)) return true;
  constexpr std::array sourceTrees{"/src/main/", "/src/test/", "/src/it/"};
  const auto isInTree = [&](const char* tree) { return (folder + "/").find(tree) != std::string::npos; };
  if (std::any_of(sourceTrees.begin(), sourceTrees.end(), isInTree)) return true;
  std::string place = folder;
  constexpr int mostLevels = 16;
  for (int level = 0; level < mostLevels && place != "/"; ++level) {
    std::string above = parentPath(place);
    if (isIn(testFolders, lastPathComponent(place)) && !firstOf(above, listing(above), projectManifests).empty()) {
      return true;
    }
    place = std::move(above);
  }
  return false;
}

/// Whether a Python environment contains only pip, setuptools and wheel.
bool holdsNothingButItsInstaller(const std::string& environment) {
  constexpr std::array bundled{std::string_view{"pip"}, std::string_view{"setuptools"}, std::string_view{"wheel"}};
  const std::string packages = firstMatch(environment, listing(environment), "lib/*/site-packages");
  if (packages.empty()) return false;
  for (const Entry& entry : listing(joinedPath(environment, packages))) {
    if (!entry.name.ends_with(".dist-info") && !entry.name.ends_with(".egg-info")) continue;
    if (!isIn(bundled, std::string_view(entry.name).substr(0, entry.name.find('-')))) return false;
  }
  return true;
}

/// Whether a file of a Python project lists an environment's packages, not just formatter settings.
bool listsPackages(const std::string& project, const std::string& name) {
  constexpr std::size_t largest = 1_MiB;
  const auto text = readRegularFile(joinedPath(project, name), largest);
  if (!text) return text.failure() == std::errc::file_too_large;
  const auto holdsAny = [&](std::initializer_list<const char*> words) {
    return std::any_of(words.begin(), words.end(), [&](auto word) { return text->find(word) != std::string::npos; });
  };
  if (name == "pyproject.toml") return holdsAny({"dependencies", "[project]", "[dependency-groups]"});
  if (name == "setup.cfg") return holdsAny({"install_requires", "[metadata]"});
  if (name == "setup.py") return holdsAny({"setup("});
  const auto lines = splitNonEmpty(*text, '\n');
  return std::any_of(lines.begin(), lines.end(), [](std::string_view line) {
    const auto said = trimmed(line);
    return !said.empty() && !said.starts_with('#');
  });
}

/// Contents of a "package.json". If unreadable, it counts as listing packages and having no scripts.
class PackageManifest {
 public:
  explicit PackageManifest(const std::string& project) {
    constexpr std::size_t largest = 1_MiB;
    const auto text = readRegularFile(joinedPath(project, "package.json"), largest);
    const auto json = text ? nlohmann::json::parse(*text, nullptr, false) : nlohmann::json();
    if (!json.is_object()) return;
    namesPackages_ = false;
    for (const auto& [key, value] : json.items()) {
      namesPackages_ = namesPackages_ || key == "workspaces" || (key.ends_with("ependencies") && !value.empty());
    }
    if (!json.contains("scripts") || !json["scripts"].is_object()) return;
    for (const auto& [name, command] : json["scripts"].items()) {
      if (command.is_string()) scripts_.emplace_back(name, command.get<std::string>());
    }
  }

  /// Whether an installer would install anything.
  bool namesPackages() const { return namesPackages_; }

  /// Whether a build script exists and none runs a file out of the folder, as "node build/build.js" does. Folders whose
  /// names only tools use need no script.
  bool mayMake(std::string_view folder) const {
    if (folder != "dist" && folder != "build") return true;
    constexpr std::array builders{std::string_view{"build"},  std::string_view{"dist"},  std::string_view{"compile"},
                                  std::string_view{"bundle"}, std::string_view{"prepa"}, std::string_view{"prepu"}};
    bool builds = false;
    for (const auto& [name, command] : scripts_) {
      const auto isIn = [&script = name](std::string_view word) { return script.find(word) != std::string::npos; };
      if (std::none_of(builders.begin(), builders.end(), isIn)) continue;
      if (command.find(fmt::format("{}/", folder)) != std::string::npos) return false;
      builds = true;
    }
    return builds;
  }

 private:
  bool namesPackages_ = true;
  std::vector<std::pair<std::string, std::string>> scripts_;
};

/// One finding under assessment. Caches what several checks need; reads it lazily.
class Case {
 public:
  Case(const ScanArtifactFinding& finding, IgnoreFinder& ignored)
      : path_(finding.path), project_(parentPath(finding.path)), ignored_(ignored) {
    const auto name = lastPathComponent(path_);
    const auto known =
        std::find_if(makers.begin(), makers.end(), [&](const Maker& maker) { return maker.folder == name; });
    if (known != makers.end()) maker_ = &*known;
  }

  std::optional<std::string> evidence() {
    // Only a rule of the user names other folders; they know what these are.
    if (maker_ == nullptr) return "named by a rule of your own";
    inside_ = listing(path_);
    beside_ = ownListing(project_);
    if (isBeyondRemaking()) return std::nullopt;
    const std::string mark = firstOf(path_, ownListing(path_), maker_->marks);
    const bool mayHaveTravelled = !mark.empty() && (maker_->marksTravel || isBelowTests(project_));
    if (!mark.empty() && !(mayHaveTravelled && isUnpacked())) return fmt::format("holds {}", mark);
    const auto ignored = ignored_.of(path_);
    const bool isCommonName = !maker_->folder.starts_with('.') && maker_->folder != "node_modules";
    if (ignored.isNamed && ignored.isInRepository && !(isCommonName && speaksAgainst())) return "ignored by git";
    // Neither ignored nor tracked by git: new work. Other version control systems are not consulted.
    if (ignored.isVersioned || (ignored.isInRepository && !ignored.isIgnored)) return std::nullopt;
    if (isUnpacked() || speaksAgainst()) return std::nullopt;
    if (ignored.isNamed) return "ignored by a .gitignore above it";
    const std::string manifest = firstOf(project_, beside_, maker_->manifests);
    if (manifest.empty() || (manifest == "package.json" && !PackageManifest(project_).mayMake(maker_->folder))) {
      return std::nullopt;
    }
    return fmt::format("beside {}", manifest);
  }

 private:
  /// Whether nothing nearby records what was in the folder, or its contents cannot be downloaded again.
  bool isBeyondRemaking() const {
    if (!maker_->needs.empty() && !holdsWhatItNeeds()) return true;
    if (hasComponent(project_, deployableFolders) || project_.find("/.next/standalone") != std::string::npos)
      return true;
    if (maker_->folder != "vendor") return false;
    if (!firstOf(path_, inside_, "*.gem cache/*.gem").empty()) return true;
    // Rails projects also keep third-party scripts in "vendor", beside what Bundler installs.
    const bool isBundlers = !firstOf(path_, inside_, "bundle/ruby").empty();
    return isBundlers &&
           std::any_of(inside_.begin(), inside_.end(), [](const auto& it) { return it.name != "bundle"; });
  }

  /// Whether a lock file lies beside, or in an ancestor for a workspace member.
  bool isLocked() const {
    constexpr std::string_view locks = "pnpm-workspace.yaml *-lock.* yarn.lock bun.lock* npm-shrinkwrap.json";
    constexpr int mostLevels = 4;
    std::string folder = project_;
    for (int level = 0; level < mostLevels && folder != "/"; ++level, folder = parentPath(folder)) {
      if (!firstOf(folder, ownListing(folder), locks).empty()) return true;
    }
    return false;
  }

  bool holdsWhatItNeeds() const {
    if (maker_->needs == "package.json" && !PackageManifest(project_).namesPackages() && !isLocked()) return false;
    if (maker_->marks == "pyvenv.cfg" && holdsNothingButItsInstaller(path_)) return true;
    const auto patterns = splitNonEmpty(maker_->needs, ' ');
    return std::any_of(beside_.begin(), beside_.end(), [&](const Entry& entry) {
      const auto matches = [&](std::string_view pattern) {
        return globMatches(std::string(pattern), entry.name.c_str());
      };
      if (std::none_of(patterns.begin(), patterns.end(), matches)) return false;
      return maker_->marks != "pyvenv.cfg" || listsPackages(project_, entry.name);
    });
  }

  bool isUnpacked() {
    if (!isUnpacked_) {
      const auto arrival = arrivalOf(project_);
      isUnpacked_ = arrival && sample().newest < *arrival;
    }
    return *isUnpacked_;
  }

  bool speaksAgainst() {
    return !firstOf(path_, inside_, projectManifests).empty() || sample().sources * 2 > sample().files ||
           isBelowTests(project_);
  }

  const Sample& sample() {
    if (!sample_) sample_ = Sample::of(path_);
    return *sample_;
  }

  const std::string& path_;
  std::string project_;
  IgnoreFinder& ignored_;
  const Maker* maker_ = nullptr;
  std::vector<Entry> inside_;
  std::vector<Entry> beside_;
  std::optional<Sample> sample_;
  std::optional<bool> isUnpacked_;
};

}  // namespace

std::optional<std::string> ArtifactEvidence::of(const ScanArtifactFinding& finding) {
  return Case(finding, ignored_).evidence();
}

}  // namespace tidra
