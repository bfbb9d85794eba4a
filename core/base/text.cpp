#include "core/base/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <utility>

namespace tidra {
namespace {

constexpr std::string_view whiteSpace = " \t\r\n\v\f";
constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

struct Scalar {
  char32_t value = 0;
  std::size_t length = 0;  // bytes; 0 for a malformed sequence
};

/// Decodes the first scalar of `bytes`, which must not be empty.
Scalar decodeScalar(std::string_view bytes) {
  assert(!bytes.empty());
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = byteAt(0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || bytes.size() < length) return {};
  char32_t value = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if (!isUtf8Continuation(bytes[i])) return {};
    value = (value << 6U) | (byteAt(i) & 0x3FU);
  }
  constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
  if (value < smallest[length] || surrogate || value > 0x10FFFF) return {};
  return {value, length};
}

bool isBidirectionalControl(char32_t c) {
  return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x200E || c == 0x200F || c == 0x061C;
}

bool isControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029; }

/// Zero-width characters, which make two different names look equal. Excludes combining marks and emoji selectors: they
/// change the character before them.
bool isInvisible(char32_t c) {
  return c == 0x00AD || c == 0x034F || c == 0x115F || c == 0x1160 || c == 0x17B4 || c == 0x17B5 ||
         (c >= 0x180B && c <= 0x180F) || (c >= 0x200B && c <= 0x200D) || (c >= 0x2060 && c <= 0x206F) || c == 0x3164 ||
         c == 0xFEFF || c == 0xFFA0 || (c >= 0xFFF9 && c <= 0xFFFB) || (c >= 0x1BCA0 && c <= 0x1BCA3) ||
         (c >= 0x1D173 && c <= 0x1D17A) || (c >= 0xE0000 && c <= 0xE0FFF);
}

struct Range {
  char32_t first;
  char32_t last;
};

template <std::size_t Count>
bool isIn(const std::array<Range, Count>& ranges, char32_t c) {
  const auto after = std::upper_bound(ranges.begin(), ranges.end(), c,
                                      [](char32_t value, const Range& range) { return value < range.first; });
  return after != ranges.begin() && c <= std::prev(after)->last;
}

/// East Asian wide characters, and emoji that are shown as such without a selector.
bool isWide(char32_t c) {
  static constexpr std::array ranges{
      Range{0x1100, 0x115F},   Range{0x231A, 0x231B},   Range{0x23E9, 0x23EC},   Range{0x23F0, 0x23F0},
      Range{0x23F3, 0x23F3},   Range{0x25FD, 0x25FE},   Range{0x2614, 0x2615},   Range{0x2648, 0x2653},
      Range{0x267F, 0x267F},   Range{0x2693, 0x2693},   Range{0x26A1, 0x26A1},   Range{0x26AA, 0x26AB},
      Range{0x26BD, 0x26BE},   Range{0x26C4, 0x26C5},   Range{0x26CE, 0x26CE},   Range{0x26D4, 0x26D4},
      Range{0x26EA, 0x26EA},   Range{0x26F2, 0x26F3},   Range{0x26F5, 0x26F5},   Range{0x26FA, 0x26FA},
      Range{0x26FD, 0x26FD},   Range{0x2705, 0x2705},   Range{0x270A, 0x270B},   Range{0x2728, 0x2728},
      Range{0x274C, 0x274C},   Range{0x274E, 0x274E},   Range{0x2753, 0x2755},   Range{0x2757, 0x2757},
      Range{0x2795, 0x2797},   Range{0x27B0, 0x27B0},   Range{0x27BF, 0x27BF},   Range{0x2B1B, 0x2B1C},
      Range{0x2B50, 0x2B50},   Range{0x2B55, 0x2B55},   Range{0x2E80, 0x303E},   Range{0x3041, 0xA4CF},
      Range{0xA960, 0xA97C},   Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},   Range{0xFE10, 0xFE19},
      Range{0xFE30, 0xFE6F},   Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},   Range{0x16FE0, 0x18CD5},
      Range{0x1B000, 0x1B2FB}, Range{0x1F004, 0x1F004}, Range{0x1F0CF, 0x1F0CF}, Range{0x1F18E, 0x1F18E},
      Range{0x1F191, 0x1F19A}, Range{0x1F200, 0x1F265}, Range{0x1F300, 0x1F320}, Range{0x1F32D, 0x1F335},
      Range{0x1F337, 0x1F37C}, Range{0x1F37E, 0x1F393}, Range{0x1F3A0, 0x1F3CA}, Range{0x1F3CF, 0x1F3D3},
      Range{0x1F3E0, 0x1F3F0}, Range{0x1F3F4, 0x1F3F4}, Range{0x1F3F8, 0x1F43E}, Range{0x1F440, 0x1F440},
      Range{0x1F442, 0x1F4FC}, Range{0x1F4FF, 0x1F53D}, Range{0x1F54B, 0x1F54E}, Range{0x1F550, 0x1F567},
      Range{0x1F57A, 0x1F57A}, Range{0x1F595, 0x1F596}, Range{0x1F5A4, 0x1F5A4}, Range{0x1F5FB, 0x1F64F},
      Range{0x1F680, 0x1F6C5}, Range{0x1F6CC, 0x1F6CC}, Range{0x1F6D0, 0x1F6D2}, Range{0x1F6D5, 0x1F6DF},
      Range{0x1F6EB, 0x1F6EC}, Range{0x1F6F4, 0x1F6FC}, Range{0x1F7E0, 0x1F7F0}, Range{0x1F90C, 0x1F93A},
      Range{0x1F93C, 0x1F945}, Range{0x1F947, 0x1F9FF}, Range{0x1FA70, 0x1FAF8}, Range{0x20000, 0x3FFFD},
  };
  return isIn(ranges, c);
}

