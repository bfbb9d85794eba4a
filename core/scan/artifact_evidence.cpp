// Evidence, strongest first: files that only the tool leaves inside; git ignores the folder; the tool's manifest lies
// beside it. The weaker kinds count only without counter-evidence: a project manifest inside, mostly hand-written
// source, documents, keys and data bases, a location below test fixtures, or contents all older than their arrival on
// this disk (an unpacked archive). Some folders no tool can recreate, and some are projects themselves, regardless of
// evidence.
#include "core/scan/artifact_evidence.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <vector>

#include "core/base/text.h"
#include "core/platform/path_text.h"
#include "core/scan/artifact_makers.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/folder_contents.h"
#include "core/scan/folder_sample.h"
#include "core/scan/package_manifest.h"
#include "core/scan/python_environment.h"

namespace tidra {
namespace {

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
    "meson.build composer.json Gemfile *.gemspec *.csproj BUILD BUILD.bazel configure.ac";

/// Those that no generator writes into a build folder.
constexpr std::string_view handWrittenManifests =
    "package.json go.mod Cargo.toml pom.xml setup.py pyproject.toml build.xml CMakeLists.txt meson.build composer.json "
    "Gemfile *.gemspec *.csproj configure.ac build.gradle build.gradle.kts build.sbt Package.swift";

/// What people put into an environment's folder, where no tool writes such files.
constexpr std::string_view environmentSources = "*.py *.ipynb requirements*.txt Pipfile environment.yml";

/// The folders at the top of an environment whose Python files installers write.
constexpr std::array environmentFolders{
    std::string_view{"bin"},     std::string_view{"lib"},   std::string_view{"lib64"},
    std::string_view{"include"}, std::string_view{"share"}, std::string_view{"etc"},
    std::string_view{"man"},     std::string_view{"Lib"},   std::string_view{"Scripts"}};

/// Folders whose names people also use for their own documents.
constexpr std::array ordinaryNames{std::string_view{"build"}, std::string_view{"dist"}, std::string_view{"vendor"},
                                   std::string_view{"coverage"}, std::string_view{"target"}};

/// Deployed programs, whose packages no build in that folder recreates.
constexpr std::array deployableFolders{std::string_view{".output"}, std::string_view{".amplify-hosting"},
                                       std::string_view{".vercel"}, std::string_view{".netlify"}};

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

/// One finding under assessment. Caches what several checks need; reads it lazily.
class Case {
 public:
  Case(const ScanArtifactFinding& finding, IgnoreFinder& ignored)
      : path_(finding.path),
        project_(parentPath(finding.path)),
        ignored_(ignored),
        maker_(makerOf(lastPathComponent(finding.path))) {}

