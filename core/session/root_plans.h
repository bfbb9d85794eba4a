// How the roots of one scan stand to each other, so that each place is walked and none is reported twice.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/scan/artifact_scanner.h"

namespace tidra {

struct RootPlan {
  std::string root;                     // as it was given
  std::string realPath;                 // without links; the root itself when it does not exist
  std::optional<std::string> obstacle;  // why nothing can be found there: a sentence
  bool isCovered = false;               // the walk of another root gets there

  bool isWalked() const { return !obstacle && !isCovered; }
};

/// A plan for each root, in their order; a root that is given twice has one. `walk` is what all walks have in common.
/// A root inside another one counts as covered only where the outer walk surely gets there; where it may end before, at
/// a package or at a folder with an artefact's name, both are walked.
std::vector<RootPlan> planRoots(const std::vector<std::string>& roots, FilesystemArtifactScanner::Request walk);

/// Drops what several walks found twice: every finding at the place of an earlier one or inside another one.
/// `realPaths` are the places of the findings without links.
void dropCoveredFindings(std::vector<ScanArtifactFinding>& findings, const std::vector<std::string>& realPaths);

/// The real path of something that the walk of a root met.
std::string realPathBelow(const RootPlan& plan, const std::string& path);

}  // namespace tidra
