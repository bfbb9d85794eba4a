// Text cut and broken by display width. Expects text of escapedForTerminal().
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tidra {

/// The characters with what stands in no column of its own: a combining mark belongs to the character before it.
std::vector<std::string_view> displayCharacters(std::string_view text);

/// Returns the longest prefix of whole characters in at most `width` columns.
std::string_view displayPrefix(std::string_view text, std::size_t width);
std::string_view displaySuffix(std::string_view text, std::size_t width);

/// Cuts text that is wider at its end; `mark`, such as an ellipsis, stands for what is left out.
std::string cutAtEnd(std::string_view text, std::size_t width, std::string_view mark);
/// The same in the middle, so that the end of a path stays.
std::string cutInside(std::string_view text, std::size_t width, std::string_view mark);

/// Appends a Unicode scalar value in UTF-8.
void appendUtf8(std::string& text, char32_t scalar);

/// Of valid UTF-8.
std::u32string utf8Scalars(std::string_view text);

/// Breaks text at blanks into lines of at most `width` columns, at least one line; longer words break anywhere.
std::vector<std::string> wrappedToWidth(std::string_view text, std::size_t width);

}  // namespace tidra
