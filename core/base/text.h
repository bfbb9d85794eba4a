// Text helpers. Text is bytes: a file name may hold any byte but "/" and NUL, so nothing here assumes valid UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidra {

/// Without leading and trailing white space and line breaks.
std::string_view trimmed(std::string_view text);

/// The pieces between separators. Empty pieces are kept.
std::vector<std::string_view> split(std::string_view text, char separator);

/// As split, without the empty pieces.
std::vector<std::string_view> splitNonEmpty(std::string_view text, char separator);

std::string joined(const std::vector<std::string>& pieces, std::string_view separator);

/// ASCII lower case; other bytes stay.
std::string asciiLowered(std::string_view text);

/// True for well-formed UTF-8 (no overlong forms, no surrogates, at most U+10FFFF).
bool isValidUtf8(std::string_view bytes);

/// Well-formed UTF-8 with U+FFFD in place of every malformed sequence.
std::string replacingInvalidUtf8(std::string_view bytes);

/// What a terminal may print: control characters and malformed bytes as \n, \t, \x1b…, so that a file name can neither
/// move the cursor nor forge a line. Bidirectional overrides and characters that take no place are escaped too.
std::string escapedForTerminal(std::string_view bytes);

/// The number of terminal columns that escaped text takes, an East Asian wide character counting as two.
std::size_t displayWidth(std::string_view utf8);

/// Standard base64 with padding.
std::string base64Encoded(std::string_view bytes);

/// The decoded bytes; none when the text is not padded standard base64.
std::optional<std::string> base64Decoded(std::string_view text);

/// Orders paths as a depth-first walk meets them when siblings are in byte order: "/" sorts before every other byte.
bool pathPrecedes(std::string_view left, std::string_view right);

}  // namespace tidra
