#include "core/scan/exclusion_filter.h"

#include <fnmatch.h>

#include <algorithm>
#include <optional>

#include "core/base/text.h"
#include "core/platform/files.h"
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

/// Returns the only name that a component of a pattern matches; nullopt if it matches several.
std::optional<std::string> literalName(std::string_view component) {
  std::string name;
  for (std::size_t i = 0; i < component.size(); ++i) {
    if (std::string_view("*?[").find(component[i]) != std::string_view::npos) return std::nullopt;
    if (component[i] == '\\' && ++i == component.size()) return std::nullopt;
    name += component[i];
  }
  return name;
}

/// Returns a path with the longest existing folder at its beginning resolved.
std::string withFolderResolved(const std::string& path) {
  std::string folder = path;
  while (folder != "/") {
    if (const auto real = realPath(folder)) return standardizedPath(*real + "/" + path.substr(folder.size()));
    folder = parentPath(folder);
  }
  return path;
}

/// As withFolderResolved(), for the components of an absolute pattern before the first wildcard.
std::string patternResolved(const std::string& pattern) {
  if (!pattern.starts_with('/')) return pattern;
  std::string folder;
  std::string rest;
  for (const std::string_view component : splitNonEmpty(pattern, '/')) {
    const auto name = rest.empty() ? literalName(component) : std::nullopt;
    (name ? folder : rest).append("/").append(name ? *name : std::string(component));
  }
  const std::string real = folder.empty() ? folder : withFolderResolved(folder);
  return real == folder ? pattern : globEscaped(real == "/" ? "" : real) + rest;
}

template <class Resolve>
void addResolved(std::vector<std::string>& texts, Resolve resolve) {
  for (std::size_t i = 0, written = texts.size(); i < written; ++i) {
    if (auto real = resolve(texts[i]); real != texts[i]) texts.push_back(std::move(real));
  }
}

}  // namespace

TidraScanExclusionFilter withLinksResolved(TidraScanExclusionFilter filter) {
  addResolved(filter.pathPrefixes, withFolderResolved);
  addResolved(filter.keptPrefixes, withFolderResolved);
  addResolved(filter.globPatterns, patternResolved);
  addResolved(filter.keptPatterns, patternResolved);
  return filter;
}

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
