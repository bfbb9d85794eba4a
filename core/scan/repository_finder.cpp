// Folders are numbered and keyed by parent number and name: memory is linear in the names, not in path lengths. New
// folders are looked up relative to an open ancestor within one system call's path length.
#include "core/scan/repository_finder.h"

#include <algorithm>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr std::size_t longestStep = 1000;  // bytes; below PATH_MAX on every platform

/// A marker planted by a stranger in a shared folder does not count.
template <class Holder>
bool counts(const Outcome<EntryFacts>& marker, Holder holder) {
  if (!marker) return false;
  const auto facts = holder();
  return facts && !isPlanted(*marker, *facts);
}

}  // namespace

bool holdsRepository(const std::string& folder) { return static_cast<bool>(pathFacts(joinedPath(folder, ".git"))); }

std::optional<std::string_view> MarkedFolderFinder::of(std::string_view folder) {
  if (!top_) top_ = holdsMarker("/");
  std::optional<std::string_view> marked;
  if (*top_) marked = folder.substr(0, 1);
  std::size_t parent = 0;
  for (const std::string_view name : splitNonEmpty(folder, '/')) {
    const auto upToHere = folder.substr(0, static_cast<std::size_t>(name.data() + name.size() - folder.data()));
    const Place& place = placeOf(parent, upToHere);
    if (place.isMarked) marked = upToHere;
    parent = place.number;
  }
  return marked;
}

const MarkedFolderFinder::Place& MarkedFolderFinder::placeOf(std::size_t parent, std::string_view folder) {
  std::pair key{parent, std::string(lastPathComponent(folder))};
  const auto known = places_.find(key);
  if (known != places_.end()) return known->second;
  const Place place{places_.size() + 1, holdsMarker(folder)};
  return places_.emplace(std::move(key), place).first->second;
}

bool MarkedFolderFinder::holdsMarker(std::string_view folder) {
  if (folder.size() <= longestStep) {
    const std::string place(folder);
    return counts(pathFacts(joinedPath(place, marker_)), [&] { return followedFacts(place); });
  }
  const bool isBelow = !openPath_.empty() && isSameOrInside(folder, openPath_);
  if (!isBelow || (open_ && folder.size() - openPath_.size() > longestStep)) moveTo(folder);
  if (!open_) return false;  // nothing exists below a missing folder
  const auto below = folder.substr(std::min(folder.size(), openPath_.size() + 1));
  const std::string place(below.empty() ? "." : below);
  return counts(entryFacts(open_.get(), joinedPath(place, marker_).c_str()),
                [&] { return followedEntryFacts(open_.get(), place.c_str()); });
}

void MarkedFolderFinder::moveTo(std::string_view folder) {
  const auto below = folder.substr(std::min(folder.size(), openPath_.size() + 1));
  Outcome<FileDescriptor> opened = std::make_error_code(std::errc::filename_too_long);
  if (open_ && isSameOrInside(folder, openPath_) && below.size() <= 2 * longestStep) {
    opened = openSubdirectory(open_.get(), std::string(below).c_str());
  }
  if (!opened) opened = openDirectory(folder);  // from "/", following symbolic links
  open_ = opened ? std::move(*opened) : FileDescriptor{};
  openPath_ = folder;
}

}  // namespace tidra
