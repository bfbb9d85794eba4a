#include "core/scan/enclosing_output.h"

#include "core/platform/path_text.h"
#include "core/scan/artifact_evidence.h"
#include "core/scan/artifact_makers.h"
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

bool isMade(const std::string& folder, const ArtifactMaker& maker) {
  if (!firstOf(folder, ownListing(folder), maker.marks).empty()) return true;
  const std::string project = parentPath(folder);
  const auto beside = ownListing(project);
  const std::string manifest = firstOf(project, beside, maker.manifests);
  return !manifest.empty() && (manifest != "package.json" || PackageManifest(project).mayMake(maker.folder, beside));
}

}  // namespace

std::optional<std::string> EnclosingOutput::around(const std::string& path) {
  for (std::string folder = parentPath(path); folder != "/"; folder = parentPath(folder)) {
    const ArtifactMaker* maker = outputMaker(folder);
    if (maker == nullptr) continue;
    const auto [known, isNew] = folders_.try_emplace(folder, false);
    if (isNew) known->second = isMade(folder, *maker);
    if (known->second) return folder;
  }
  return std::nullopt;
}

std::optional<std::string> EnclosingOutput::certainlyHolding(const std::string& path,
                                                             const TidraPathResolver& resolver) {
  for (std::string folder = path; folder != "/"; folder = parentPath(folder)) {
    if (outputMaker(folder) == nullptr) continue;
    ScanArtifactFinding finding;
    finding.path = folder;
    if (ArtifactEvidence(resolver).of(finding).value_or("").starts_with("holds ")) return folder;
  }
  return std::nullopt;
}

}  // namespace tidra
