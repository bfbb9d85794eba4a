// Identifiers that are equal across runs and hosts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tidra {

struct StableID {
  /// Returns the 64-bit FNV-1a hash. Whoever chooses paths can make two of them collide.
  static std::uint64_t number(std::string_view bytes);

  /// Returns the number as 16 lower-case hexadecimal digits.
  static std::string make(std::string_view bytes);
};

}  // namespace tidra
