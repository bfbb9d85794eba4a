#include "core/scan/restore_hints.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/scan/artifact_makers.h"
#include "core/scan/build_output.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/package_manifest.h"
#include "core/scan/rule_index.h"

namespace tidra {
namespace {

/// Whether a file decides: an empty one names nothing, and a folder only where the pattern ends in "/".
bool decides(int project, const std::string& pattern) {
  if (pattern.ends_with('/')) return leadsSomewhere(project, pattern.substr(0, pattern.size() - 1));
  const auto isFile = [&](const std::string& file) {
    const auto facts = followedEntryFacts(project, file.c_str());
    return facts && facts->type == EntryType::regularFile && facts->sizeBytes > 0;
  };
  if (!isGlob(pattern) || pattern.find('/') != std::string::npos) {
    return isGlob(pattern) ? leadsSomewhere(project, pattern) : isFile(pattern);
  }
  const auto entries = listing(project);
  return std::any_of(entries.begin(), entries.end(), [&](const FolderEntry& entry) {
    return globMatches(pattern, entry.name.c_str()) && isFile(entry.name);
  });
}

/// Returns the commands that make a build tree of CMake or Meson again, as its generator recorded them; absent for
/// other folders.
std::optional<std::string> commandsOfTrees(const ArtifactMaker& maker, const std::string& artefact) {
  const auto facts = pathFacts(artefact);
  if (!facts) return std::nullopt;
  const auto inside = listing(artefact);
  const auto trees = BuildOutput(maker, artefact, inside, facts->owner).trees();
  if (trees.empty() || !trees.front().hasSourceOutside(artefact)) return std::nullopt;
  const auto commands = trees.front().commands(parentPath(artefact));
  return trees.size() == 1 ? commands : fmt::format("{}; likewise {} more", commands, trees.size() - 1);
}

}  // namespace

RestoreHints::RestoreHints(const RuleCatalog& catalog) {
  for (const ProjectArtifactRule& rule : catalog.projectRules) {
    if (rule.hintsBeside) rules_.emplace(rule.id, &rule);
  }
}

std::optional<std::string> RestoreHints::of(const std::string& ruleID, const std::string& artefact) const {
  const auto rule = rules_.find(ruleID);
  const ArtifactMaker* maker = makerOfPackRule(ruleID);
  // A rule of the user in place of the built-in one has its own hint.
  if (maker == nullptr && ruleID == "build" && rule != rules_.end()) maker = makerOf(ruleID);
  if (maker != nullptr) {
    if (auto commands = commandsOfTrees(*maker, artefact)) return commands;
  }
  if (rule == rules_.end()) return std::nullopt;
  const std::string above = parentPath(artefact);
  const auto project = openDirectory(above);
  if (!project) return std::nullopt;
  const std::string inside = std::string(lastPathComponent(artefact)) + '/';
  const auto& hints = *rule->second->hintsBeside;
  const auto firstThat = [&](const auto& fits) -> std::optional<std::string> {
    const auto found = std::find_if(hints.begin(), hints.end(), fits);
    return found == hints.end() ? std::nullopt : std::optional(found->hint);
  };
  const auto hasOne = [&](const auto& hint, bool onlyInside) {
    return std::any_of(hint.files.begin(), hint.files.end(), [&](const std::string& file) {
      return (!onlyInside || file.starts_with(inside)) && decides(project->get(), file);
    });
  };
  if (auto hint = firstThat([&](const auto& row) { return hasOne(row, true); })) return hint;
  if (const auto manager = packageManagerOf(above); !manager.empty()) {
    const auto isManagers = [&](const auto& row) { return row.hint == manager || row.hint.starts_with(manager + ' '); };
    if (auto hint = firstThat(isManagers)) return hint;
  }
  return firstThat([&](const auto& row) { return row.files.empty() || hasOne(row, false); });
}

}  // namespace tidra
