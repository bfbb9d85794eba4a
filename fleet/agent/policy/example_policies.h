// The example policies that ship with the program.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace tidra {

struct ExamplePolicies {
  static constexpr std::array<std::string_view, 2> names{"agent-host", "developer"};

  /// The JSON text of an example, unchanged; none for an unknown name.
  static std::optional<std::string_view> text(std::string_view name);
};

}  // namespace tidra
