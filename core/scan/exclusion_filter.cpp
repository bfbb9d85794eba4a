#include "core/scan/exclusion_filter.h"

#include <fnmatch.h>

#include <algorithm>

#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Wildcards never match "/", so a pattern of components matches only texts with the same number of "/": test a single
/// tail of the path.
bool matchesAnyTail(const std::string& pattern, const std::string& path) {
  if (globMatches(pattern, path.c_str())) return true;
  if (!splitsIntoComponents(pattern)) {
    for (auto slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
      if (globMatches(pattern, path.c_str() + slash + 1)) return true;
    }
    return false;
  }
  const auto wanted = std::count(pattern.begin(), pattern.end(), '/');
  auto slashes = std::count(path.begin(), path.end(), '/');
  std::size_t start = 0;
  while (slashes > wanted) {
    start = path.find('/', start) + 1;
    --slashes;
  }
  return start > 0 && globMatches(pattern, path.c_str() + start);
}

}  // namespace

bool isGlob(std::string_view text) { return text.find_first_of("*?[") != std::string_view::npos; }

std::string globEscaped(std::string_view text) {
  std::string pattern;
  for (const char c : text) {
    if (std::string_view("*?[\\").find(c) != std::string_view::npos) pattern += '\\';
    pattern += c;
  }
  return pattern;
}

bool splitsIntoComponents(std::string_view pattern) {
  const auto lastSlash = pattern.rfind('/');
  if (lastSlash == std::string_view::npos) return true;
  for (std::size_t i = 0; i < lastSlash; ++i) {
    if (pattern[i] == '[' || (pattern[i] == '\\' && pattern[++i] == '/')) return false;
  }
  return true;
}

bool globMatches(const std::string& pattern, const char* text) {
  return ::fnmatch(pattern.c_str(), text, FNM_PATHNAME) == 0;
}

bool TidraScanExclusionFilter::isExcluded(std::string_view path) const {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  if (path.empty()) return false;
  const auto covers = [&](const std::string& prefix) { return isSameOrInside(path, prefix); };
  if (std::any_of(pathPrefixes.begin(), pathPrefixes.end(), covers)) return true;
  if (globPatterns.empty()) return false;
  const std::string text(path);
  return std::any_of(globPatterns.begin(), globPatterns.end(),
                     [&](const std::string& pattern) { return matchesAnyTail(pattern, text); });
}

}  // namespace tidra
