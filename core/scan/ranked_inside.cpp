#include "core/scan/ranked_inside.h"

#include <set>

#include "core/model/repositories_inside.h"
#include "core/platform/path_text.h"
#include "core/scan/artifact_makers.h"
#include "core/scan/dependency_folders.h"
#include "core/scan/folder_contents.h"

namespace tidra {
namespace {

/// Whether tools make folders of this name that are safe to remove, according to the built-in rules.
bool isToolsName(std::string_view name) {
  static const std::set<std::string_view> names = [] {
    std::set<std::string_view> made;
    for (const auto& rule : RuleCatalog::builtIn().projectRules) {
      if (rule.tier == ArtifactSafetyTier::safe) made.insert(rule.folderName);
    }
    return made;
  }();
  return names.contains(name);
}

/// Whether a tool makes folders of this name, and none of its marks lies in this one. Packages are published with such
/// folders, even with whole work trees in ".claude/worktrees", but never with a ".git".
bool lacksMark(const std::string& path, std::string_view name) {
  const ArtifactMaker* maker = makerOf(name);
  return maker != nullptr && !maker->marks.empty() && firstOf(path, listing(path), maker->marks).empty();
}

}  // namespace

std::string pathInside(const FolderNode& first, const FolderNode& folder, std::string_view name) {
  // Measured before it is built: a path at each level of a deep chain would cost the square of its depth.
  std::size_t length = name.size();
  for (const FolderNode* node = &folder; node != &first; node = node->parent()) {
    length += node->name().size() + 1;
    if (length > RepositoriesInside::longestPath) return "…";
  }
  const std::string path = folder.path();
  const auto inside = pathBelow(path, first.path());
  if (name.empty()) return std::string(inside);
  return inside.empty() ? std::string(name) : joinedPath(inside, name);
}

bool RankedInside::note(std::string_view name) {
  if (rules_ == nullptr) return isOfTool_;
  const NameFacts* facts = rules_->ofFolder(name, rules_->find(name));
  const bool hasRules = facts != nullptr;
  if (!hasRules && isOfTool_) return true;
  const bool isTools = isToolsName(name);
  if (hasRules && !(isOfTool_ && isTools)) candidates_.emplace_back(name, facts);
  return isOfTool_ || isTools || DependencyFolders::isNamedSo(name);
}

std::optional<InsideNotes::Ranked> RankedInside::highest(const FolderNode& first, const FolderNode& folder,
                                                         DirectoryReader& reader) const {
  std::optional<InsideNotes::Ranked> highest;
  if (candidates_.empty()) return highest;
  ProjectFolder project(lastPathComponent(folder.name()), folder.descriptor(), reader);
  for (const auto& [name, facts] : candidates_) {
    project.lookForMarkers(*facts);
    const auto match = RuleIndex::choose(*facts, project, name);
    if (!match || match->rule->tier == ArtifactSafetyTier::safe) continue;
    if (isOfTool_ && lacksMark(joinedPath(folder.path(), name), name)) continue;
    InsideNotes::Ranked found{pathInside(first, folder, name), match->rule->label, match->rule->tier};
    if (!highest || outranks(found, *highest)) highest = std::move(found);
  }
  return highest;
}

}  // namespace tidra
