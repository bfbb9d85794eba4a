// Raises the tier of findings that a build cannot recreate, according to git.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/model/found_artifact.h"
#include "core/scan/git_metadata.h"
#include "core/scan/place_set.h"
#include "core/session/refusal.h"

namespace tidra {

/// Raises findings of projects that hold files tracked by git. Returns the number of those for which git did not
/// answer; they do not count as safe.
[[nodiscard]] std::size_t raiseTracked(const std::vector<FoundArtifact*>& findings, const TidraGitMetadataReader& git);

/// Raises findings that hold a repository with work that is in no remote one: users may work on a dependency where it
/// was installed, in a clone or linked worktree. Tools' own clones in their caches do not count. A repository of
/// another system is not asked, so its holder does not count as safe. Returns whether git answered for all of them;
/// those for which it did not, or with too many repositories to ask, do not count as safe. `removed` are further places
/// that go along.
[[nodiscard]] bool raiseOwnWork(const std::vector<FoundArtifact*>& findings, const TidraGitMetadataReader& git,
                                PlaceSet removed = {});

/// Does both and returns notes on what git did not answer. Stops when `shouldCancel` returns true.
[[nodiscard]] std::vector<std::string> raiseByGit(const std::vector<FoundArtifact*>& findings,
                                                  const TidraGitMetadataReader& git,
                                                  const std::function<bool()>& shouldCancel);

/// Asks again about the repositories that a scan found in one finding. Returns why it must stay if it would be of a
/// higher tier now than was agreed to; nullopt otherwise.
std::optional<Refusal> reasonOfLaterWork(const FoundArtifact& found, ArtifactSafetyTier agreed,
                                         const TidraGitMetadataReader& git, const PlaceSet& removed);

}  // namespace tidra
