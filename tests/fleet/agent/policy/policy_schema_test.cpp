// docs/policy.schema.json matches what the program accepts.
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/files.h"
#include "fleet/agent/policy/example_policies.h"
#include "fleet/agent/policy/fleet_policy.h"
#include "tests/support/matchers.h"
#include "tests/support/schema_checker.h"

namespace tidra {
namespace {

using nlohmann::json;

json schema() {
  const auto text = readFile(TIDRA_SOURCE_DIR "/docs/policy.schema.json");
  EXPECT_TRUE(text);
  return parseJson(*text, "The schema");
}

bool isAccepted(std::string_view document) { return SchemaChecker(schema()).accepts(parseJson(document, "It")); }

TEST(PolicySchema, AcceptsPolicies) {
  for (const auto name : ExamplePolicies::names) EXPECT_TRUE(isAccepted(*ExamplePolicies::text(name))) << name;
  EXPECT_TRUE(isAccepted("{}"));
  EXPECT_TRUE(isAccepted(FleetPolicy().text()));
  EXPECT_TRUE(isAccepted(R"({"$schema": "policy.schema.json", "hub": {"url": "", "tags": {"any": "thing"}}})"));
}

TEST(PolicySchema, RefusesWhatTheProgramRefusesAndSlipsOfThePen) {
  constexpr std::string_view refused =
      R"([] | {"schemaVersion": 2} | {"name": 7} | {"scan": []} | {"scan": {"roots": "~"}} |
       {"scan": {"roots": [1]}} | {"scan": {"categories": ["Docker"]}} | {"scan": {"ecosystems": ["x"]}} |
       {"autoClean": {"tiers": ["sfae"]}} | {"autoClean": {"minIdleDays": -1}} |
       {"autoClean": {"minIdleDays": "7"}} | {"autoClean": {"minBytes": -1}} |
       {"autoClean": {"maxBytesPerRun": 1.5}} | {"disposal": {"method": "rm"}} |
       {"disposal": {"retentionDays": -1}} | {"hub": {"url": "ftp://h"}} | {"hub": {"url": "http:///"}} |
       {"hub": {"topItems": 201}} | {"hub": {"topItems": -1}} | {"hub": {"tags": {"k": 1}}} | {"dryRun": "yes"})";
  for (const auto document : split(refused, '|')) {
    EXPECT_FALSE(isAccepted(document)) << document;
    EXPECT_ANY_THROW(FleetPolicy::parse(document)) << document;
  }
  EXPECT_FALSE(isAccepted(R"({"nevr": {}})"));
  EXPECT_FALSE(isAccepted(R"({"never": {"path": []}})"));
  EXPECT_FALSE(isAccepted(R"({"metrics": {"listen": "localhost"}})"));
}

/// The schema's defaults as a document.
json defaultsOf(const json& object) {
  json made = json::object();
  for (const auto& [key, rule] : object["properties"].items()) {
    if (rule.contains("default")) {
      made[key] = rule["default"];
    } else if (rule.contains("properties")) {
      made[key] = defaultsOf(rule);
    }
  }
  return made;
}

TEST(PolicySchema, KnowsTheProgramsKeysAndDefaults) {
  json defaults = defaultsOf(schema());
  EXPECT_EQ(defaults["metrics"]["listen"], "127.0.0.1:9477");
  defaults["metrics"].erase("listen");
  EXPECT_EQ(defaults, toJson(FleetPolicy()));
  // The program knows every key that the schema allows.
  json everything = json::object();
  const json root = schema();
  for (const auto& [key, rule] : root["properties"].items()) {
    everything[key] = json::object();
    if (!rule.contains("properties")) continue;
    for (const auto& member : rule["properties"].items()) everything[key][member.key()] = json();
  }
  EXPECT_THAT(unknownPolicyKeys(everything.dump()), IsEmpty());
}

TEST(PolicySchema, KnowsTheProgramsVocabulary) {
  std::vector<json> categories;
  for (const auto& category : systemScanCategoryTable) categories.emplace_back(std::string(category.key));
  std::vector<json> ecosystems;
  for (const auto& ecosystem : ecosystemTable) ecosystems.emplace_back(std::string(ecosystem.key));
  const json scan = schema()["properties"]["scan"]["properties"];
  EXPECT_THAT(scan["categories"]["items"]["enum"], UnorderedElementsAreArray(categories));
  EXPECT_THAT(scan["ecosystems"]["items"]["enum"], UnorderedElementsAreArray(ecosystems));
}

}  // namespace
}  // namespace tidra
