#include "core/session/git_checks.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "core/platform/path_text.h"
#include "core/scan/exclusion_filter.h"

namespace tidra {
namespace {

/// Places of a rule where its tool clones and adds untracked files of its own, relative to the finding.
struct ToolClones {
  const char* rule;
  const char* pattern;
};
constexpr std::array toolClones{
    ToolClones{"cargo-registry", "index/*"},
    ToolClones{"uv-cache", "git-v*/checkouts/*/*"},
};

bool isClonedByTool(const ScanArtifactFinding& finding, const std::string& repository) {
  if (repository == finding.path || !isSameOrInside(repository, finding.path)) return false;
  const std::string inside(pathBelow(repository, finding.path));
  return std::any_of(toolClones.begin(), toolClones.end(), [&](const ToolClones& clones) {
    return finding.ruleID == clones.rule && globMatches(clones.pattern, inside.c_str());
  });
}

}  // namespace

std::size_t raiseTracked(const std::vector<FoundArtifact*>& findings, const TidraGitMetadataReader& git) {
  std::vector<std::string> folders;
  for (const FoundArtifact* found : findings) {
    if (found->isOfProject()) folders.push_back(found->finding.path);
  }
  if (folders.empty()) return 0;
  const auto tracked = git.tracked(folders);
  for (FoundArtifact* found : findings) {
    ScanArtifactFinding& finding = found->finding;
    if (tracked.held.contains(finding.path)) {
      finding.safetyTier = ArtifactSafetyTier::warning;
      finding.restoreHint = "Holds files tracked by git";
      finding.evidence.reset();
    } else if (tracked.unknown.contains(finding.path)) {
      finding.safetyTier = std::max(finding.safetyTier, ArtifactSafetyTier::caution);
    }
  }
  return tracked.unknown.size();
}

bool raiseOwnWork(const std::vector<FoundArtifact*>& findings, const TidraGitMetadataReader& git) {
  // A few milliseconds for each.
  constexpr std::size_t mostPerFinding = 1000;
  std::vector<ScanArtifactFinding*> holders;
  std::vector<std::string> repositories;
  bool all = true;
  for (FoundArtifact* found : findings) {
    std::size_t asked = 0;
    for (const std::string& repository : found->repositories) {
      if (isClonedByTool(found->finding, repository)) continue;
      if (asked++ == mostPerFinding) {
        found->finding.safetyTier = std::max(found->finding.safetyTier, ArtifactSafetyTier::caution);
        all = false;
        break;
      }
      holders.push_back(&found->finding);
      repositories.push_back(repository);
    }
  }
  if (repositories.empty()) return all;
  const auto answers = git.holdOwnWork(repositories);
  for (std::size_t i = 0; i < repositories.size(); ++i) {
    ScanArtifactFinding& holder = *holders[i];
    if (!answers[i]) holder.safetyTier = std::max(holder.safetyTier, ArtifactSafetyTier::caution);
    if (!answers[i].value_or(false)) continue;
    holder.safetyTier = ArtifactSafetyTier::warning;
    holder.restoreHint = "Holds work that is in no remote repository";
    const bool isInside = repositories[i] != holder.path && isSameOrInside(repositories[i], holder.path);
    if (isInside) *holder.restoreHint += ": " + std::string(pathBelow(repositories[i], holder.path));
  }
  return all && std::find(answers.begin(), answers.end(), std::nullopt) == answers.end();
}

}  // namespace tidra
