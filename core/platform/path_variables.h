// Variables in the texts of paths: "$NAME" with an optional "{" before and an optional "}" behind the name.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/platform/path_resolver.h"

namespace tidra {

struct VariableReference {
  std::size_t length = 0;  // 0 when no variable is referenced here
  std::string name;
};

/// The reference at `start`, where a "$" stands.
VariableReference variableReferenceAt(std::string_view text, std::size_t start);

/// The name of the first variable in a text that has no value: not set, or empty, and without a default. None when
/// there is no such one.
std::optional<std::string> unknownVariable(std::string_view text, const TidraPathResolver& resolver);

}  // namespace tidra
