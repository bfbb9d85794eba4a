// Indexes project rules by folder name, and selects the rule for a folder.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/directory_reader.h"
#include "core/rules/rule_catalog.h"
#include "core/scan/name_map.h"

namespace tidra {

/// What rules need to know about entries of one name.
struct NameFacts {
  std::vector<const ProjectArtifactRule*> rules;  // with this folderName, in catalog order
  bool isMarker = false;                          // a rule looks for a file of this name
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
  /// The catalog must outlive the index.
  RuleIndex(const RuleCatalog& catalog, TidraPlatform platform);

  /// Returns null for a name without rules.
  const NameFacts* find(std::string_view name) const { return names_.find(name); }

  /// Returns the first rule that matches a folder in `project`; nullopt if none does.
  static std::optional<RuleMatch> choose(const NameFacts& facts, ProjectFolder& project);

 private:
  NameMap<NameFacts> names_;
};

}  // namespace tidra
