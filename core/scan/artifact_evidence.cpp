// Evidence, strongest first: files that only the tool leaves inside, without hand-written source beside them; git
// ignores the folder; the tool's manifest lies beside it. Where others could have given the folder its name, only the
// first counts. The weaker kinds count only without counter-evidence: a project manifest inside, mostly hand-written
// source, documents, keys and data bases, a location below test fixtures, or contents all older than their arrival on
// this disk (an unpacked archive). Some folders no tool can recreate, and some are projects themselves, regardless of
// evidence.
#include "core/scan/artifact_evidence.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>

#include "core/base/text.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"
#include "core/scan/build_output.h"
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

/// All that creating an environment and installing into it puts at its top. "src" holds the clones of "pip install -e".
constexpr std::string_view environmentEntries =
    "bin lib lib64 lib32 libexec sbin include share etc var man doc Lib Scripts Include local pyvenv.cfg .gitignore "
    ".lock CACHEDIR.TAG pip-selfcheck.json .tox-info.json .project .Python .DS_Store __pycache__";

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

using Reason = EvidenceGap::Reason;

/// One artefact under assessment. Caches what several checks need; reads it lazily.
class Case {
 public:
  Case(const std::string& path, const std::string& ruleID, const TidraPathResolver& resolver, IgnoreFinder& ignored)
      : path_(path),
        project_(parentPath(path)),
        resolver_(resolver),
        ignored_(ignored),
        maker_(makerOfPackRule(ruleID)) {
    if (maker_ == nullptr) maker_ = makerOf(lastPathComponent(path));
  }

  EvidenceVerdict verdict() {
    // Only a rule of the user names other folders; they know what these are.
    if (maker_ == nullptr) return "named by a rule of your own";
    inside_ = listing(path_);
    beside_ = listing(project_);
    const auto facts = pathFacts(path_);
    if (!facts) return EvidenceGap{};
    owner_ = facts->owner;
    output_.emplace(*maker_, path_, inside_, owner_);
    if (auto gap = whyBeyondRemaking()) return *gap;
    if (auto gap = whyProject()) return *gap;
    const std::string mark = output_->mark();
    const bool mayHaveTravelled = !mark.empty() && (maker_->marksTravel || isBelowTests(project_));
    atTop_ = output_->handMadeAtTop();
    if (!mark.empty() && !atTop_ && !(mayHaveTravelled && isUnpacked())) return fmt::format("holds {}", mark);
    if (isNameGivenByOthers(*facts)) return EvidenceGap{Reason::sharedFolder};
    return verdictWithoutMark();
  }

 private:
  /// The weaker kinds of evidence.
  EvidenceVerdict verdictWithoutMark() {
    const auto ignored = ignored_.of(path_);
    if (ignored.isNamed && ignored.isInRepository && !(isCommonName(*maker_) && objection())) return "ignored by git";
    if (ignored.isVersioned) return EvidenceGap{Reason::unaskedRepository};
    // Neither ignored nor tracked by git: new work. Other version control systems are not consulted.
    const bool isNew = ignored.isInRepository && !ignored.isIgnored && !holdsOnlyIgnored();
    if (isNew) return EvidenceGap{ignored.isUncertain ? Reason::unreadIgnoreFile : Reason::newInGit};
    if (atTop_) return *atTop_;
    if (isUnpacked()) return EvidenceGap{Reason::archive};
    if (const auto common = commonMark(); !common.empty()) return fmt::format("holds {}", common);
    if (auto gap = objection()) return *gap;
    if (ignored.isNamed) return "ignored by a .gitignore above it";
    const std::string manifest = firstOf(project_, beside_, maker_->manifests, owner_);
    if (manifest.empty()) return whyUnvouched(maker_->manifests, Reason::noSign);
    if (manifest == "package.json" && !PackageManifest(project_).mayMake(maker_->folder, beside_)) {
      return EvidenceGap{Reason::noScript};
    }
    return fmt::format("beside {}", manifest);
  }

  /// Whether nothing nearby records what was in the folder, or its contents cannot be downloaded again.
  std::optional<EvidenceGap> whyBeyondRemaking() const {
    if (!maker_->needs.empty()) {
      if (auto gap = maker_->needs == "package.json" ? whyUninstallable() : whyUnnamed()) return gap;
    }
    if (isPartOfProgram()) return EvidenceGap{Reason::finishedProgram};
    for (const BuildRecord& tree : output_->trees()) {
      if (!tree.hasSourceOutside(path_)) return EvidenceGap{Reason::goneSource, resolver_.displayPath(tree.source)};
    }
    if (maker_->folder != "vendor") return std::nullopt;
    if (auto gem = firstOf(path_, inside_, "*.gem cache/*.gem"); !gem.empty())
      return EvidenceGap{Reason::ownFiles, gem};
    // Rails projects also keep third-party scripts in "vendor", beside what Bundler installs.
    if (firstOf(path_, inside_, "bundle/ruby").empty()) return std::nullopt;
    return firstInside([](const FolderEntry& entry) { return entry.name != "bundle"; });
  }

  /// Whether it lies in a deployed program. What a rule of a pack names there may be the program as a whole.
  bool isPartOfProgram() const {
    const bool isOfPack = makerOf(lastPathComponent(path_)) != maker_;
    return hasComponent(isOfPack ? parentPath(project_) : project_, deployableFolders) ||
           project_.find("/.next/standalone") != std::string::npos;
  }

  /// Returns the first entry of the folder that is meant, as a file of the user.
  std::optional<EvidenceGap> firstInside(const auto& isMeant) const {
    const auto found = std::find_if(inside_.begin(), inside_.end(), isMeant);
    if (found == inside_.end()) return std::nullopt;
    return EvidenceGap{Reason::ownFiles, found->name};
  }

