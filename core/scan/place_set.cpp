#include "core/scan/place_set.h"

#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {

bool PlaceSet::covers(std::string_view place) const {
  for (;;) {
    if (places_.contains(place)) return true;
    const auto slash = place.rfind('/');
    if (slash == std::string_view::npos || place.size() <= 1) return false;
    place = place.substr(0, slash == 0 ? 1 : slash);
  }
}

bool PlaceSet::reachesInto(const std::string& place) const {
  if (places_.contains(place)) return true;
  const std::string below = joinedPath(place, "");
  const auto first = places_.lower_bound(below);
  return first != places_.end() && first->starts_with(below);
}

std::string RealPlaces::of(const std::string& path) {
  const std::string folder = parentPath(path);
  auto known = folders_.find(folder);
  if (known == folders_.end()) {
    const auto real = realPath(folder);
    known = folders_.emplace(folder, real ? *real : folder).first;
  }
  return joinedPath(known->second, lastPathComponent(path));
}

}  // namespace tidra