/// Characters without a column of their own, of the scripts that names are mostly written in.
bool isCombining(char32_t c) {
  static constexpr std::array ranges{
      Range{0x0300, 0x036F}, Range{0x0483, 0x0489}, Range{0x0591, 0x05BD}, Range{0x05BF, 0x05BF}, Range{0x05C1, 0x05C2},
      Range{0x05C4, 0x05C5}, Range{0x0610, 0x061A}, Range{0x064B, 0x065F}, Range{0x0670, 0x0670}, Range{0x06D6, 0x06DC},
      Range{0x0900, 0x0902}, Range{0x093A, 0x093A}, Range{0x093C, 0x093C}, Range{0x0941, 0x0948}, Range{0x094D, 0x094D},
      Range{0x0E31, 0x0E31}, Range{0x0E34, 0x0E3A}, Range{0x0E47, 0x0E4E}, Range{0x1160, 0x11FF}, Range{0x1AB0, 0x1AFF},
      Range{0x1DC0, 0x1DFF}, Range{0x200B, 0x200D}, Range{0x20D0, 0x20FF}, Range{0x302A, 0x302D}, Range{0x3099, 0x309A},
      Range{0xFE00, 0xFE0F}, Range{0xFE20, 0xFE2F},
  };
  return isIn(ranges, c);
}

std::string escapedControl(char32_t c) {
  switch (c) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      if (c < 0x100) return fmt::format("\\x{:02x}", static_cast<unsigned>(c));
      return c < 0x10000 ? fmt::format("\\u{:04x}", static_cast<unsigned>(c))
                         : fmt::format("\\U{:08x}", static_cast<unsigned>(c));
  }
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(whiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(whiteSpace) - first + 1);
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (std::size_t start = 0;;) {
    const auto end = text.find(separator, start);
    pieces.push_back(text.substr(start, end - start));
    if (end == std::string_view::npos) return pieces;
    start = end + 1;
  }
}

std::vector<std::string_view> splitNonEmpty(std::string_view text, char separator) {
  auto pieces = split(text, separator);
  std::erase_if(pieces, [](std::string_view piece) { return piece.empty(); });
  return pieces;
}

std::string joined(const std::vector<std::string>& pieces, std::string_view separator) {
  return fmt::format("{}", fmt::join(pieces, separator));
}

