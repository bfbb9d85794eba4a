// Skip lists and exclusions compiled for a walk from the top down.
//
// A walk never enters what is barred, so each entry needs only the rules that can name it: prefixes form a tree of
// components that the walk descends along with itself, patterns of one component look at the entry's name, and longer
// ones are settled for all but their last component once per folder. An entry outside all of that costs one look-up.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/scan/exclusion_filter.h"
#include "core/scan/folder_node.h"
#include "core/scan/name_map.h"
#include "core/scan/stores.h"

namespace tidra {

class WalkFilter {
 public:
  /// A component of the tree of prefixes.
  struct Place {
    bool barred = false;       // not entered
    bool mounted = false;      // another file system begins here
    bool excluded = false;     // stays, and with it what holds it
    bool leadsToKept = false;  // somewhere below is what stays
    std::optional<StoreKind> store;
    NameMap<std::unique_ptr<Place>> children;
  };

  WalkFilter() = default;

  /// Bars a folder and everything below it. The path is absolute and standardised.
  void addPrefix(std::string_view path);
  void addPattern(const std::string& pattern);
  /// Marks a folder as one where another file system begins. That alone bars nothing.
  void addMount(std::string_view path);
  void add(const TidraScanExclusionFilter& filter);
  /// As addPrefix and add, and what they name stays even where no walk comes: inside a folder that is found whole.
  void addExcluded(std::string_view path);
  void addExclusions(const TidraScanExclusionFilter& filter);
  /// Bars nothing, but what the pattern matches inside a folder that is found whole stays.
  void addKept(const std::string& pattern);
  /// Bars a trash or quarantine that is known by its place; it stays wherever it lies.
  void addStore(const Store& store);

  /// What was added by addKept, barred; null when there is none.
  const WalkFilter* kept() const { return kept_.get(); }

  /// True when the path or one of its ancestors is barred. For single paths; a walk uses FolderFilter.
  bool bars(std::string_view path) const;

  /// Where a folder stands in the tree of prefixes; null when no prefix lies below it.
  const Place* placeOf(std::string_view path) const;
  static const Place* childPlace(const Place* place, std::string_view name);

 private:
  friend class FolderFilter;
  Place& makePlace(std::string_view path);
  Place& makeKeptPlace(std::string_view path);
  using LongPattern = std::vector<std::string>;  // components; the first of an absolute pattern is empty

  Place root_;
  NameMap<std::monostate> names_;
  std::vector<std::string> nameGlobs_;
  std::vector<LongPattern> longPatterns_;
  std::size_t mostComponents_ = 0;      // of a long pattern
  TidraScanExclusionFilter unsplit_;    // patterns whose "/" stand where they do not separate components
  TidraScanExclusionFilter reference_;  // everything, for single paths
  std::unique_ptr<WalkFilter> kept_;
};

/// What a WalkFilter says about the entries of one folder that is not barred itself.
class FolderFilter {
 public:
  /// `place` is the folder's place in the filter's tree. The filter and the folder must outlive this.
  FolderFilter(const WalkFilter& filter, const WalkFilter::Place* place, const FolderNode& folder);

  /// `name` is NUL-terminated.
  bool bars(std::string_view name) const;

  /// False when keeps() is false for every name.
  bool mayKeep() const {
    return place_ != nullptr || !lastComponents_.empty() || !filter_.unsplit_.globPatterns.empty();
  }

  /// True when the entry is excluded by its path or by a pattern with "/". One without "/" is about the names of
  /// folders that a walk meets: inside dependencies and build output, where every name occurs, it keeps nothing.
  bool keeps(std::string_view name) const;

 private:
  bool matchesLongPattern(std::string_view name) const;
  const std::string& path() const;

  const WalkFilter& filter_;
  const WalkFilter::Place* place_;
  const FolderNode& folder_;
  std::vector<const std::string*> lastComponents_;  // of the long patterns that match this folder so far
  mutable std::string path_;                        // made when it is asked for
};

}  // namespace tidra
