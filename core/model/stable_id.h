// Identifiers that stay the same across runs and hosts.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

struct StableID {
  /// The 64-bit FNV-1a hash of the bytes as 16 lower-case hexadecimal digits.
  static std::string make(std::string_view bytes);
};

}  // namespace tidra
