#include "core/scan/exclusion_entry.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/record_fields.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// No path contains "//" or "/./", so a pattern with one would match nothing.
std::string withoutIdleComponents(std::string_view pattern) {
  std::string kept;
  for (const std::string_view component : splitNonEmpty(pattern, '/')) {
    if (component != ".") kept.append("/").append(component);
  }
  return kept.empty() ? "/" : kept;
}

std::string expandedPattern(const std::string& pattern, const TidraPathResolver& resolver) {
  std::string expanded = pattern;
  if (pattern == "~" || pattern.starts_with("~/")) expanded = globEscaped(resolver.home) + pattern.substr(1);
  if (expanded.starts_with('/')) expanded = withoutIdleComponents(expanded);
  // Patterns match names without a trailing "/", so "vendor/" would exclude nothing.
  while (expanded.size() > 1 && expanded.ends_with('/')) expanded.pop_back();
  return expanded;
}

/// Returns a resolver whose variables expand to escaped text, which a pattern matches literally.
TidraPathResolver quotingResolver(TidraPathResolver resolver) {
  resolver.home = globEscaped(resolver.home);
  for (auto& [name, value] : resolver.environment) value = globEscaped(value);
  return resolver;
}

/// Whether a name may contain characters that are special in a pattern.
bool maySpellAName(std::string_view pattern) { return pattern.find_first_of("[\\") != std::string_view::npos; }

/// Escapes the longest existing folder at the beginning of a pattern.
std::string withFoldersQuoted(const std::string& pattern) {
  std::string folder = pattern;
  while (folder != "/" && !pathExists(folder)) folder = parentPath(folder);
  return folder == "/" ? pattern : globEscaped(folder) + pattern.substr(folder.size());
}

/// Whether the text is relative to the current folder: no absolute path has such a component.
bool leadsFromHere(const std::string& given) {
  const auto pieces = split(given, '/');
  return std::any_of(pieces.begin(), pieces.end(), [](const auto piece) { return piece == "." || piece == ".."; });
}

/// Returns the path in the current folder; nullopt if no such entry exists.
std::optional<std::string> entryHere(const std::string& given, const std::optional<std::string>& currentFolder) {
  if (!currentFolder) return std::nullopt;
  const std::string path = joinedPath(*currentFolder, given);
  // After a symbolic link ".." leads elsewhere than the text suggests: resolve it.
  if (const auto pieces = split(given, '/'); std::find(pieces.begin(), pieces.end(), "..") != pieces.end()) {
    const auto real = realPath(path);
    return real ? std::optional(*real) : std::nullopt;
  }
  return pathExists(path) ? std::optional(standardizedPath(path)) : std::nullopt;
}

}  // namespace

void addExclusion(TidraScanExclusionFilter& filter, const std::string& text, const TidraPathResolver& resolver,
                  bool looksAtDisk) {
  const std::string expanded = resolver.expandVariables(text);
  const bool isPath = looksLikePath(expanded);
  if (isPath) {
    const std::string path = resolver.expandedPath(expanded);
    filter.pathPrefixes.push_back(path);
    if (!isGlob(expanded) || (looksAtDisk && pathExists(path))) return;
    const std::string quoted = looksAtDisk ? withFoldersQuoted(path) : path;
    if (quoted != path) filter.globPatterns.push_back(quoted);
  }
  filter.globPatterns.push_back(expandedPattern(expanded, resolver));
  if (!isPath && maySpellAName(expanded)) {
    filter.globPatterns.push_back(expandedPattern(globEscaped(expanded), resolver));
  }
  const std::string quoted = quotingResolver(resolver).expandVariables(text);
  if (isGlob(text) && quoted != expanded) filter.globPatterns.push_back(expandedPattern(quoted, resolver));
}

TidraScanExclusionFilter makeExclusionFilter(const std::vector<ExclusionEntry>& entries,
                                             const TidraPathResolver& resolver) {
  TidraScanExclusionFilter filter;
  for (const ExclusionEntry& entry : entries) {
    if (entry.kind == ExclusionRowKind::pattern) {
      addExclusion(filter, entry.pathDisplay, resolver, true);
    } else {
      filter.pathPrefixes.push_back(excludedPath(entry.pathDisplay, resolver));
    }
  }
  return filter;
}

TypedExclusion TypedExclusion::read(const std::string& given, const TidraPathResolver& resolver,
                                    const std::optional<std::string>& currentFolder) {
  const auto asPath = [&](const std::string& path) {
    TypedExclusion typed{resolver.displayPath(path), ExclusionRowKind::path, {}};
    if (!pathExists(path) && !pathExists(excludedPath(typed.text, resolver))) {
      typed.note = fmt::format("'{}' does not exist yet; it is excluded once it does.", escapedForTerminal(typed.text));
    }
    return typed;
  };
  const auto asPattern = [](std::string pattern, bool isSurprising) {
    // It matches the same with and without them.
    while (pattern.size() > 1 && pattern.ends_with('/')) pattern.pop_back();
    TypedExclusion typed{pattern, ExclusionRowKind::pattern, {}};
    if (isSurprising) {
      typed.note = fmt::format(
          "'{}' does not exist, so it is a pattern: it excludes what it matches and entries of exactly that name.",
          escapedForTerminal(pattern));
    }
    return typed;
  };
  const std::string expanded = resolver.expandVariables(given);
  if (looksLikePath(expanded)) {
    const std::string path = excludedPath(given, resolver);
    return !isGlob(expanded) || pathExists(path) ? asPath(path) : asPattern(given, maySpellAName(given));
  }
  const bool begins = leadsFromHere(given);
  const bool isPlainName = given.find('/') == std::string::npos && !isGlob(given) && !maySpellAName(given);
  if (const auto here = begins || !isPlainName ? entryHere(given, currentFolder) : std::nullopt) return asPath(*here);
  if (!begins || !currentFolder) return asPattern(given, maySpellAName(given));
  const std::string path = standardizedPath(joinedPath(*currentFolder, given));
  return isGlob(expanded) ? asPattern(resolver.displayPath(path), true) : asPath(path);
}

std::string excludedPath(std::string_view text, const TidraPathResolver& resolver) {
  return resolver.expandedPath(resolver.expandVariables(text));
}

bool looksLikePath(std::string_view text) { return text.starts_with('/') || text == "~" || text.starts_with("~/"); }

template <>
constexpr auto fieldsOf<ExclusionEntry> = recordFields(field("id", &ExclusionEntry::id),
                                                       bytesField("pathDisplay", &ExclusionEntry::pathDisplay),
                                                       field("kind", &ExclusionEntry::kind),
                                                       field("addedAt", &ExclusionEntry::addedAt));

template struct RecordCodec<ExclusionEntry>;

}  // namespace tidra
