// What users exclude from scans.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tidra {

class ExclusionUse;

/// Immutable list of folders and shell patterns. "*" and "?" do not match "/"; "**" equals "*".
struct TidraScanExclusionFilter {
  std::vector<std::string> pathPrefixes;  // absolute, standardised
  std::vector<std::string> globPatterns;
  std::vector<std::string> keptPatterns = {};  // exclude nothing, but a finding that contains a match stays
  std::vector<std::string> keptPrefixes = {};  // likewise, absolute and standardised
  std::shared_ptr<ExclusionUse> use = {};      // notified by scans of each path that is kept out; null: nobody asks

  /// Whether a path equals or lies below a prefix, or a pattern matches the path, the path without its leading "/", or
  /// any tail of its components. Ignores trailing "/"; never excludes the empty path.
  bool isExcluded(std::string_view path) const;

  bool operator==(const TidraScanExclusionFilter&) const = default;
};

/// Whether text contains "*", "?" or "[".
bool isGlob(std::string_view text);

/// Returns the filter with further spellings: each path with the longest existing folder at its beginning resolved, and
/// each absolute pattern with the targets of the symbolic links that its components match. Reads the disk, for a
/// pattern a bounded number of folders.
TidraScanExclusionFilter withLinksResolved(TidraScanExclusionFilter filter);

/// Returns the pattern that matches exactly this text.
std::string globEscaped(std::string_view text);

/// Whether every "/" of a pattern separates components, so that each can be matched separately: false for a "/" after a
/// backslash or after any unescaped "[", since only fnmatch() knows where brackets end.
bool splitsIntoComponents(std::string_view pattern);

/// fnmatch() with FNM_PATHNAME, for a component or a whole path: "*", "?" and "[…]" do not match "/".
bool globMatches(const std::string& pattern, const char* text);

}  // namespace tidra
