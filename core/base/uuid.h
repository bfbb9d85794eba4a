// Names that nothing else has.
#pragma once

#include <string>

namespace tidra {

/// A random UUID (version 4) in upper case.
std::string makeUuid();

}  // namespace tidra
