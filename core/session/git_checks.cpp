#include "core/session/git_checks.h"

#include <algorithm>
#include <optional>
#include <string>

namespace tidra {

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
  std::vector<ScanArtifactFinding*> holders;
  std::vector<std::string> repositories;
  for (FoundArtifact* found : findings) {
    holders.insert(holders.end(), found->repositories.size(), &found->finding);
    repositories.insert(repositories.end(), found->repositories.begin(), found->repositories.end());
  }
  if (repositories.empty()) return true;
  const auto answers = git.holdOwnWork(repositories);
  for (std::size_t i = 0; i < repositories.size(); ++i) {
    ScanArtifactFinding& holder = *holders[i];
    if (!answers[i]) holder.safetyTier = std::max(holder.safetyTier, ArtifactSafetyTier::caution);
    if (!answers[i].value_or(false)) continue;
    holder.safetyTier = ArtifactSafetyTier::warning;
    holder.restoreHint =
        "Holds work that is in no remote repository: " + repositories[i].substr(holder.path.size() + 1);
  }
  return std::find(answers.begin(), answers.end(), std::nullopt) == answers.end();
}

}  // namespace tidra
