#include "core/scan/rule_index.h"

#include <fnmatch.h>

#include <algorithm>
#include <cassert>

#include "core/scan/exclusion_filter.h"
#include "core/scan/folder_contents.h"

namespace tidra {
namespace {

bool isPlainName(const std::string& file) {
  return !file.empty() && !isGlob(file) && file.find('/') == std::string::npos;
}

}  // namespace

bool leadsSomewhere(int folder, std::string_view pattern) {
  if (!isGlob(pattern)) return static_cast<bool>(followedEntryFacts(folder, std::string(pattern).c_str()));
  const auto slash = pattern.find('/');
  const std::string first(pattern.substr(0, slash));
  const auto goesOn = [&](const std::string& name) {
    if (slash == std::string_view::npos) return true;
    const auto below = openSubdirectory(folder, name.c_str());
    return below && leadsSomewhere(below->get(), pattern.substr(slash + 1));
  };
  if (!isGlob(first)) return goesOn(first);
  const auto entries = listing(folder);
  return std::any_of(entries.begin(), entries.end(), [&](const FolderEntry& entry) {
    return globMatches(first, entry.name.c_str()) && goesOn(entry.name);
  });
}

void ProjectFolder::noteMarker(const DirectoryEntry& entry) {
  if (entry.type == EntryType::symbolicLink && !followedEntryFacts(descriptor_, entry.name.data())) return;
  seenMarkers_.emplace_back(entry.name);
}

void ProjectFolder::lookForMarkers(const NameFacts& facts) {
  for (const ProjectArtifactRule* rule : facts.rules) {
    for (const auto& marker : rule->markers) {
      for (const std::string& file : marker.files) {
        if (isPlainName(file) && followedEntryFacts(descriptor_, file.c_str())) seenMarkers_.push_back(file);
      }
    }
  }
}

bool ProjectFolder::holds(const std::string& markerFile) {
  if (isGlob(markerFile)) {
    if (!listing_) {
      listing_.emplace();
      reader_.startOver(descriptor_);
      for (DirectoryEntry entry; reader_.next(entry);) listing_->emplace_back(entry.name);
    }
    return std::any_of(listing_->begin(), listing_->end(),
                       [&](const std::string& name) { return ::fnmatch(markerFile.c_str(), name.c_str(), 0) == 0; });
  }
  if (markerFile.find('/') == std::string::npos) {
    return std::find(seenMarkers_.begin(), seenMarkers_.end(), markerFile) != seenMarkers_.end();
  }
  const auto inside = markerFile.find_first_not_of('/');
  return inside != std::string::npos && static_cast<bool>(followedEntryFacts(descriptor_, markerFile.c_str() + inside));
}

bool ProjectFolder::subfolderHolds(std::string_view name, const std::vector<std::string>& files) const {
  const auto folder = openSubdirectory(descriptor_, std::string(name).c_str());
  return folder && std::any_of(files.begin(), files.end(),
                               [&](const std::string& file) { return leadsSomewhere(folder->get(), file); });
}

RuleIndex::RuleIndex(const RuleCatalog& catalog, TidraPlatform platform, const std::vector<const RulePack*>& offPacks) {
  for (const ProjectArtifactRule& rule : catalog.projectRules) {
    if (rule.appliesTo(platform)) add(rule);
  }
  assert(offPacks.size() <= mostPacks);
  for (std::size_t i = 0; i < offPacks.size(); ++i) {
    for (const ProjectArtifactRule& rule : offPacks[i]->catalog.projectRules) {
      if (rule.appliesTo(platform)) addOff(rule, std::uint64_t{1} << i);
    }
  }
}

void RuleIndex::add(const ProjectArtifactRule& rule) {
  names_[rule.folderName].rules.push_back(&rule);
  for (const std::string& name : rule.otherNames.value_or(std::vector<std::string>{})) {
    if (name.empty()) continue;
    if (!isGlob(name)) {
      if (name != rule.folderName) names_[name].rules.push_back(&rule);
      continue;
    }
    const auto known =
        std::find_if(patterns_.begin(), patterns_.end(), [&](const auto& it) { return it.first == name; });
    auto& facts = known == patterns_.end() ? patterns_.emplace_back(name, NameFacts{}).second : known->second;
    facts.rules.push_back(&rule);
  }
  for (const auto& marker : rule.markers) {
    for (const std::string& file : marker.files) {
      if (isPlainName(file)) names_[file].isMarker = true;
    }
  }
}

// Only names and suffixes, so that noting them costs no system call. Of a path its first component stands for all.
void RuleIndex::addOff(const ProjectArtifactRule& rule, std::uint64_t pack) {
  OffRules bit;
  if (offRules_.size() == bit.size()) return;
  bit.set(offRules_.size());
  offRules_.push_back({&rule, pack});
  std::vector<std::string> names = rule.otherNames.value_or(std::vector<std::string>{});
  names.push_back(rule.folderName);
  for (const std::string& name : names) {
    if (isPlainName(name)) (rule.requireMarker ? names_[name].asFolder : names_[name].asHolder) |= bit;
  }
  for (const std::string& file : rule.holds.value_or(std::vector<std::string>{})) {
    if (!rule.requireMarker && isPlainName(file)) names_[file].asInside |= bit;
  }
  for (const auto& marker : rule.markers) {
    for (const std::string& file : marker.files) {
      const std::string first = file.substr(0, file.find('/'));
      if (isPlainName(first) && first != "..") names_[first].asMarker |= bit;
      const std::string suffix = file.starts_with("*.") ? file.substr(2) : std::string();
      if (isPlainName(suffix) && suffix.find('.') == std::string::npos) suffixMarkers_[suffix] |= bit;
    }
  }
}

std::uint64_t RuleIndex::packsOf(const OffRulesSeen& seen, std::string_view folder, std::string_view parent) const {
  const NameFacts* facts = find(folder);
  const std::string name(folder);
  const auto isHolder = [&](std::size_t index, const ProjectArtifactRule& rule) {
    if (facts != nullptr && facts->asHolder.test(index)) return true;
    const auto& names = rule.otherNames;
    return names && std::any_of(names->begin(), names->end(), [&](const std::string& pattern) {
             return isGlob(pattern) && globMatches(pattern, name.c_str());
           });
  };
  std::uint64_t packs = 0;
  for (std::size_t i = 0; i < offRules_.size(); ++i) {
    const ProjectArtifactRule& rule = *offRules_[i].rule;
    const bool isBeside = seen.markers.test(i) && seen.folders.test(i);
    if (isBeside && (!rule.parentName || *rule.parentName == folder)) packs |= offRules_[i].pack;
    const bool isIn = seen.inside.test(i) && (!rule.parentName || *rule.parentName == parent);
    if (isIn && isHolder(i, rule)) packs |= offRules_[i].pack;
  }
  return packs;
}

const NameFacts* RuleIndex::firstPattern(std::string_view name) const {
  const std::string text(name);
  const auto found = std::find_if(patterns_.begin(), patterns_.end(),
                                  [&](const auto& pattern) { return globMatches(pattern.first, text.c_str()); });
  return found == patterns_.end() ? nullptr : &found->second;
}

std::optional<RuleMatch> RuleIndex::choose(const NameFacts& facts, ProjectFolder& project, std::string_view name) {
  for (const ProjectArtifactRule* rule : facts.rules) {
    if (rule->parentName && project.name() != *rule->parentName) continue;
    const std::string* ecosystem = rule->requireMarker ? nullptr : &rule->ecosystem;
    for (const auto& marker : rule->markers) {
      const auto found = [&](const std::string& file) { return project.holds(file); };
      if (!std::any_of(marker.files.begin(), marker.files.end(), found)) continue;
      ecosystem = &marker.ecosystem;
      break;
    }
    if (ecosystem == nullptr || (rule->holds && !project.subfolderHolds(name, *rule->holds))) continue;
    return RuleMatch{rule, ecosystem};
  }
  return std::nullopt;
}

}  // namespace tidra
