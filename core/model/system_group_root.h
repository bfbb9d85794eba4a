// Pseudo-paths that group system findings by category.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidra {

struct TidraSystemGroupRoot {
  static constexpr std::string_view prefix = "__tidra:system:";

  /// Returns "__tidra:system:" + a name derived from the category key + "__".
  static std::string forCategory(std::string_view key);

  /// Returns the category key of a system group root; nullopt for any other path.
  static std::optional<std::string> category(std::string_view groupRoot);
};

}  // namespace tidra
