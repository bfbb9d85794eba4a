#include "core/base/json_fields.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

template <>
struct JsonCodec<ProjectArtifactRule::Marker> {
  static nlohmann::json encode(const ProjectArtifactRule::Marker& marker) {
    return {{"ecosystem", marker.ecosystem}, {"files", marker.files}};
  }
  static ProjectArtifactRule::Marker decode(const nlohmann::json& value, const std::string& where) {
    const JsonObjectReader object(value, where);
    return {object.required<std::string>("ecosystem"), object.required<std::vector<std::string>>("files")};
  }
};

nlohmann::json JsonCodec<ProjectArtifactRule>::encode(const ProjectArtifactRule& rule) {
  nlohmann::json object{
      {"id", rule.id},
      {"folderName", rule.folderName},
      {"label", rule.label},
      {"ecosystem", rule.ecosystem},
      {"tier", rawValue(rule.tier)},
      {"markers", JsonCodec<std::vector<ProjectArtifactRule::Marker>>::encode(rule.markers)},
      {"requireMarker", rule.requireMarker},
      {"platforms", JsonCodec<std::vector<TidraPlatform>>::encode(rule.platforms)},
  };
  putOptional(object, "parentName", rule.parentName);
  putOptional(object, "restoreHint", rule.restoreHint);
  return object;
}

ProjectArtifactRule JsonCodec<ProjectArtifactRule>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  const auto folderName = object.required<std::string>("folderName");
  return {.id = object.required<std::string>("id"),
          .folderName = folderName,
          .parentName = object.optional<std::string>("parentName"),
          .label = object.valueOr("label", folderName),
          .ecosystem = object.valueOr("ecosystem", std::string("general")),
          .tier = object.valueOr("tier", ArtifactSafetyTier::safe),
          .restoreHint = object.optional<std::string>("restoreHint"),
          .markers = object.valueOr("markers", std::vector<ProjectArtifactRule::Marker>{}),
          .requireMarker = object.valueOr("requireMarker", false),
          .platforms = object.valueOr("platforms", std::vector<TidraPlatform>{})};
}

nlohmann::json JsonCodec<SystemPathRule>::encode(const SystemPathRule& rule) {
  nlohmann::json object{
      {"id", rule.id},
      {"category", rule.category},
      {"label", rule.label},
      {"ecosystem", rule.ecosystem},
      {"tier", rawValue(rule.tier)},
      {"paths", JsonCodec<std::map<std::string, std::vector<std::string>>>::encode(rule.paths)},
      {"mode", rawValue(rule.mode)},
      {"kind", rawValue(rule.kind)},
      {"activity", rawValue(rule.activity)},
  };
  putOptional(object, "restoreHint", rule.restoreHint);
  putOptional(object, "childLabel", rule.childLabel);
  return object;
}

SystemPathRule JsonCodec<SystemPathRule>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  return {.id = object.required<std::string>("id"),
          .category = object.required<std::string>("category"),
          .label = object.required<std::string>("label"),
          .ecosystem = object.valueOr("ecosystem", std::string("general")),
          .tier = object.valueOr("tier", ArtifactSafetyTier::safe),
          .restoreHint = object.optional<std::string>("restoreHint"),
          .paths = object.required<std::map<std::string, std::vector<std::string>>>("paths"),
          .mode = object.valueOr("mode", SystemPathRule::Mode::directory),
          .kind = object.valueOr("kind", SystemPathRule::Kind::directory),
          .activity = object.valueOr("activity", SystemPathRule::Activity::none),
          .childLabel = object.optional<std::string>("childLabel")};
}

nlohmann::json JsonCodec<RuleCatalog>::encode(const RuleCatalog& catalog) {
  return {
      {"schemaVersion", catalog.schemaVersion},
      {"catalogVersion", catalog.catalogVersion},
      {"projectRules", JsonCodec<std::vector<ProjectArtifactRule>>::encode(catalog.projectRules)},
      {"systemRules", JsonCodec<std::vector<SystemPathRule>>::encode(catalog.systemRules)},
      {"walkSkip", JsonCodec<std::map<std::string, std::vector<std::string>>>::encode(catalog.walkSkipByPlatform)},
  };
}

RuleCatalog JsonCodec<RuleCatalog>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  return {.schemaVersion = object.valueOr("schemaVersion", 1),
          .catalogVersion = object.valueOr("catalogVersion", std::string("custom")),
          .projectRules = object.valueOr("projectRules", std::vector<ProjectArtifactRule>{}),
          .systemRules = object.valueOr("systemRules", std::vector<SystemPathRule>{}),
          .walkSkipByPlatform = object.valueOr("walkSkip", std::map<std::string, std::vector<std::string>>{})};
}

RuleCatalog RuleCatalog::load(std::string_view data) {
  const std::string what = "The rule catalog";
  const RuleCatalog catalog = JsonCodec<RuleCatalog>::decode(parseJson(data, what), what);
  if (catalog.schemaVersion > supportedSchema) throw RuleCatalogError::unsupportedSchema(catalog.schemaVersion);
  validate(catalog.projectRules, catalog.systemRules);
  return catalog;
}

}  // namespace tidra
