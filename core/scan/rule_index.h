// Indexes project rules by folder name, and selects the rule for a folder.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/platform/directory_reader.h"
#include "core/rules/rule_catalog.h"
#include "core/rules/rule_packs.h"
#include "core/scan/name_map.h"

namespace tidra {

/// What rules need to know about entries of one name.
struct NameFacts {
  std::vector<const ProjectArtifactRule*> rules;  // with this folderName, in catalog order
  bool isMarker = false;                          // a rule looks for a file of this name

  // Bits of the packs that are off, with rules that look for this name:
  std::uint64_t markerOfPacks = 0;  // beside a folder
  std::uint64_t folderOfPacks = 0;  // as the folder beside the marker
  std::uint64_t insideOfPacks = 0;  // in a folder that needs no marker beside it
  std::uint64_t holderOfPacks = 0;  // as that folder
};

/// The parent folder of an artefact, as rules query it. Its listing was read once; a second read, through the same
/// descriptor, happens only when a rule needs a pattern.
class ProjectFolder {
 public:
  ProjectFolder(std::string_view name, int descriptor, DirectoryReader& reader)
      : name_(name), descriptor_(descriptor), reader_(reader) {}

  /// Notes an entry whose name is a marker. Dangling symbolic links do not count.
  void noteMarker(const DirectoryEntry& entry);
  /// Looks for the marker files of a name's rules, where the listing did not note them.
  void lookForMarkers(const NameFacts& facts);

  std::string_view name() const { return name_; }
  /// Whether the folder contains this marker file (name, path or pattern).
  bool holds(const std::string& markerFile);
  /// Whether one of these (names, paths or patterns) lies in a subfolder.
  bool subfolderHolds(std::string_view name, const std::vector<std::string>& files) const;

 private:
  std::string_view name_;
  int descriptor_;
  DirectoryReader& reader_;
  std::vector<std::string> seenMarkers_;
  std::optional<std::vector<std::string>> listing_;
};

/// A rule that matches a folder, with the ecosystem of the marker or the rule.
struct RuleMatch {
  const ProjectArtifactRule* rule = nullptr;
  const std::string* ecosystem = nullptr;
};

class RuleIndex {
 public:
  /// The most packs that can be off.
  static constexpr std::size_t mostPacks = 64;

  /// The catalog must outlive the index. `offPacks` are noted by their index in NameFacts.
  RuleIndex(const RuleCatalog& catalog, TidraPlatform platform, const std::vector<const RulePack*>& offPacks = {});

  /// Returns null for a name without rules; does not look for patterns.
  const NameFacts* find(std::string_view name) const { return names_.find(name); }

  /// Returns what names a folder, given what find() returned for it: rules with its name, or those of the first pattern
  /// that matches; null without rules.
  const NameFacts* ofFolder(std::string_view name, const NameFacts* exact) const {
    if (exact != nullptr && !exact->rules.empty()) return exact;
    return patterns_.empty() ? nullptr : firstPattern(name);
  }

  /// Returns the bits of the packs that are off and would find a folder of this name if it holds what they demand.
  std::uint64_t packsOfHolder(std::string_view name) const;

  /// Returns the first rule that matches the folder `name` in `project`; nullopt if none does.
  static std::optional<RuleMatch> choose(const NameFacts& facts, ProjectFolder& project, std::string_view name);

 private:
  void add(const ProjectArtifactRule& rule);
  void addOff(const ProjectArtifactRule& rule, std::uint64_t pack);
  void addOffHolder(const ProjectArtifactRule& rule, const std::vector<std::string>& names, std::uint64_t pack);
  const NameFacts* firstPattern(std::string_view name) const;

  NameMap<NameFacts> names_;
  std::vector<std::pair<std::string, NameFacts>> patterns_;            // in catalog order
  std::vector<std::pair<std::string, std::uint64_t>> holderPatterns_;  // of the packs that are off
};

}  // namespace tidra
