// Relations of a scan's roots: each path is walked, none is reported twice.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/scan/artifact_scanner.h"

namespace tidra {

struct RootPlan {
  std::string root;                     // as passed; for a root that is one artefact its parent, which is the project
  std::string realPath;                 // symbolic links resolved; the root itself if it does not exist
  std::optional<std::string> obstacle;  // sentence on why nothing can be found
  bool isCovered = false;               // the walk of another root visits it
  std::optional<std::set<std::string>> onlyNames = {};  // the artefact that was passed; absent: everything below `root`

  bool isWalked() const { return !obstacle && !isCovered; }
};

/// Returns a plan per distinct root, in order. `walk` is the common request. A nested root counts as covered only if
/// the outer walk certainly reaches it; if that may stop before, at a package or an artefact's name, both are walked.
std::vector<RootPlan> planRoots(const std::vector<std::string>& roots, FilesystemArtifactScanner::Request walk);

/// Drops duplicates of several walks: findings at or inside the place of an earlier one.
void dropCoveredFindings(std::vector<FoundArtifact>& findings);

/// Returns the resolved path of an entry found by the walk of a root.
std::string realPathBelow(const RootPlan& plan, const std::string& path);

}  // namespace tidra
