// The tools that make artefacts, and what shows their work.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

/// The tools that make folders of one name. `marks` lie inside and `manifests` beside, as names, paths (marks) or
/// patterns separated by blanks. If `needs` is not empty, one of them must lie beside: otherwise nothing records how to
/// recreate the folder. `marksTravel`: marks also occur in archives and repositories. `commonMarks` are names that
/// people use too: marks only beside one of `markers`, or of the manifests if there are none.
struct ArtifactMaker {
  std::string_view folder;
  std::string_view marks = {};
  std::string_view manifests = {};
  std::string_view needs = {};
  bool marksTravel = false;
  std::string_view commonMarks = {};
  std::string_view markers = {};
};

/// Returns the maker of folders of this name; null if only rules of packs or of the user name them.
const ArtifactMaker* makerOf(std::string_view folderName);

/// Returns the maker of what a rule of a pack finds: what the rule demands is what shows the tool's work. Null for
/// other rules.
const ArtifactMaker* makerOfPackRule(const std::string& ruleID);

}  // namespace tidra
