// Indexes project rules by folder name, and selects the rule for a folder.
#pragma once

#include <bitset>
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

/// The project rules of the packs that are off, a bit each.
using OffRules = std::bitset<128>;

/// Whether a name, path or pattern of path components leads to an entry of an open folder.
bool leadsSomewhere(int folder, std::string_view pattern);

/// What rules need to know about entries of one name.
struct NameFacts {
  std::vector<const ProjectArtifactRule*> rules;  // with this folderName, in catalog order
  bool isMarker = false;                          // a rule looks for a file of this name

  // Rules of packs that are off, which look for this name:
  OffRules asMarker;  // beside a folder
  OffRules asFolder;  // as the folder beside the marker
  OffRules asInside;  // in a folder that needs no marker beside it
  OffRules asHolder;  // as that folder
};

/// What the listing of one folder shows of the packs that are off.
struct OffRulesSeen {
  OffRules markers;
  OffRules inside;
  OffRules folders;  // of subfolders that are walked into
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

  /// The catalog must outlive the index.
  RuleIndex(const RuleCatalog& catalog, TidraPlatform platform, const std::vector<const RulePack*>& offPacks = {});

  /// Returns null for a name without rules; does not look for patterns.
  const NameFacts* find(std::string_view name) const { return names_.find(name); }

  /// Returns what names a folder, given what find() returned for it: rules with its name, or those of the first pattern
  /// that matches; null without rules.
  const NameFacts* ofFolder(std::string_view name, const NameFacts* exact) const {
    if (exact != nullptr && !exact->rules.empty()) return exact;
    return patterns_.empty() ? nullptr : firstPattern(name);
  }

  /// Notes an entry for the packs that are off; `facts` is what find() returned for its name.
  void note(const NameFacts* facts, std::string_view name, OffRulesSeen& seen) const {
    if (facts != nullptr) {
      seen.markers |= facts->asMarker;
      seen.inside |= facts->asInside;
    } else if (const auto dot = name.rfind('.'); dot != std::string_view::npos) {
      if (const OffRules* rules = suffixMarkers_.find(name.substr(dot + 1))) seen.markers |= *rules;
    }
  }

  /// Returns the packs that are off, a bit each by their index, and that would find a subfolder of the listed folder or
  /// the folder itself.
  std::uint64_t offPacksMet(const OffRulesSeen& seen, std::string_view folder, std::string_view parent) const {
    const bool isMet = (seen.markers & seen.folders).any() || seen.inside.any();
    return isMet ? packsOf(seen, folder, parent) : 0;
  }

  /// Returns the first rule that matches the folder `name` in `project`; nullopt if none does.
  static std::optional<RuleMatch> choose(const NameFacts& facts, ProjectFolder& project, std::string_view name);

 private:
  struct OffRule {
    const ProjectArtifactRule* rule;
    std::uint64_t pack;
  };

  void add(const ProjectArtifactRule& rule);
  void addOff(const ProjectArtifactRule& rule, std::uint64_t pack);
  const NameFacts* firstPattern(std::string_view name) const;
  std::uint64_t packsOf(const OffRulesSeen& seen, std::string_view folder, std::string_view parent) const;

  NameMap<NameFacts> names_;
  std::vector<std::pair<std::string, NameFacts>> patterns_;  // in catalog order
  NameMap<OffRules> suffixMarkers_;                          // "cabal" for "*.cabal"
  std::vector<OffRule> offRules_;
};

}  // namespace tidra