std::string joinedWithAnd(std::vector<std::string> pieces) {
  if (pieces.empty()) return {};
  const std::string last = std::move(pieces.back());
  pieces.pop_back();
  return pieces.empty() ? last : joined(pieces, ", ") + " and " + last;
}

std::string asciiLowered(std::string_view text) {
  std::string lowered(text);
  for (char& c : lowered) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lowered;
}

bool isValidUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const Scalar scalar = decodeScalar(bytes);
    if (scalar.length == 0) return false;
    bytes.remove_prefix(scalar.length);
  }
  return true;
}

std::string_view utf8Prefix(std::string_view text, std::size_t mostBytes) {
  if (text.size() <= mostBytes) return text;
  while (mostBytes > 0 && isUtf8Continuation(text[mostBytes])) --mostBytes;
  return text.substr(0, mostBytes);
}

std::string replacingInvalidUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const Scalar scalar = decodeScalar(bytes);
    text += scalar.length == 0 ? replacementCharacter : bytes.substr(0, scalar.length);
    bytes.remove_prefix(std::max<std::size_t>(scalar.length, 1));
  }
  return text;
}

std::string escapedForTerminal(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const Scalar scalar = decodeScalar(bytes);
    if (scalar.length == 0) {
      text += fmt::format("\\x{:02x}", static_cast<unsigned char>(bytes.front()));
    } else if (isControl(scalar.value) || isBidirectionalControl(scalar.value) || isInvisible(scalar.value)) {
      text += escapedControl(scalar.value);
    } else {
      text += bytes.substr(0, scalar.length);
    }
    bytes.remove_prefix(std::max<std::size_t>(scalar.length, 1));
  }
  return text;
}

std::size_t displayWidth(std::string_view utf8) {
  std::size_t width = 0;
  while (!utf8.empty()) {
    const Scalar scalar = decodeScalar(utf8);
    if (scalar.length == 0 || scalar.value < 0x300) {
      ++width;
    } else if (!isCombining(scalar.value)) {
      width += isWide(scalar.value) ? 2 : 1;
    }
    utf8.remove_prefix(std::max<std::size_t>(scalar.length, 1));
  }
  return width;
}

namespace {
constexpr std::string_view base64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
}  // namespace

std::string base64Encoded(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto byteAt = [&](std::size_t k) -> std::uint32_t {
      return k < bytes.size() ? static_cast<unsigned char>(bytes[k]) : 0;
    };
    const std::uint32_t group = (byteAt(i) << 16U) | (byteAt(i + 1) << 8U) | byteAt(i + 2);
    text += base64Digits[(group >> 18U) & 63U];
    text += base64Digits[(group >> 12U) & 63U];
    text += i + 1 < bytes.size() ? base64Digits[(group >> 6U) & 63U] : '=';
    text += i + 2 < bytes.size() ? base64Digits[group & 63U] : '=';
  }
  return text;
}

std::optional<std::string> base64Decoded(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    const bool last = i + 4 == text.size();
    const std::size_t padding = !last ? 0 : text[i + 3] != '=' ? 0 : text[i + 2] != '=' ? 1 : 2;
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      const auto digit = base64Digits.find(text[i + k]);
      const bool padded = k >= 4 - padding;
      if (!padded && digit == std::string_view::npos) return std::nullopt;
      group = (group << 6U) | (padded ? 0U : static_cast<std::uint32_t>(digit));
    }
    for (std::size_t k = 0; k < 3 - padding; ++k) bytes += static_cast<char>((group >> (16U - 8U * k)) & 0xFFU);
  }
  return bytes;
}

std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3; i -= 3) digits.insert(i - 3, ",");
  return digits;
}

std::string counted(std::uint64_t number, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", grouped(number), number == 1 ? one : many);
}

bool pathPrecedes(std::string_view left, std::string_view right) {
  const auto [l, r] = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
  if (l == left.end() || r == right.end()) return r != right.end();
  const auto rank = [](char c) { return c == '/' ? 0U : static_cast<unsigned char>(c) + 1U; };
  return rank(*l) < rank(*r);
}

}  // namespace tidra
