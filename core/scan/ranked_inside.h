// Folders inside a measured one that rules put above tier safe. Walks do not go there, or the options of a scan keep
// them from it, but removing the outer folder removes them, too.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/model/inside_notes.h"
#include "core/platform/directory_reader.h"
#include "core/scan/folder_node.h"
#include "core/scan/rule_index.h"

namespace tidra {

/// Returns the path of a folder, or of an entry of it if named, relative to a folder that contains it, bounded as
/// InsideNotes says.
std::string pathInside(const FolderNode& first, const FolderNode& folder, std::string_view name = {});

/// The subfolders of one folder. In what tools install or build, every name of such folders occurs. Names of folders
/// that are safe to remove elsewhere do not count there, others that the built-in rules know only with their tool's
/// mark inside.
class RankedInside {
 public:
  /// `rules` must outlive this; null: nothing is looked for. `isOfTool`: a tool made the folder or one around it.
  RankedInside(const RuleIndex* rules, bool isOfTool) : rules_(rules), isOfTool_(isOfTool) {}

  /// Call for each subfolder while listing. Returns whether its contents are a tool's.
  bool note(std::string_view name);

  /// Returns the highest one. Call after listing: rules may need the listing again, through the same descriptor.
  /// Its path is relative to `first`, which contains the folder.
  std::optional<InsideNotes::Ranked> highest(const FolderNode& first, const FolderNode& folder,
                                             DirectoryReader& reader) const;

  /// Whether the first one is to be reported rather than the second.
  static bool outranks(const InsideNotes::Ranked& one, const InsideNotes::Ranked& other) {
    return one.tier != other.tier ? one.tier > other.tier : one.path < other.path;
  }

 private:
  const RuleIndex* rules_;
  bool isOfTool_;
  std::vector<std::pair<std::string, const NameFacts*>> candidates_;
};

}  // namespace tidra
