// Finds the build output or the finding that encloses a path. What lies in the output of a build is a part of it, such
// as a bundled package or a fetched dependency, and no build there makes it again.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>

#include "core/platform/path_resolver.h"
#include "core/scan/artifact_makers.h"
#include "core/scan/ignore_rules.h"
#include "core/scan/rule_index.h"

namespace tidra {

/// certainlyHolding() decides where a walk begins; the assessment of a finding asks around(), then findingAround(),
/// which needs no mark of a tool. Caches folders and ignore files; not thread-safe. Paths are absolute, with symbolic
/// links resolved.
class EnclosingOutput {
 public:
  /// `rules` must outlive this.
  EnclosingOutput(const TidraPathResolver& resolver, const RuleIndex& rules);

  /// Returns the nearest ancestor that is build output: it has an artefact's name, and holds a tool's mark or lies
  /// beside the manifest that makes it. It is none if it is a project itself, or if it has no mark and its repository
  /// does not ignore it. Needed only when its rule is disabled or the root lies inside.
  std::optional<std::string> around(const std::string& path);

  /// Returns the nearest ancestor that a scan of its own parent takes or keeps as a whole. Conditions:
  /// - a rule names it;
  /// - a manifest lies beside it, or git does not ignore it;
  /// - it neither is nor holds the home folder;
  /// - no repository or worktree lies between it and the path.
  /// Needed only when the root lies inside.
  std::optional<std::string> findingAround(const std::string& path);

  /// Returns a folder that equals or contains the path and is an artefact beyond doubt: it holds a tool's mark, and
  /// nothing shows that it is a project itself.
  static std::optional<std::string> certainlyHolding(const std::string& path, const TidraPathResolver& resolver);

 private:
  bool isMade(const std::string& folder, const ArtifactMaker& maker);
  bool isFindingOfProject(const std::string& folder);

  IgnoreFinder ignored_;
  const RuleIndex& rules_;
  std::string home_;
  std::unordered_map<std::string, bool> folders_;
  std::unordered_map<std::string, bool> findings_;
};

}  // namespace tidra
