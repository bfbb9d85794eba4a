// Finding, a word at a time, where ordinary text ends. Nearly all text of a log is ordinary.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tidra {

/// How many bytes at the beginning are ASCII that stands in JSON text as it is: no control character, quote or
/// backslash.
inline std::size_t plainLength(std::string_view text) {
  constexpr std::uint64_t everyByte = 0x0101010101010101U;
  constexpr std::uint64_t highBits = 0x8080808080808080U;
  std::size_t at = 0;
  for (; text.size() - at >= sizeof(std::uint64_t); at += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + at, sizeof word);
    // Marks the high bit of each byte that is zero in it. What follows the first such byte may be marked wrongly.
    const auto zero = [](std::uint64_t bytes) { return (bytes - everyByte) & ~bytes; };
    const std::uint64_t found =
        (zero(word ^ (everyByte * '"')) | zero(word ^ (everyByte * '\\')) | (word - everyByte * ' ') | word) & highBits;
    if (found == 0) continue;
    if constexpr (std::endian::native != std::endian::little) break;
    return at + static_cast<std::size_t>(std::countr_zero(found)) / 8;
  }
  for (; at < text.size(); ++at) {
    const unsigned char c = static_cast<unsigned char>(text[at]);
    if (c < ' ' || c >= 0x80 || c == '"' || c == '\\') break;
  }
  return at;
}

}  // namespace tidra
