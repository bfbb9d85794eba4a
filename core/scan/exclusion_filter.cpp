#include "core/scan/exclusion_filter.h"

#include <fnmatch.h>

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
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

/// Spells an absolute pattern with the targets of the symbolic links that its components match, each with the rest of
/// the pattern behind it. Follows the folders that the components match, and stops after a number of entries: "/*/*/*"
/// matches most of a disk.
class LinkTargets {
 public:
  struct Spellings {
    std::vector<std::string> paths;     // without wildcards behind the link
    std::vector<std::string> patterns;  // with some
  };

  static Spellings of(const std::string& pattern) {
    LinkTargets targets(pattern);
    if (pattern.starts_with('/')) targets.follow("/", 0);
    return std::move(targets.found_);
  }

 private:
  explicit LinkTargets(const std::string& pattern) : components_(splitNonEmpty(pattern, '/')) {}

  void follow(const std::string& folder, std::size_t at) {
    if (at == components_.size()) return;
    if (const auto name = literalName(components_[at])) {
      const std::string path = joinedPath(folder, *name);
      if (const auto facts = pathFacts(path)) enter(path, facts->type, at + 1, false);
      return;
    }
    for (const auto& [name, type] : matchesIn(folder, std::string(components_[at]))) {
      enter(joinedPath(folder, name), type, at + 1, true);
    }
  }

  void enter(const std::string& path, EntryType type, std::size_t next, bool isMatch) {
    if (type == EntryType::directory) return follow(path, next);
    if (type != EntryType::symbolicLink) return;
    const auto real = realPath(path);
    // "~/x/*" names what is in a folder, not the folder itself or one around it; and not everything, if "z:" is "/".
    if (!real || (isMatch && *real == "/") || (next == components_.size() && isSameOrInside(path, *real))) return;
    // Links may form loops, and many may lead to one place.
    if (!seen_.emplace(*real, next).second) return;
    spell(*real, next);
    follow(*real, next);
  }

  void spell(const std::string& real, std::size_t next) {
    std::optional<std::string> path = real;
    std::string pattern = globEscaped(real);
    for (; next < components_.size(); ++next) {
      const auto name = path ? literalName(components_[next]) : std::nullopt;
      path = name ? std::optional(joinedPath(*path, *name)) : std::nullopt;
      pattern = joinedPath(pattern, components_[next]);
    }
    if (path) {
      found_.paths.push_back(standardizedPath(*path));
    } else {
      found_.patterns.push_back(std::move(pattern));
    }
  }

  /// Returns the folders and links in a folder whose names match.
  std::vector<std::pair<std::string, EntryType>> matchesIn(const std::string& folder, const std::string& component) {
    std::vector<std::pair<std::string, EntryType>> matches;
    const auto opened = openDirectory(folder);
    if (!opened) return matches;
    DirectoryReader reader;
    reader.start(opened->get());
    for (DirectoryEntry entry; left_ > 0 && reader.next(entry); --left_) {
      const bool leadsOn = entry.type == EntryType::directory || entry.type == EntryType::symbolicLink;
      if (leadsOn && globMatches(component, entry.name.data())) matches.emplace_back(entry.name, entry.type);
    }
    return matches;
  }

  const std::vector<std::string_view> components_;
  std::size_t left_ = 20'000;                           // entries that may still be read
  std::set<std::pair<std::string, std::size_t>> seen_;  // targets, and the components behind them
  Spellings found_;
};

void addResolved(std::vector<std::string>& paths, std::vector<std::string>& patterns) {
  for (std::size_t i = 0, written = paths.size(); i < written; ++i) {
    if (auto real = withFolderResolved(paths[i]); real != paths[i]) paths.push_back(std::move(real));
  }
  for (std::size_t i = 0, written = patterns.size(); i < written; ++i) {
    const auto spellings = LinkTargets::of(patterns[i]);
    paths.insert(paths.end(), spellings.paths.begin(), spellings.paths.end());
    patterns.insert(patterns.end(), spellings.patterns.begin(), spellings.patterns.end());
  }
}

}  // namespace

TidraScanExclusionFilter withLinksResolved(TidraScanExclusionFilter filter) {
  addResolved(filter.pathPrefixes, filter.globPatterns);
  addResolved(filter.keptPrefixes, filter.keptPatterns);
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
