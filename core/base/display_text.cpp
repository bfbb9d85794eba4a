#include "core/base/display_text.h"

#include <algorithm>

#include "core/base/text.h"

namespace tidra {

std::vector<std::string_view> displayCharacters(std::string_view text) {
  std::vector<std::string_view> characters;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t next = i + 1;
    while (next < text.size() && isUtf8Continuation(text[next])) ++next;
    const std::string_view character = text.substr(i, next - i);
    if (!characters.empty() && displayWidth(character) == 0) {
      characters.back() = {characters.back().data(), characters.back().size() + character.size()};
    } else {
      characters.push_back(character);
    }
    i = next;
  }
  return characters;
}

std::string_view displayPrefix(std::string_view text, std::size_t width) {
  std::size_t bytes = 0;
  std::size_t taken = 0;
  for (const std::string_view character : displayCharacters(text)) {
    taken += displayWidth(character);
    if (taken > width) break;
    bytes += character.size();
  }
  return text.substr(0, bytes);
}

std::string_view displaySuffix(std::string_view text, std::size_t width) {
  std::size_t bytes = 0;
  std::size_t taken = 0;
  const auto characters = displayCharacters(text);
  for (auto character = characters.rbegin(); character != characters.rend(); ++character) {
    taken += displayWidth(*character);
    if (taken > width) break;
    bytes += character->size();
  }
  return text.substr(text.size() - bytes);
}

std::string cutAtEnd(std::string_view text, std::size_t width, std::string_view mark) {
  if (displayWidth(text) <= width) return std::string(text);
  const std::string shown(displayPrefix(mark, width));
  return std::string(displayPrefix(text, width - displayWidth(shown))) + shown;
}

std::string cutInside(std::string_view text, std::size_t width, std::string_view mark) {
  if (displayWidth(text) <= width) return std::string(text);
  const std::string shown(displayPrefix(mark, width));
  const std::size_t left = width - displayWidth(shown);
  const std::size_t ahead = left / 3;
  return std::string(displayPrefix(text, ahead)) + shown + std::string(displaySuffix(text, left - ahead));
}

void appendUtf8(std::string& text, char32_t scalar) {
  if (scalar < 0x80) {
    text += static_cast<char>(scalar);
    return;
  }
  const unsigned more = scalar < 0x800 ? 1 : scalar < 0x10000 ? 2 : 3;
  text += static_cast<char>(((0xFFU << (7 - more)) & 0xFFU) | (scalar >> (6 * more)));
  for (unsigned i = more; i-- > 0;) text += static_cast<char>(0x80U | ((scalar >> (6 * i)) & 0x3FU));
}

std::u32string utf8Scalars(std::string_view text) {
  std::u32string scalars;
  for (const char byte : text) {
    const auto bits = static_cast<unsigned char>(byte);
    if (isUtf8Continuation(byte)) {
      if (!scalars.empty()) scalars.back() = (scalars.back() << 6U) | (bits & 0x3FU);
    } else {
      scalars += bits < 0x80 ? bits : bits < 0xE0 ? bits & 0x1FU : bits < 0xF0 ? bits & 0xFU : bits & 0x7U;
    }
  }
  return scalars;
}

std::vector<std::string> wrappedToWidth(std::string_view text, std::size_t width) {
  width = std::max<std::size_t>(width, 2);  // a wide character fits
  std::vector<std::string> lines(1);
  for (std::string_view word : splitNonEmpty(text, ' ')) {
    if (!lines.back().empty() && displayWidth(lines.back()) + 1 + displayWidth(word) > width) lines.emplace_back();
    if (!lines.back().empty()) lines.back() += ' ';
    while (displayWidth(word) > width) {
      const std::string_view part = displayPrefix(word, width);
      lines.back() += part;
      lines.emplace_back();
      word.remove_prefix(part.size());
    }
    lines.back() += word;
  }
  return lines;
}

}  // namespace tidra
