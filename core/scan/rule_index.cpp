#include "core/scan/rule_index.h"

#include <fnmatch.h>

#include <algorithm>

#include "core/scan/exclusion_filter.h"

namespace tidra {

void ProjectFolder::noteMarker(const DirectoryEntry& entry) {
  if (entry.type == EntryType::symbolicLink && !followedEntryFacts(descriptor_, entry.name.data())) return;
  seenMarkers_.emplace_back(entry.name);
}

void ProjectFolder::lookForMarkers(const NameFacts& facts) {
  for (const ProjectArtifactRule* rule : facts.rules) {
    for (const auto& marker : rule->markers) {
      for (const std::string& file : marker.files) {
        const bool isName = !file.empty() && !isGlob(file) && file.find('/') == std::string::npos;
        if (isName && followedEntryFacts(descriptor_, file.c_str())) seenMarkers_.push_back(file);
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

RuleIndex::RuleIndex(const RuleCatalog& catalog, TidraPlatform platform) {
  for (const ProjectArtifactRule& rule : catalog.projectRules) {
    if (!rule.appliesTo(platform)) continue;
    names_[rule.folderName].rules.push_back(&rule);
    for (const auto& marker : rule.markers) {
      for (const std::string& file : marker.files) {
        if (!file.empty() && !isGlob(file) && file.find('/') == std::string::npos) names_[file].isMarker = true;
      }
    }
  }
}

std::optional<RuleMatch> RuleIndex::choose(const NameFacts& facts, ProjectFolder& project) {
  for (const ProjectArtifactRule* rule : facts.rules) {
    if (rule->parentName && project.name() != *rule->parentName) continue;
    for (const auto& marker : rule->markers) {
      const auto found = [&](const std::string& file) { return project.holds(file); };
      if (std::any_of(marker.files.begin(), marker.files.end(), found)) return RuleMatch{rule, &marker.ecosystem};
    }
    if (!rule->requireMarker) return RuleMatch{rule, &rule->ecosystem};
  }
  return std::nullopt;
}

}  // namespace tidra