  /// Returns that the manifest beside it is somebody else's, or without one, the reason passed.
  EvidenceGap whyUnvouched(std::string_view manifests, Reason otherwise) const {
    auto strangers = firstOf(project_, beside_, manifests);
    if (strangers.empty() || vouchesFor(owner_, joinedPath(project_, strangers))) {
      auto stray = otherwise == Reason::noSign ? output_->strayRecord() : std::string();
      return stray.empty() ? EvidenceGap{otherwise} : EvidenceGap{Reason::strayRecord, std::move(stray)};
    }
    return {Reason::strangersManifest, std::move(strangers)};
  }

  bool isEnvironment() const { return maker_->marks == "pyvenv.cfg"; }

  std::optional<EvidenceGap> whyProject() const {
    if (isEnvironment()) return foreignEntry();
    auto manifest = output_->manifestOfOwnProject();
    if (manifest.empty()) return std::nullopt;
    return EvidenceGap{Reason::ownProject, std::move(manifest)};
  }

  /// Returns what no installer puts into an environment.
  std::optional<EvidenceGap> foreignEntry() const {
    return firstInside([&](const FolderEntry& entry) {
      if (entry.name != "src") return !matchesOne(entry.name, environmentEntries);
      const auto clones = listing(joinedPath(path_, "src"));
      return std::any_of(clones.begin(), clones.end(), [&](const FolderEntry& clone) {
        return !pathExists(joinedPath(path_, joinedPath("src", joinedPath(clone.name, ".git"))));
      });
    });
  }

  /// Whether somebody else could have renamed another folder to an artefact's name: they own the folder around, or may
  /// write to it. Then only what lies inside is evidence.
  bool isNameGivenByOthers(const EntryFacts& facts) const {
    constexpr std::uint32_t sticky = 01000;
    const auto around = followedFacts(project_);
    if (!around) return true;
    if (around->owner != 0 && around->owner != runningUser() && around->owner != facts.owner) return true;
    return (around->permissions & sticky) == 0 && isWritableByOthers(project_, *around);
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
    if (isCommonName(*maker_) && (handWritten() || std::any_of(inside_.begin(), inside_.end(), isKept))) return {};
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

  /// Why an installer of JavaScript packages would not bring the same back.
  std::optional<EvidenceGap> whyUninstallable() const {
    if (firstOf(project_, beside_, maker_->needs, owner_).empty()) {
      return whyUnvouched(maker_->needs, Reason::unnamedPackages);
    }
    const PackageManifest manifest(project_);
    if (manifest.lacksPackage()) return EvidenceGap{Reason::gonePackage};
    if (!manifest.namesPackages() && !isLocked()) return EvidenceGap{Reason::unnamedPackages};
    return std::nullopt;
  }

  /// Why nothing beside it names the packages of another kind of folder.
  std::optional<EvidenceGap> whyUnnamed() const {
    if (isEnvironment() && holdsNothingButItsInstaller(path_)) return std::nullopt;
    const bool isNamed = std::any_of(beside_.begin(), beside_.end(), [&](const FolderEntry& entry) {
      return matchesOne(entry.name, maker_->needs) && vouchesFor(owner_, joinedPath(project_, entry.name)) &&
             (!isEnvironment() || listsPackages(project_, entry.name));
    });
    if (isNamed) return std::nullopt;
    return whyUnvouched(maker_->needs, Reason::unnamedPackages);
  }

  bool isUnpacked() {
    if (!isUnpacked_) {
      const auto arrival = arrivalOf(project_);
      isUnpacked_ = arrival && !sample().isWrittenHere && sample().newest < *arrival;
    }
    return *isUnpacked_;
  }

  std::optional<EvidenceGap> handWritten() {
    auto manifest = firstOf(path_, inside_, projectManifests);
    if (manifest == "Makefile" && output_->isGenerated()) manifest = output_->manifestOfOwnProject();
    if (!manifest.empty()) return EvidenceGap{Reason::ownProject, std::move(manifest)};
    if (sample().sources * 2 > sample().files) return EvidenceGap{Reason::ownFiles, sample().source};
    if (isBelowTests(project_)) return EvidenceGap{Reason::tests};
    return std::nullopt;
  }

  /// What speaks against the weaker kinds of evidence.
  std::optional<EvidenceGap> objection() {
    if (auto gap = handWritten()) return gap;
    if (atTop_ && isKeepsake(atTop_->entry)) return atTop_;
    if (!isOrdinaryName(*maker_) || sample().keepsake.empty()) return std::nullopt;
    return EvidenceGap{Reason::keepsake, sample().keepsake};
  }

  const FolderSample& sample() {
    if (!sample_) sample_ = FolderSample::of(path_);
    return *sample_;
  }

  const std::string& path_;
  std::string project_;
  const TidraPathResolver& resolver_;
  IgnoreFinder& ignored_;
  const ArtifactMaker* maker_;
  std::uint32_t owner_ = 0;  // of the folder
  std::vector<FolderEntry> inside_;
  std::vector<FolderEntry> beside_;
  std::optional<BuildOutput> output_;  // absent without a maker
  std::optional<EvidenceGap> atTop_;   // of the folder's top
  std::optional<FolderSample> sample_;
  std::optional<bool> isUnpacked_;
};

}  // namespace

EvidenceVerdict ArtifactEvidence::of(const std::string& folder, const std::string& ruleID) {
  return Case(folder, ruleID, resolver_, ignored_).verdict();
}

}  // namespace tidra
