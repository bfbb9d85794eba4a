#include "core/scan/enclosing_output.h"

#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/artifact_evidence.h"
#include "core/scan/build_output.h"
#include "core/scan/folder_contents.h"
#include "core/scan/package_manifest.h"

namespace tidra {
namespace {

/// Returns the maker of an output folder; null for others. Whole projects live in linked worktrees, and some in Python
/// environments, whose own parts are dependency folders.
const ArtifactMaker* outputMaker(const std::string& folder) {
  const ArtifactMaker* maker = makerOf(lastPathComponent(folder));
  const bool mayHoldProjects = maker != nullptr && (maker->folder == "worktrees" || maker->marks == "pyvenv.cfg");
  return mayHoldProjects ? nullptr : maker;
}

/// Whether a folder can be an artefact around something: neither the root nor what holds the home folder is one.
bool canBeArtefact(const std::string& folder, const std::string& home) {
  return folder != "/" && (home.empty() || !isSameOrInside(home, folder));
}

}  // namespace

EnclosingOutput::EnclosingOutput(const TidraPathResolver& resolver, const RuleIndex& rules)
    : ignored_(resolver), rules_(rules), home_(realPathOrSame(resolver.home)) {}

bool EnclosingOutput::isMade(const std::string& folder, const ArtifactMaker& maker) {
  const auto facts = pathFacts(folder);
  if (!facts) return false;
  const auto inside = listing(folder);
  const auto ignored = ignored_.of(folder);
  const bool isKeptInGit = ignored.isInRepository && !ignored.isIgnored && !ignored.isUncertain;
  const BuildOutput output(maker, folder, inside, facts->owner);
  // Packagers write a package.json into what they make, which git then ignores.
  if (isKeptInGit && !output.manifestOfOwnProject().empty()) return false;
  // What a tool may have made is not taken apart: an empty mark holds here, too.
  if (!firstOf(folder, inside, maker.marks, facts->owner).empty() || !output.mark().empty()) return true;
  if (isKeptInGit) return false;
  const std::string project = parentPath(folder);
  const auto beside = listing(project);
  const std::string manifest = firstOf(project, beside, maker.manifests, facts->owner);
  return !manifest.empty() && (manifest != "package.json" || PackageManifest(project).mayMake(maker.folder, beside));
}

std::optional<std::string> EnclosingOutput::around(const std::string& path) {
  for (std::string folder = parentPath(path); canBeArtefact(folder, home_); folder = parentPath(folder)) {
    const ArtifactMaker* maker = outputMaker(folder);
    if (maker == nullptr) continue;
    const auto [known, isNew] = folders_.try_emplace(folder, false);
    if (isNew) known->second = isMade(folder, *maker);
    if (known->second) return folder;
  }
  return std::nullopt;
}

bool EnclosingOutput::isFindingOfProject(const std::string& folder) {
  const std::string_view name = lastPathComponent(folder);
  const NameFacts* facts = rules_.ofFolder(name, rules_.find(name));
  const std::string above = parentPath(folder);
  if (facts == nullptr || above == home_) return false;
  const auto opened = openDirectory(above);
  if (!opened) return false;
  DirectoryReader reader;
  ProjectFolder project(lastPathComponent(above), opened->get(), reader);
  project.lookForMarkers(*facts);
  if (!RuleIndex::choose(*facts, project, name)) return false;
  const auto ignored = ignored_.of(folder);
  if (ignored.isInRepository && !ignored.isIgnored) return true;
  return !firstOf(above, listing(above), projectManifests).empty();
}

std::optional<std::string> EnclosingOutput::findingAround(const std::string& path) {
  std::string inner = path;
  for (std::string folder = parentPath(path); canBeArtefact(folder, home_); folder = parentPath(folder)) {
    const std::string_view name = lastPathComponent(folder);
    if (rules_.ofFolder(name, rules_.find(name)) == nullptr) continue;
    for (std::string below = parentPath(inner); isSameOrInside(below, folder); below = parentPath(below)) {
      if (pathExists(joinedPath(below, ".git"))) return std::nullopt;
    }
    inner = folder;
    const auto [known, isNew] = findings_.try_emplace(folder, false);
    if (isNew) known->second = isFindingOfProject(folder);
    if (known->second) return folder;
  }
  return std::nullopt;
}

std::optional<std::string> EnclosingOutput::certainlyHolding(const std::string& path,
                                                             const TidraPathResolver& resolver) {
  const std::string home = realPathOrSame(resolver.home);
  for (std::string folder = path; canBeArtefact(folder, home); folder = parentPath(folder)) {
    if (outputMaker(folder) == nullptr) continue;
    const auto verdict = ArtifactEvidence(resolver).of(folder);
    const auto* evidence = std::get_if<std::string>(&verdict);
    if (evidence != nullptr && evidence->starts_with("holds ")) return folder;
  }
  return std::nullopt;
}

}  // namespace tidra
