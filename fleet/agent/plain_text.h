// Finding, a word at a time, where ordinary text ends. Nearly all text of a log is ordinary.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tidra {

/// The eight bytes there, and the high bit of each of them that is no plain text: that is no ASCII, or is a control
/// character, a quote or a backslash. Only the lowest mark is sure.
struct PlainTextWord {
  std::uint64_t bytes = 0;
  std::uint64_t marks = 0;

  explicit PlainTextWord(const char* text) {
    std::memcpy(&bytes, text, sizeof bytes);
    constexpr std::uint64_t everyByte = 0x0101010101010101U;
    constexpr std::uint64_t highBits = 0x8080808080808080U;
    // Taking away what is tested for sets the high bit of a byte that is less. What it borrows may mark the next ones.
    const std::uint64_t quotes = (bytes ^ (everyByte * '"')) - everyByte;
    const std::uint64_t backslashes = (bytes ^ (everyByte * '\\')) - everyByte;
    const std::uint64_t controls = bytes - everyByte * ' ';
    marks = (quotes | backslashes | controls | bytes) & highBits;
  }
};

inline bool isPlain(char byte) {
  const auto c = static_cast<unsigned char>(byte);
  return c >= ' ' && c < 0x80 && c != '"' && c != '\\';
}

/// How many bytes at the beginning are plain text, which stands in JSON text as it is.
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

/// Copies a text that is plain as a whole to where there is room for it; otherwise false, and anything may stand there.
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
    copyWord(text.size() - wordBytes);  // overlaps the one before it
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
