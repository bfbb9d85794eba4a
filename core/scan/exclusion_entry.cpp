#include "core/scan/exclusion_entry.h"

#include "core/base/json_fields.h"
#include "core/base/text.h"

namespace tidra {
namespace {

/// No path has "//" or "/./", so a pattern with one would match nothing.
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
  // A pattern matches names without a trailing "/", so "vendor/" would otherwise exclude nothing.
  while (expanded.size() > 1 && expanded.ends_with('/')) expanded.pop_back();
  return expanded;
}

}  // namespace

TidraScanExclusionFilter makeExclusionFilter(const std::vector<ExclusionEntry>& entries,
                                             const TidraPathResolver& resolver) {
  TidraScanExclusionFilter filter;
  for (const ExclusionEntry& entry : entries) {
    if (entry.kind == ExclusionRowKind::pattern) {
      filter.globPatterns.push_back(expandedPattern(entry.pathDisplay, resolver));
    } else {
      filter.pathPrefixes.push_back(excludedPath(entry.pathDisplay, resolver));
    }
  }
  return filter;
}

std::string excludedPath(std::string_view text, const TidraPathResolver& resolver) {
  return resolver.expandedPath(resolver.expandVariables(text));
}

bool looksLikePath(std::string_view text) { return text.starts_with('/') || text == "~" || text.starts_with("~/"); }

ExclusionRowKind guessExclusionKind(std::string_view text) {
  return looksLikePath(text) && !isGlob(text) ? ExclusionRowKind::path : ExclusionRowKind::pattern;
}

nlohmann::json JsonCodec<ExclusionEntry>::encode(const ExclusionEntry& entry) {
  nlohmann::json object{{"id", entry.id}, {"kind", rawValue(entry.kind)}, {"addedAt", iso8601(entry.addedAt)}};
  putBytes(object, "pathDisplay", entry.pathDisplay);
  return object;
}

ExclusionEntry JsonCodec<ExclusionEntry>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  return {.id = object.required<std::string>("id"),
          .pathDisplay = object.requiredBytes("pathDisplay"),
          .kind = object.required<ExclusionRowKind>("kind"),
          .addedAt = object.required<TimePoint>("addedAt")};
}

}  // namespace tidra
