#include "core/scan/exclusion_entry.h"

#include "core/base/json_fields.h"

namespace tidra {
namespace {

std::string expandedPattern(const std::string& pattern, const TidraPathResolver& resolver) {
  std::string expanded = pattern;
  if (pattern == "~" || pattern.starts_with("~/")) expanded = resolver.home + pattern.substr(1);
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

ExclusionRowKind guessExclusionKind(std::string_view text) {
  const bool pathLike = text.starts_with('/') || text == "~" || text.starts_with("~/");
  return pathLike && !isGlob(text) ? ExclusionRowKind::path : ExclusionRowKind::pattern;
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
