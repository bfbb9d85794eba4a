#include "core/scan/restore_hints.h"

#include <algorithm>

#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/scan/rule_index.h"

namespace tidra {

RestoreHints::RestoreHints(const RuleCatalog& catalog) {
  for (const ProjectArtifactRule& rule : catalog.projectRules) {
    if (rule.hintsBeside) rules_.emplace(rule.id, &rule);
  }
}

std::optional<std::string> RestoreHints::of(const std::string& ruleID, const std::string& artefact) const {
  const auto rule = rules_.find(ruleID);
  if (rule == rules_.end()) return std::nullopt;
  const auto project = openDirectory(parentPath(artefact));
  if (!project) return std::nullopt;
  for (const auto& [files, hint] : *rule->second->hintsBeside) {
    const auto isBeside = [&](const std::string& file) { return leadsSomewhere(project->get(), file); };
    if (files.empty() || std::any_of(files.begin(), files.end(), isBeside)) return hint;
  }
  return std::nullopt;
}

}  // namespace tidra
