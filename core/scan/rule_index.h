// The project rules by the names they look for, and the choice of the rule for one folder.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/directory_reader.h"
#include "core/rules/rule_catalog.h"
#include "core/scan/name_map.h"

namespace tidra {

/// What the rules want to know about entries of one name.
struct NameFacts {
  std::vector<const ProjectArtifactRule*> rules;  // with this folderName, in catalog order
  bool isMarker = false;                          // some rule looks for a file of this name
};

/// The folder that holds an artefact, as far as rules ask about it. Its listing has been read once; patterns make it
/// read a second time through the same descriptor, and only when a rule comes to them.
class ProjectFolder {
 public:
  ProjectFolder(std::string_view name, int descriptor, DirectoryReader& reader)
      : name_(name), descriptor_(descriptor), reader_(reader) {}

  /// Notes an entry whose name is a marker. A link counts when it leads somewhere.
  void noteMarker(const DirectoryEntry& entry);

  std::string_view name() const { return name_; }
  /// True when this marker file, plain name, path or pattern, is found in the folder.
  bool holds(const std::string& markerFile);

 private:
  std::string_view name_;
  int descriptor_;
  DirectoryReader& reader_;
  std::vector<std::string> seenMarkers_;
  std::optional<std::vector<std::string>> listing_;
};

/// A rule that a folder satisfies, with the ecosystem that a marker or the rule itself gives.
struct RuleMatch {
  const ProjectArtifactRule* rule = nullptr;
  const std::string* ecosystem = nullptr;
};

class RuleIndex {
 public:
  /// The catalog must outlive the index.
  RuleIndex(const RuleCatalog& catalog, TidraPlatform platform);

  /// Null for a name that no rule asks about.
  const NameFacts* find(std::string_view name) const { return names_.find(name); }

  /// The first of the name's rules that a folder in `project` satisfies; none when no rule does.
  static std::optional<RuleMatch> choose(const NameFacts& facts, ProjectFolder& project);

 private:
  NameMap<NameFacts> names_;
};

}  // namespace tidra
