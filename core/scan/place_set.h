// Which places on disk hold which others. Places are absolute paths without links.
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

  /// True for a place that was added, when no other one holds it.
  bool contains(std::string_view place) const { return places_.contains(place); }

  /// True when one of the places is this one or holds it.
  bool covers(std::string_view place) const;

  /// True when one of the places is this one, holds it or lies in it.
  bool reachesInto(const std::string& place) const;

 private:
  struct DepthFirst {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const { return pathPrecedes(left, right); }
  };

  /// None inside another. In this order the one that holds a place is the last one not behind it.
  std::set<std::string, DepthFirst> places_;
};

/// Resolves the links on the way to many paths that share their parent folders. Their last components are no links.
class RealPlaces {
 public:
  std::string of(const std::string& path);

 private:
  std::unordered_map<std::string, std::string> folders_;
};

}  // namespace tidra
