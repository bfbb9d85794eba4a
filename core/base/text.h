// Text helpers. Text is bytes: a file name may contain any byte but "/" and NUL, so nothing here assumes valid UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidra {

/// Removes leading and trailing white space and line breaks.
std::string_view trimmed(std::string_view text);

/// Splits at each separator. Empty pieces are kept.
std::vector<std::string_view> split(std::string_view text, char separator);

/// split() without the empty pieces.
std::vector<std::string_view> splitNonEmpty(std::string_view text, char separator);

std::string joined(const std::vector<std::string>& pieces, std::string_view separator);

/// Returns "A", "A and B", "A, B and C"; empty without pieces.
std::string joinedWithAnd(std::vector<std::string> pieces);

constexpr bool isAsciiDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isAsciiAlphanumeric(char c) { return isAsciiLetter(c) || isAsciiDigit(c); }

/// Lowers ASCII letters; other bytes stay.
std::string asciiLowered(std::string_view text);

/// Returns whether `bytes` is well-formed UTF-8 (no overlong forms, no surrogates, at most U+10FFFF).
bool isValidUtf8(std::string_view bytes);

/// True for the second and further bytes of a character in UTF-8.
constexpr bool isUtf8Continuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

/// Returns the longest prefix of at most `mostBytes` that ends at the end of a UTF-8 character.
std::string_view utf8Prefix(std::string_view text, std::size_t mostBytes);

/// Replaces every byte that is not part of valid UTF-8 with U+FFFD.
std::string replacingInvalidUtf8(std::string_view bytes);

/// Escapes control characters, malformed UTF-8, bidirectional overrides and zero-width characters as \x1b, \u202e….
/// Prevents terminal escape injection and forged lines through file names.
std::string escapedForTerminal(std::string_view bytes);

/// Returns the number of terminal columns of escaped text; East Asian wide characters count two.
std::size_t displayWidth(std::string_view utf8);

/// Standard base64 with padding.
std::string base64Encoded(std::string_view bytes);

/// Returns the decoded bytes; nullopt unless the text is padded standard base64.
std::optional<std::string> base64Decoded(std::string_view text);

/// Returns a number with thousands separators.
std::string grouped(std::uint64_t number);

/// Returns "1 project" or "1,700 projects".
std::string counted(std::uint64_t number, std::string_view one, std::string_view many);

/// Compares paths in the order of a depth-first walk with siblings in byte order: "/" sorts before every other byte.
bool pathPrecedes(std::string_view left, std::string_view right);

}  // namespace tidra
