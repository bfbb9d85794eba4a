#include "core/session/git_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <string>

#include "core/base/text.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/git_folder.h"
#include "core/scan/git_subfolders.h"
#include "core/scan/repository_finder.h"

namespace tidra {
namespace {

/// Places of a rule where its tool clones, bare or with untracked files of its own, relative to the finding.
struct ToolClones {
  const char* rule;
  const char* pattern;
};
constexpr std::array toolClones{
    ToolClones{"cargo-registry", "index/*"},   ToolClones{"uv-cache", "git-v*/checkouts/*/*"},
    ToolClones{"uv-cache", "git-v*/db/*"},     ToolClones{"go-mod-cache", "cache/vcs/*"},
    ToolClones{"spm-build", "repositories/*"}, ToolClones{"vendor", "bundle/*/*/cache/bundler/git/*"},
};

bool isClonedByTool(const ScanArtifactFinding& finding, const std::string& repository) {
  if (repository == finding.path || !isSameOrInside(repository, finding.path)) return false;
  const std::string inside(pathBelow(repository, finding.path));
  return std::any_of(toolClones.begin(), toolClones.end(), [&](const ToolClones& clones) {
    return finding.ruleID == clones.rule && globMatches(clones.pattern, inside.c_str());
  });
}

void raiseToCaution(ScanArtifactFinding& finding) {
  finding.safetyTier = std::max(finding.safetyTier, ArtifactSafetyTier::caution);
}

/// Returns ": " and the path of a repository deeper in a finding, for the end of a hint; empty for the finding itself.
std::string whereIn(const ScanArtifactFinding& finding, const std::string& repository) {
  const bool isInside = repository != finding.path && isSameOrInside(repository, finding.path);
  return isInside ? ": " + std::string(pathBelow(repository, finding.path)) : std::string();
}

/// A working copy of a system other than git is not asked for changes, so it may hold some.
void raiseForeign(FoundArtifact& found) {
  const auto& foreign = found.repositories.foreign;
  if (!foreign || found.finding.safetyTier >= ArtifactSafetyTier::caution) return;
  raiseToCaution(found.finding);
  found.finding.restoreHint =
      "Holds a " + foreign->system + " repository, which was not asked" + whereIn(found.finding, foreign->folder);
}

void raiseUnanswered(ScanArtifactFinding& finding, const std::string& repository) {
  if (finding.safetyTier < ArtifactSafetyTier::caution) {
    const bool isUnasked = !isConfigurationBeyondOthersReach(repository);
    const char* const reason = isUnasked ? "that other users can change, so git was not asked about it"
                               : servesUnknownWorkTree(repository) ? "whose work tree is elsewhere"
                                                                   : "for which git did not answer";
    finding.restoreHint = std::string("Holds a repository ") + reason + whereIn(finding, repository);
  }
  raiseToCaution(finding);
}

void raiseHolder(ScanArtifactFinding& finding, const TidraGitMetadataReader::Inside& holder) {
  finding.safetyTier = ArtifactSafetyTier::warning;
  finding.restoreHint = "Holds work that is in no remote repository" + whereIn(finding, holder.repository);
  const auto gitFolder = gitFolderOf(holder.repository);
  std::atomic<std::size_t> hangs{0};
  GitBounds bounds(hangs);
  const auto worktrees = gitFolder ? linkedWorktreesOf(*gitFolder, bounds) : std::nullopt;
  const LinkedWorktree* const worktree = worktrees ? worktreeOutside(*worktrees, holder.item) : nullptr;
  if (worktree != nullptr) finding.restoreHint = "Holds the repository of the worktree " + worktree->folder;
}

}  // namespace

std::size_t raiseTracked(const std::vector<FoundArtifact*>& findings, const TidraGitMetadataReader& git) {
  std::vector<std::string> folders;
  for (const FoundArtifact* found : findings) {
    if (found->isOfProject()) folders.push_back(found->place);
  }
  if (folders.empty()) return 0;
  const auto tracked = git.tracked(folders);
  for (FoundArtifact* found : findings) {
    ScanArtifactFinding& finding = found->finding;
    if (tracked.held.contains(found->place)) {
      finding.safetyTier = ArtifactSafetyTier::warning;
      finding.restoreHint = "Holds files tracked by git";
      finding.noEvidence.reset();  // the hint says more
      finding.evidence.reset();
    } else if (tracked.unknown.contains(found->place)) {
      raiseToCaution(finding);
    }
  }
  return tracked.unknown.size();
}

bool raiseOwnWork(const std::vector<FoundArtifact*>& findings, const TidraGitMetadataReader& git, PlaceSet removed) {
  std::vector<ScanArtifactFinding*> holders;
  std::vector<TidraGitMetadataReader::Inside> repositories;
  bool all = true;
  for (FoundArtifact* found : findings) {
    if (!found->place.empty()) removed.add(found->place);
    raiseForeign(*found);
    if (found->repositories.hasMore) raiseToCaution(found->finding);
    all = all && !found->repositories.hasMore;
    for (const std::string& repository : found->repositories.ofGit) {
      // What git tracks is asked about an artefact that is a repository itself.
      if (found->isOfProject() && repository == found->finding.path && holdsRepository(repository)) continue;
      if (isClonedByTool(found->finding, repository)) continue;
      holders.push_back(&found->finding);
      repositories.emplace_back(repository, found->place);
    }
  }
  if (repositories.empty()) return all;
  const auto answers = git.holdOwnWork(repositories, removed);
  for (std::size_t i = 0; i < repositories.size(); ++i) {
    if (!answers[i]) raiseUnanswered(*holders[i], repositories[i].repository);
    if (answers[i].value_or(false)) raiseHolder(*holders[i], repositories[i]);
  }
  return all && std::find(answers.begin(), answers.end(), std::nullopt) == answers.end();
}

std::vector<std::string> raiseByGit(const std::vector<FoundArtifact*>& findings, const TidraGitMetadataReader& git,
                                    const std::function<bool()>& shouldCancel) {
  std::vector<std::string> notes;
  if (shouldCancel()) return notes;
  const std::size_t unknown = raiseTracked(findings, git);
  if (shouldCancel()) return notes;
  if (unknown > 0) {
    notes.push_back(
        fmt::format("git did not answer for {} of the findings, so none of those counts as safe.", unknown));
  }
  const bool allAnswered = raiseOwnWork(findings, git);
  if (!allAnswered && !shouldCancel()) {
    notes.emplace_back(
        "Some repositories inside findings could not be checked for unpushed work; a finding that holds one is not "
        "safe, and its line names the first.");
  }
  return notes;
}

std::optional<Refusal> reasonOfLaterWork(const FoundArtifact& found, ArtifactSafetyTier agreed,
                                         const TidraGitMetadataReader& git, const PlaceSet& removed) {
  if (agreed == ArtifactSafetyTier::warning || found.repositories.ofGit.empty()) return std::nullopt;
  FoundArtifact now = found;
  static_cast<void>(raiseOwnWork({&now}, git, removed));
  if (now.finding.safetyTier <= agreed) return std::nullopt;
  return Refusal{Refusal::Why::ownWork,
                 fmt::format("is of tier {} by now ({}); scan again", rawValue(now.finding.safetyTier),
                             escapedForTerminal(now.finding.restoreHint.value_or("")))};
}

}  // namespace tidra
