// Finds the git repository, or another marked folder, that contains a folder.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// Whether the folder contains ".git": a folder, or the file of a worktree or submodule.
bool holdsRepository(const std::string& folder);

/// Finds the nearest ancestor that contains an entry of one name, for many folders. Checks each ancestor once; time and
/// memory are linear in the number of different folders, independent of depth. Fastest in depth-first order. Not
/// thread-safe.
class MarkedFolderFinder {
 public:
  /// `marker` is the name of the entry.
  explicit MarkedFolderFinder(std::string marker) : marker_(std::move(marker)) {}

  /// Returns the nearest folder at or above `folder` that contains the marker, as a prefix of `folder`; nullopt if none
  /// does. Ignores markers planted by strangers in world-writable folders. `folder` must be absolute and standardised.
  /// Ancestors are those of the text: symbolic links are followed.
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
  std::string openPath_;                                         // start of lookups for longer paths; empty at first
  FileDescriptor open_;  // descriptor of openPath_; empty if it could not be opened
};

/// Finds the nearest repository, a folder with ".git".
class RepositoryFinder {
 public:
  /// See MarkedFolderFinder::of().
  std::optional<std::string_view> of(std::string_view folder) { return finder_.of(folder); }

 private:
  MarkedFolderFinder finder_{".git"};
};

}  // namespace tidra
