#include "core/scan/place_set.h"

#include <iterator>

#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {

void PlaceSet::add(const std::string& place) {
  if (covers(place)) return;
  auto inner = places_.lower_bound(place);
  while (inner != places_.end() && isSameOrInside(*inner, place)) inner = places_.erase(inner);
  places_.insert(inner, place);
}

bool PlaceSet::covers(std::string_view place) const {
  const auto next = places_.upper_bound(place);
  return next != places_.begin() && isSameOrInside(place, *std::prev(next));
}

bool PlaceSet::reachesInto(const std::string& place) const {
  const auto first = places_.lower_bound(place);
  return covers(place) || (first != places_.end() && isSameOrInside(*first, place));
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
