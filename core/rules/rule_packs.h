// Rule packs: catalogs that this build contains beside the built-in one, off until somebody switches them on.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/rules/rule_catalog.h"

namespace tidra {

struct RulePack {
  std::string name;    // as users type it: "elixir"
  std::string title;   // "Elixir"
  std::string covers;  // what it finds, for display
  RuleCatalog catalog;

  /// Returns the packs of this build in byte order of their names, decoded once and shared. Each project rule demands a
  /// marker beside the folder or something inside it. Aborts the program if one is invalid.
  static const std::vector<RulePack>& all();

  /// Returns null for an unknown name.
  static const RulePack* find(std::string_view name);

  /// Returns the sentence about an unknown name, with the nearest one.
  static std::string unknownText(std::string_view name);
};

}  // namespace tidra
