// Compiles skip lists and exclusions for a top-down walk.
//
// Since a walk never enters a barred folder, each entry needs only the rules that can name it: prefixes form a tree
// that the walk descends in parallel; single-component patterns match the entry's name; longer ones are matched once
// per folder up to their last component. Any other entry costs one lookup.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "core/platform/lower_layer.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/folder_node.h"
#include "core/scan/name_map.h"
#include "core/scan/stores.h"

namespace tidra {

class WalkFilter {
 public:
  /// A node of the prefix tree.
  struct Place {
    bool barred = false;       // not entered
    bool mounted = false;      // another file system is mounted here
    bool excluded = false;     // must stay, with every folder that contains it
    bool leadsToKept = false;  // something below must stay
    std::optional<StoreKind> store;
    NameMap<std::unique_ptr<Place>> children;
  };

  WalkFilter() = default;

  /// Bars a folder and everything below it. The path must be absolute and standardised.
  void addPrefix(std::string_view path);
  void addPattern(const std::string& pattern);
  /// Marks a mount point. Does not bar it.
  void addMount(std::string_view path);
  /// Sets the overlays among the mounts, whose lower layers keep what is removed.
  void setLayers(OverlayLayers layers) { layers_ = std::move(layers); }
  void add(const TidraScanExclusionFilter& filter);
  /// As addPrefix() and add(); matches also stay inside a folder that is one finding, where no walk goes.
  void addExcluded(std::string_view path);
  void addExclusions(const TidraScanExclusionFilter& filter);
  /// Bars nothing; matches inside a folder that is one finding stay.
  void addKept(const std::string& pattern);
  /// Names the first folder of a traversal with symbolic links resolved. Patterns match both spellings of what lies in
  /// it.
  void addSpelling(const std::string& walked, const std::string& real);
  /// Reports what is barred or kept to `use`; null to stop.
  void watch(std::shared_ptr<ExclusionUse> use) { use_ = std::move(use); }
  /// Bars a trash or quarantine at a known path; it always stays.
  void addStore(const Store& store);

  /// Returns a filter that bars the addKept() patterns; null if there are none.
  const WalkFilter* kept() const { return kept_.get(); }

  const OverlayLayers& layers() const { return layers_; }

  /// Whether a path or an ancestor is barred. For single paths; walks use FolderFilter.
  bool bars(std::string_view path) const;

  /// Returns a folder's node in the prefix tree; null if no prefix lies below it.
  const Place* placeOf(std::string_view path) const;
  static const Place* childPlace(const Place* place, std::string_view name);

 private:
  friend class FolderFilter;
  /// Returns the other spelling of a traversal's first folder; null without one.
  const std::string* spellingOf(const FolderNode& folder) const;
  bool barsUnwatched(std::string_view path) const;
  bool barsAncestors(std::string_view path) const;
  Place& makePlace(std::string_view path);
  Place& makeKeptPlace(std::string_view path);
  using LongPattern = std::vector<std::string>;  // components; the first of an absolute pattern is empty

  Place root_;
  OverlayLayers layers_;
  NameMap<std::monostate> names_;
  std::vector<std::string> nameGlobs_;
  std::vector<LongPattern> longPatterns_;
  std::size_t mostComponents_ = 0;      // of the longest pattern
  TidraScanExclusionFilter unsplit_;    // patterns in which not every "/" separates components
  TidraScanExclusionFilter reference_;  // all rules, for bars()
  std::unique_ptr<WalkFilter> kept_;
  std::shared_ptr<ExclusionUse> use_;
  std::map<std::string, std::string> spellings_;  // of first folders, by the path that the traversal uses
};

/// A WalkFilter applied to the entries of one folder that is not barred itself.
class FolderFilter {
 public:
  /// `place` is the folder's node in the filter's tree. The filter and the folder must outlive this.
  FolderFilter(const WalkFilter& filter, const WalkFilter::Place* place, const FolderNode& folder);

  /// `name` is NUL-terminated.
  bool bars(std::string_view name) const;

  /// As bars(), for patterns without "/" only.
  bool barsByName(std::string_view name) const;

  /// False if keeps() is false for every name.
  bool mayKeep() const {
    return place_ != nullptr || !lastComponents_.empty() || !filter_.unsplit_.globPatterns.empty();
  }

  /// Whether an entry is excluded by path or by a pattern with "/". In dependencies and build output every name
  /// occurs, so patterns without "/" apply to folders on the walk, and to what lies in a place outside projects.
  bool keeps(std::string_view name) const;

 private:
  void matchTail(const std::string* spelling);
  bool barsUnwatched(std::string_view name) const;
  bool matchesName(std::string_view name) const;
  bool matchesLongPattern(std::string_view name) const;
  bool matchesUnsplit(std::string_view name) const;
  const std::string& path() const;
  void report(std::string_view name) const;

  const WalkFilter& filter_;
  const WalkFilter::Place* place_;
  const FolderNode& folder_;
  std::vector<const std::string*> lastComponents_;  // of long patterns that match this folder up to the last component
  const std::string* otherSpelling_ = nullptr;      // of the first folder
  mutable std::string path_;                        // computed on first use
};

}  // namespace tidra
