// Identifiers that are equal across runs and hosts.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

struct StableID {
  /// Returns the 64-bit FNV-1a hash as 16 lower-case hexadecimal digits.
  static std::string make(std::string_view bytes);
};

}  // namespace tidra
