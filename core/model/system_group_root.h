// The pseudo-paths under which system findings are grouped by category.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidra {

struct TidraSystemGroupRoot {
  static constexpr std::string_view prefix = "__tidra:system:";

  /// "__tidra:system:" + a name made of the category key + "__".
  static std::string forCategory(std::string_view key);

  /// The category key of a system group root; none for any other path.
  static std::optional<std::string> category(std::string_view groupRoot);
};

}  // namespace tidra
