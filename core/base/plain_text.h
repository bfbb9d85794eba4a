// A word-at-a-time (SWAR) scan for characters that JSON must escape. Nearly all text of a log is plain.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tidra {

/// Eight bytes, with the high bit set of each that is not plain: non-ASCII, a control character, a quote or a
/// backslash. Only the lowest mark is reliable.
struct PlainTextWord {
  std::uint64_t bytes = 0;
  std::uint64_t marks = 0;

  explicit PlainTextWord(const char* text) {
    std::memcpy(&bytes, text, sizeof bytes);
    constexpr std::uint64_t everyByte = 0x0101010101010101U;
    constexpr std::uint64_t highBits = 0x8080808080808080U;
    // Subtracting sets the high bit of a smaller byte. Borrows can set false marks above the lowest one.
    const std::uint64_t quotes = (bytes ^ (everyByte * '"')) - everyByte;
    const std::uint64_t backslashes = (bytes ^ (everyByte * '\\')) - everyByte;
    const std::uint64_t controls = bytes - everyByte * ' ';
    marks = (quotes | backslashes | controls | bytes) & highBits;
  }
};

constexpr bool isPlain(char byte) {
  const auto c = static_cast<unsigned char>(byte);
  return c >= ' ' && c < 0x80 && c != '"' && c != '\\';
}

/// Length of the plain prefix, which needs no escaping in JSON.
inline std::size_t plainLength(std::string_view text) {
  std::size_t at = 0;
  for (; text.size() - at >= sizeof(std::uint64_t); at += sizeof(std::uint64_t)) {
    const PlainTextWord word(text.data() + at);
    if (word.marks == 0) continue;
    if constexpr (std::endian::native != std::endian::little) break;
    return at + static_cast<std::size_t>(std::countr_zero(word.marks)) / 8;
  }
  while (at < text.size() && isPlain(text[at])) ++at;
  return at;
}

/// Copies a text if it is all plain; else returns false with `to` overwritten.
inline bool copyPlain(std::string_view text, char* to) {
  constexpr std::size_t wordBytes = sizeof(std::uint64_t);
  std::uint64_t marks = 0;
  const auto copyWord = [&](std::size_t at) {
    const PlainTextWord word(text.data() + at);
    marks |= word.marks;
    std::memcpy(to + at, &word.bytes, wordBytes);
  };
  std::size_t at = 0;
  for (; text.size() - at >= wordBytes; at += wordBytes) copyWord(at);
  if (at > 0 && at < text.size()) {
    copyWord(text.size() - wordBytes);  // overlaps the one before
    at = text.size();
  }
  bool isWhole = marks == 0;
  for (; at < text.size(); ++at) {
    isWhole = isWhole && isPlain(text[at]);
    to[at] = text[at];
  }
  return isWhole;
}

}  // namespace tidra
