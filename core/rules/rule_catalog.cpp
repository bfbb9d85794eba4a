#include "core/rules/rule_catalog.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

namespace tidra {
namespace {

/// Replaces rules with a known id in place and appends the others.
template <class Rule>
void lay(std::vector<Rule>& base, const std::vector<Rule>& overlay) {
  std::unordered_map<std::string, std::size_t> places;
  for (const Rule& rule : base) places.emplace(rule.id, places.size());
  for (const Rule& rule : overlay) {
    const auto [place, isNew] = places.emplace(rule.id, base.size());
    if (isNew) {
      base.push_back(rule);
    } else {
      base[place->second] = rule;
    }
  }
}

void addSeen(std::set<std::string>& seen, const std::string& id) {
  if (!seen.insert(id).second) throw RuleCatalogError::duplicateID(id);
}

void appendSkipped(RuleCatalog& catalog, const RuleCatalog& other) {
  for (const auto& [key, folders] : other.walkSkipByPlatform) {
    auto& list = catalog.walkSkipByPlatform[key];
    list.insert(list.end(), folders.begin(), folders.end());
  }
}

}  // namespace

RuleCatalogError RuleCatalogError::unsupportedSchema(int version) {
  return {Kind::unsupportedSchema, fmt::format("Rule catalog schema {} is newer than this build supports ({}).",
                                               version, RuleCatalog::supportedSchema)};
}

RuleCatalogError RuleCatalogError::duplicateID(const std::string& id) {
  return {Kind::duplicateID, fmt::format("Duplicate rule id '{}'.", id)};
}

RuleCatalogError RuleCatalogError::invalidRule(const std::string& id, const std::string& reason) {
  return {Kind::invalidRule, fmt::format("Rule '{}': {}.", id, reason)};
}

bool ProjectArtifactRule::appliesTo(TidraPlatform platform) const {
  return platforms.empty() || std::find(platforms.begin(), platforms.end(), platform) != platforms.end();
}

void RuleCatalog::validate(const std::vector<ProjectArtifactRule>& projectRules,
                           const std::vector<SystemPathRule>& systemRules) {
  std::set<std::string> seen;
  for (const ProjectArtifactRule& rule : projectRules) {
    if (rule.id.empty() || rule.folderName.empty()) {
      throw RuleCatalogError::invalidRule(rule.id, "empty id or folderName");
    }
    addSeen(seen, rule.id);
  }
  for (const SystemPathRule& rule : systemRules) {
    if (rule.id.empty()) throw RuleCatalogError::invalidRule(rule.id, "empty id");
    addSeen(seen, rule.id);
    for (const auto& [key, templates] : rule.paths) {
      if (!fromRawValue<TidraPlatform>(key)) {
        throw RuleCatalogError::invalidRule(rule.id, fmt::format("unknown platform '{}'", key));
      }
    }
    if (rule.kind == SystemPathRule::Kind::file && rule.mode == SystemPathRule::Mode::children) {
      throw RuleCatalogError::invalidRule(rule.id, "file rules cannot use children mode");
    }
  }
}

std::vector<SystemPathRule> RuleCatalog::systemRulesFor(TidraPlatform platform,
                                                        const std::optional<std::set<std::string>>& categories) const {
  std::vector<SystemPathRule> selected;
  for (const SystemPathRule& rule : systemRules) {
    const auto templates = rule.paths.find(std::string(rawValue(platform)));
    const bool here = templates != rule.paths.end() && !templates->second.empty();
    if (here && (!categories || categories->contains(rule.category))) selected.push_back(rule);
  }
  return selected;
}

std::vector<std::string> RuleCatalog::walkSkip(TidraPlatform platform) const {
  std::vector<std::string> folders;
  for (const std::string& key : {std::string("all"), std::string(rawValue(platform))}) {
    if (const auto list = walkSkipByPlatform.find(key); list != walkSkipByPlatform.end()) {
      folders.insert(folders.end(), list->second.begin(), list->second.end());
    }
  }
  return folders;
}

bool RuleCatalog::hasRule(std::string_view id) const {
  const auto hasId = [&](const auto& rule) { return rule.id == id; };
  return std::any_of(projectRules.begin(), projectRules.end(), hasId) ||
         std::any_of(systemRules.begin(), systemRules.end(), hasId);
}

RuleCatalog RuleCatalog::merging(const RuleCatalog& overlay) const {
  RuleCatalog merged = *this;
  lay(merged.projectRules, overlay.projectRules);
  lay(merged.systemRules, overlay.systemRules);
  appendSkipped(merged, overlay);
  merged.schemaVersion = std::max(schemaVersion, overlay.schemaVersion);
  merged.catalogVersion += "+" + overlay.catalogVersion;
  return merged;
}

RuleCatalog RuleCatalog::withPack(const RuleCatalog& pack) const {
  RuleCatalog merged = *this;
  merged.projectRules.insert(merged.projectRules.begin(), pack.projectRules.begin(), pack.projectRules.end());
  merged.systemRules.insert(merged.systemRules.end(), pack.systemRules.begin(), pack.systemRules.end());
  appendSkipped(merged, pack);
  merged.catalogVersion += "+" + pack.catalogVersion;
  return merged;
}

RuleCatalog RuleCatalog::removing(const std::set<std::string>& disabledIDs) const {
  RuleCatalog kept = *this;
  const auto disabled = [&](const auto& rule) { return disabledIDs.contains(rule.id); };
  std::erase_if(kept.projectRules, disabled);
  std::erase_if(kept.systemRules, disabled);
  return kept;
}

}  // namespace tidra
