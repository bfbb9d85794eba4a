#include <fmt/format.h>

#include <algorithm>

#include "core/base/nearest_word.h"
#include "core/base/record_fields.h"
#include "core/base/text.h"
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

namespace {

constexpr const char* catalogSubject = "The rule catalog";

using Notes = std::vector<std::string>;

/// `where`: what stands before the object's keys, "projectRules[0]." or empty.
void noteUnknownKeys(const nlohmann::json& object, const std::string& where, const std::vector<std::string>& known,
                     Notes& notes) {
  for (const auto& [key, value] : object.items()) {
    if (std::find(known.begin(), known.end(), key) != known.end()) continue;
    const auto nearest = nearestWord(key, known);
    notes.push_back(fmt::format("the key '{}' is not known and is ignored{}", escapedForTerminal(where + key),
                                nearest ? fmt::format("; did you mean {}?", known[*nearest]) : "."));
  }
}

template <class Record>
void noteUnknownKeys(const nlohmann::json& object, const std::string& where, Notes& notes) {
  const auto known = std::apply([](const auto&... each) { return std::vector<std::string>{std::string(each.key)...}; },
                                fieldsOf<Record>);
  noteUnknownKeys(object, where, known, notes);
}

/// Calls visit(element, where) for each element of an array that may be absent.
template <class Visit>
void forEachElement(const nlohmann::json& object, const std::string& where, const char* key, Visit&& visit) {
  const auto list = object.find(key);
  if (list == object.end()) return;
  std::size_t index = 0;
  for (const auto& element : *list) visit(element, fmt::format("{}{}[{}].", where, key, index++));
}

void noteUnknownKeysOfRules(const nlohmann::json& document, Notes& notes) {
  forEachElement(document, "", "projectRules", [&](const auto& rule, const std::string& where) {
    noteUnknownKeys<ProjectArtifactRule>(rule, where, notes);
    forEachElement(rule, where, "markers", [&](const auto& marker, const std::string& place) {
      noteUnknownKeys<ProjectArtifactRule::Marker>(marker, place, notes);
    });
    forEachElement(rule, where, "hintsBeside", [&](const auto& hint, const std::string& place) {
      noteUnknownKeys<ProjectArtifactRule::HintBeside>(hint, place, notes);
    });
  });
  forEachElement(document, "", "systemRules", [&](const auto& rule, const std::string& where) {
    noteUnknownKeys<SystemPathRule>(rule, where, notes);
  });
}

/// `document`: one that decodes as a catalog.
Notes notesOn(nlohmann::json document, const RuleCatalog& catalog) {
  Notes notes;
  document.erase("$schema");  // for editors
  noteUnknownKeys<RuleCatalog>(document, "", notes);
  noteUnknownKeysOfRules(document, notes);
  std::vector<std::string> platforms{"all"};
  for (const auto& row : EnumTable<TidraPlatform>::rows) platforms.emplace_back(row.text);
  if (const auto skipped = document.find("walkSkip"); skipped != document.end()) {
    noteUnknownKeys(*skipped, "walkSkip.", platforms, notes);
  }
  if (catalog.projectRules.empty() && catalog.systemRules.empty() && catalog.walkSkipByPlatform.empty()) {
    notes.emplace_back("it holds no rules; they belong in the lists projectRules and systemRules.");
  }
  return notes;
}

}  // namespace

RuleCatalog RuleCatalog::load(std::string_view data) {
  RuleCatalog catalog = JsonCodec<RuleCatalog>::decode(parseJson(data, catalogSubject), catalogSubject);
  if (catalog.schemaVersion > supportedSchema) throw RuleCatalogError::unsupportedSchema(catalog.schemaVersion);
  validate(catalog.projectRules, catalog.systemRules);
  return catalog;
}

NotedCatalog RuleCatalog::loadNoted(std::string_view data) {
  RuleCatalog catalog = load(data);
  Notes notes = notesOn(parseJson(data, catalogSubject), catalog);
  return {std::move(catalog), std::move(notes)};
}

}  // namespace tidra
