// Sets of paths with containment queries. Paths are absolute, with symbolic links resolved.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/base/text.h"

namespace tidra {

class PlaceSet {
 public:
  void add(const std::string& place);

  /// Whether this path was added and no other one contains it.
  bool contains(std::string_view place) const { return places_.contains(place); }

  /// Whether a path in the set equals or contains it.
  bool covers(std::string_view place) const;

  /// Whether a path in the set equals it, contains it or lies in it.
  bool reachesInto(const std::string& place) const;

 private:
  struct DepthFirst {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const { return pathPrecedes(left, right); }
  };

  /// No path lies in another. In depth-first order the container of a path is its predecessor.
  std::set<std::string, DepthFirst> places_;
};

/// Resolves symbolic links in parent folders, cached for paths that share them. Last components are not resolved.
class RealPlaces {
 public:
  std::string of(const std::string& path);

 private:
  std::unordered_map<std::string, std::string> folders_;
};

}  // namespace tidra
