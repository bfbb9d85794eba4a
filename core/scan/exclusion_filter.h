// What a user keeps out of every scan.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tidra {

/// An immutable list of folders and shell-style patterns. "*" and "?" never match "/", and "**" is a single "*".
struct TidraScanExclusionFilter {
  std::vector<std::string> pathPrefixes;  // absolute, standardised
  std::vector<std::string> globPatterns;
  std::vector<std::string> keptPatterns = {};  // exclude nothing, but a finding that holds what one matches stays

  /// True when the path equals a prefix or lies below it, or when a pattern matches the path, the path without its
  /// leading "/", or any tail of its components. Trailing "/" of the path do not matter; the empty path is never
  /// excluded.
  bool isExcluded(std::string_view path) const;

  bool operator==(const TidraScanExclusionFilter&) const = default;
};

/// True for text with "*", "?" or "[".
bool isGlob(std::string_view text);

/// The pattern that matches just this text.
std::string globEscaped(std::string_view text);

/// True when every "/" of a pattern surely stands between components, so that each can be matched by itself: not in
/// "[…]" and not behind a backslash. Where brackets end is left to the matcher, so any "[" before a "/" gives false,
/// unless a backslash makes it a plain character.
bool splitsIntoComponents(std::string_view pattern);

/// Shell-style matching of one path component or a whole path; "*", "?" and "[…]" never match "/".
bool globMatches(const std::string& pattern, const char* text);

}  // namespace tidra
