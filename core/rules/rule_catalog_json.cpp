#include "core/base/record_fields.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

template <>
struct JsonCodec<ProjectArtifactRule::Marker> : RecordCodec<ProjectArtifactRule::Marker> {};

template <>
constexpr auto fieldsOf<ProjectArtifactRule::Marker> = recordFields(
    field("ecosystem", &ProjectArtifactRule::Marker::ecosystem), field("files", &ProjectArtifactRule::Marker::files));

template <>
struct JsonCodec<ProjectArtifactRule::HintBeside> : RecordCodec<ProjectArtifactRule::HintBeside> {};

template <>
constexpr auto fieldsOf<ProjectArtifactRule::HintBeside> =
    recordFields(fieldOrDefault("files", &ProjectArtifactRule::HintBeside::files),
                 field("hint", &ProjectArtifactRule::HintBeside::hint));

template <>
constexpr auto fieldsOf<ProjectArtifactRule> = recordFields(
    field("id", &ProjectArtifactRule::id), field("folderName", &ProjectArtifactRule::folderName),
    field("parentName", &ProjectArtifactRule::parentName), fieldOrDefault("label", &ProjectArtifactRule::label),
    fieldOrDefault("ecosystem", &ProjectArtifactRule::ecosystem), fieldOrDefault("tier", &ProjectArtifactRule::tier),
    field("restoreHint", &ProjectArtifactRule::restoreHint), fieldOrDefault("markers", &ProjectArtifactRule::markers),
    fieldOrDefault("requireMarker", &ProjectArtifactRule::requireMarker),
    fieldOrDefault("platforms", &ProjectArtifactRule::platforms), field("otherNames", &ProjectArtifactRule::otherNames),
    field("holds", &ProjectArtifactRule::holds), field("hintsBeside", &ProjectArtifactRule::hintsBeside));

template <>
constexpr auto fieldsOf<SystemPathRule> =
    recordFields(field("id", &SystemPathRule::id), field("category", &SystemPathRule::category),
                 field("label", &SystemPathRule::label), fieldOrDefault("ecosystem", &SystemPathRule::ecosystem),
                 fieldOrDefault("tier", &SystemPathRule::tier), field("restoreHint", &SystemPathRule::restoreHint),
                 field("paths", &SystemPathRule::paths), fieldOrDefault("mode", &SystemPathRule::mode),
                 fieldOrDefault("kind", &SystemPathRule::kind), fieldOrDefault("activity", &SystemPathRule::activity),
                 field("childLabel", &SystemPathRule::childLabel), field("holds", &SystemPathRule::holds));

template <>
constexpr auto fieldsOf<RuleCatalog> = recordFields(fieldOrDefault("schemaVersion", &RuleCatalog::schemaVersion),
                                                    fieldOrDefault("catalogVersion", &RuleCatalog::catalogVersion),
                                                    fieldOrDefault("projectRules", &RuleCatalog::projectRules),
                                                    fieldOrDefault("systemRules", &RuleCatalog::systemRules),
                                                    fieldOrDefault("walkSkip", &RuleCatalog::walkSkipByPlatform));

template struct RecordCodec<ProjectArtifactRule::Marker>;
template struct RecordCodec<ProjectArtifactRule::HintBeside>;
template struct RecordCodec<ProjectArtifactRule>;
template struct RecordCodec<SystemPathRule>;
template struct RecordCodec<RuleCatalog>;

ProjectArtifactRule JsonCodec<ProjectArtifactRule>::decode(const nlohmann::json& value, const std::string& where) {
  ProjectArtifactRule rule;
  rule.label = JsonObjectReader(value, where).optional<std::string>("folderName").value_or("");
  return RecordCodec::decode(value, where, std::move(rule));
}

RuleCatalog RuleCatalog::load(std::string_view data) {
  const std::string what = "The rule catalog";
  RuleCatalog catalog = JsonCodec<RuleCatalog>::decode(parseJson(data, what), what);
  if (catalog.schemaVersion > supportedSchema) throw RuleCatalogError::unsupportedSchema(catalog.schemaVersion);
  validate(catalog.projectRules, catalog.systemRules);
  return catalog;
}

}  // namespace tidra
