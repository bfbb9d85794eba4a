// Random identifiers.
#pragma once

#include <string>

namespace tidra {

/// Returns a random UUID (version 4) in upper case.
std::string makeUuid();

}  // namespace tidra
