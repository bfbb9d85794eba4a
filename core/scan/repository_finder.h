// Which repository of git a folder lies in, and which other marked folder.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// True when the folder holds an entry ".git": a folder, or the file of a worktree or submodule.
bool holdsRepository(const std::string& folder);

/// Finds the nearest folder around many folders that holds an entry of one name. Each folder on the way is looked at
/// once; time and memory grow with the number of different folders, however deep they lie and whatever the length of
/// their paths. Fastest when folders come depth first. Not to be shared between threads.
class MarkedFolderFinder {
 public:
  /// `marker` is the name of the entry.
  explicit MarkedFolderFinder(std::string marker) : marker_(std::move(marker)) {}

  /// The nearest folder at or above this one that holds the marker, as the beginning of `folder`; none when there is
  /// none. A marker that a stranger put where everybody may write does not count. `folder` is absolute and
  /// standardised. Links on the way are followed, so ancestors are those of the path's text.
  std::optional<std::string_view> of(std::string_view folder);

 private:
  struct Place {
    std::size_t number = 0;
    bool isMarked = false;
  };

  const Place& placeOf(std::size_t parent, std::string_view folder);
  bool holdsMarker(std::string_view folder);
  void moveTo(std::string_view folder);

  std::string marker_;
  std::optional<bool> top_;                                      // whether "/" is marked
  std::map<std::pair<std::size_t, std::string>, Place> places_;  // by number of the parent and name; 0 is "/"
  std::string openPath_;                                         // where looking at longer paths begins; empty at first
  FileDescriptor open_;                                          // that folder; closed when it could not be opened
};

/// Finds the nearest repository, which is a folder that holds ".git".
class RepositoryFinder {
 public:
  /// As MarkedFolderFinder::of.
  std::optional<std::string_view> of(std::string_view folder) { return finder_.of(folder); }

 private:
  MarkedFolderFinder finder_{".git"};
};

}  // namespace tidra
