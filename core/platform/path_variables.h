// Variable references in paths: "$NAME", with "{" before and "}" behind the name both optional.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/platform/path_resolver.h"

namespace tidra {

struct VariableReference {
  std::size_t length = 0;  // 0: no reference
  std::string name;
};

/// Parses the reference at `start`, which must be a "$".
VariableReference variableReferenceAt(std::string_view text, std::size_t start);

/// Returns the name of the first variable that is unset or empty and has no default; nullopt if all have a value.
std::optional<std::string> unknownVariable(std::string_view text, const TidraPathResolver& resolver);

}  // namespace tidra
