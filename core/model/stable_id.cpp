#include "core/model/stable_id.h"

#include <fmt/format.h>

namespace tidra {

std::uint64_t StableID::number(std::string_view bytes) {
  constexpr std::uint64_t offsetBasis = 0xcbf29ce484222325U;
  constexpr std::uint64_t prime = 0x100000001b3U;
  std::uint64_t hash = offsetBasis;
  for (const char byte : bytes) {
    hash ^= static_cast<unsigned char>(byte);
    hash *= prime;
  }
  return hash;
}

std::string StableID::make(std::string_view bytes) { return fmt::format("{:016x}", number(bytes)); }

}  // namespace tidra
