// Which places on disk hold which others. Places are absolute paths without links.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tidra {

class PlaceSet {
 public:
  void add(std::string place) { places_.insert(std::move(place)); }

  /// True when one of the places is this one or holds it.
  bool covers(std::string_view place) const;

  /// True when one of the places is this one or lies in it.
  bool reachesInto(const std::string& place) const;

 private:
  std::set<std::string, std::less<>> places_;
};

/// Resolves the links on the way to many paths that share their parent folders. Their last components are no links.
class RealPlaces {
 public:
  std::string of(const std::string& path);

 private:
  std::unordered_map<std::string, std::string> folders_;
};

}  // namespace tidra