  std::optional<std::string> evidence() {
    // Only a rule of the user names other folders; they know what these are.
    if (maker_ == nullptr) return "named by a rule of your own";
    inside_ = listing(path_);
    beside_ = listing(project_);
    const auto facts = pathFacts(path_);
    if (!facts) return std::nullopt;
    owner_ = facts->owner;
    if (isBeyondRemaking() || isProject()) return std::nullopt;
    const std::string mark = firstOf(path_, inside_, maker_->marks, owner_);
    const bool mayHaveTravelled = !mark.empty() && (maker_->marksTravel || isBelowTests(project_));
    if (!mark.empty() && !(mayHaveTravelled && isUnpacked())) return fmt::format("holds {}", mark);
    const auto ignored = ignored_.of(path_);
    if (ignored.isNamed && ignored.isInRepository && !(isCommonName() && speaksAgainst())) return "ignored by git";
    // Neither ignored nor tracked by git: new work. Other version control systems are not consulted.
    const bool isNew = ignored.isInRepository && !ignored.isIgnored && !holdsOnlyIgnored();
    if (ignored.isVersioned || isNew) return std::nullopt;
    if (isUnpacked()) return std::nullopt;
    if (const auto common = commonMark(); !common.empty()) return fmt::format("holds {}", common);
    if (speaksAgainst()) return std::nullopt;
    if (ignored.isNamed) return "ignored by a .gitignore above it";
    const std::string manifest = firstOf(project_, beside_, maker_->manifests, owner_);
    if (manifest.empty() ||
        (manifest == "package.json" && !PackageManifest(project_).mayMake(maker_->folder, beside_))) {
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

  bool isCommonName() const { return !maker_->folder.starts_with('.') && maker_->folder != "node_modules"; }
  bool isEnvironment() const { return maker_->marks == "pyvenv.cfg"; }

  /// Whether the folder is a project that its tools wrote into, as with "cmake ." in "build".
  bool isProject() const {
    if (isEnvironment()) return holdsSources(path_, inside_) || holdsForeignSources();
    return isCommonName() && !firstOf(path_, inside_, handWrittenManifests).empty();
  }

  static bool holdsSources(const std::string& folder, const std::vector<FolderEntry>& entries) {
    return !firstOf(folder, entries, environmentSources).empty() ||
           !firstOf(folder, entries, handWrittenManifests).empty();
  }

  /// Whether a folder that installers do not make lies in the environment and holds sources.
  bool holdsForeignSources() const {
    return std::any_of(inside_.begin(), inside_.end(), [&](const FolderEntry& entry) {
      if (entry.type != EntryType::directory || isIn(environmentFolders, entry.name)) return false;
      const std::string folder = joinedPath(path_, entry.name);
      return holdsSources(folder, listing(folder));
    });
  }

  /// Whether git ignores each folder inside, and nothing else lies there: "/.angular/cache" is how starters name it.
  bool holdsOnlyIgnored() {
    constexpr std::size_t most = 16;
    return inside_.size() <= most && std::all_of(inside_.begin(), inside_.end(), [&](const FolderEntry& entry) {
             return entry.type == EntryType::directory && ignored_.of(joinedPath(path_, entry.name)).isIgnored;
           });
  }

  /// Returns a name inside that people use too, where the tool's manifest lies beside the folder; empty without one.
  std::string commonMark() {
    const auto markers = maker_->markers.empty() ? maker_->manifests : maker_->markers;
    if (maker_->commonMarks.empty() || firstOf(project_, beside_, markers, owner_).empty()) return {};
    const auto isKept = [](const FolderEntry& entry) {
      return entry.type == EntryType::regularFile && isKeepsake(entry.name);
    };
    if (isCommonName() && (looksHandWritten() || std::any_of(inside_.begin(), inside_.end(), isKept))) return {};
    return firstOf(path_, inside_, maker_->commonMarks, owner_);
  }

  /// Whether a lock file that names packages lies beside, or at the root of a workspace around the project.
  bool isLocked() const {
    constexpr int mostLevels = 4;
    std::string folder = project_;
    for (int level = 0; level < mostLevels && folder != "/"; ++level, folder = parentPath(folder)) {
      if ((level == 0 || isWorkspaceRoot(folder, owner_)) && holdsPackageLock(folder, owner_)) return true;
    }
    return false;
  }

  bool holdsWhatItNeeds() const {
    if (maker_->needs == "package.json") {
      if (firstOf(project_, beside_, "package.json", owner_).empty()) return false;
      const PackageManifest manifest(project_);
      if (manifest.lacksPackage() || !(manifest.namesPackages() || isLocked())) return false;
    }
    if (isEnvironment() && holdsNothingButItsInstaller(path_)) return true;
    const auto patterns = splitNonEmpty(maker_->needs, ' ');
    return std::any_of(beside_.begin(), beside_.end(), [&](const FolderEntry& entry) {
      const auto matches = [&](std::string_view pattern) {
        return globMatches(std::string(pattern), entry.name.c_str());
      };
      if (std::none_of(patterns.begin(), patterns.end(), matches)) return false;
      if (!vouchesFor(owner_, joinedPath(project_, entry.name))) return false;
      return !isEnvironment() || listsPackages(project_, entry.name);
    });
  }

  bool isUnpacked() {
    if (!isUnpacked_) {
      const auto arrival = arrivalOf(project_);
      isUnpacked_ = arrival && sample().newest < *arrival;
    }
    return *isUnpacked_;
  }

  bool looksHandWritten() {
    return !firstOf(path_, inside_, projectManifests).empty() || sample().sources * 2 > sample().files ||
           isBelowTests(project_);
  }

  bool speaksAgainst() { return looksHandWritten() || (isIn(ordinaryNames, maker_->folder) && sample().keepsakes > 0); }

  const FolderSample& sample() {
    if (!sample_) sample_ = FolderSample::of(path_);
    return *sample_;
  }

  const std::string& path_;
  std::string project_;
  IgnoreFinder& ignored_;
  const ArtifactMaker* maker_;
  std::uint32_t owner_ = 0;  // of the folder
  std::vector<FolderEntry> inside_;
  std::vector<FolderEntry> beside_;
  std::optional<FolderSample> sample_;
  std::optional<bool> isUnpacked_;
};

}  // namespace

std::optional<std::string> ArtifactEvidence::of(const ScanArtifactFinding& finding) {
  return Case(finding, ignored_).evidence();
}

}  // namespace tidra
