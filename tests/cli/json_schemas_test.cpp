// The program's output matches docs/schemas.
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/rules/rule_catalog.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/schema_checker.h"

namespace tidra {
namespace {

using nlohmann::json;

json schemaNamed(const std::string& name) {
  const auto text = readFile(TIDRA_SOURCE_DIR "/docs/schemas/" + name + ".schema.json");
  EXPECT_TRUE(text) << name;
  return parseJson(*text, "The schema");
}

/// Published schemas allow unknown fields, for later versions; here every field must be described.
void refuseOtherFields(json& schema) {
  if (!schema.is_structured()) return;
  for (auto& part : schema) refuseOtherFields(part);
  if (schema.is_object() && schema.contains("properties")) schema["additionalProperties"] = false;
}

void expectDescribed(const std::string& name, const json& document) {
  json schema = schemaNamed(name);
  refuseOtherFields(schema);
  EXPECT_TRUE(SchemaChecker(schema).accepts(document)) << name << "\n" << document.dump(2);
}

using JsonSchemas = CliTest;

TEST_F(JsonSchemas, DescribeEveryDocument) {
  const std::string odd = anyByteNames ? "code/\xff/" : "code/odd/";
  tree().writeFileOfSize(odd + "node_modules/f", 100);
  tree().writeFile(odd + "package.json", "{}");
  expectDescribed("report", parseJson(scan({"--json"}).out, "it"));
  expectDescribed(
      "plan",
      parseJson(run({"plan", "--no-system", "--no-evidence", "--older-than", "0d", "--min-size", "1"}).out, "it"));
  expectDescribed("rules", parseJson(run({"rules", "export"}).out, "it"));
  const std::string policy = tree().writeFile("policy.json", R"({"scan": {"roots": ["~/code"], "categories": []},
    "autoClean": {"minBytes": 1000, "minIdleDays": 0}})");
  const json done = parseJson(run({"fleet", "run", "--policy", policy, "--json"}).out, "it");
  expectDescribed("plan", done["plan"]);
  expectDescribed("outcome", done["disposal"]);
  expectDescribed("outcome", documentOf(clean({"-n", "--empty-trash", "--json"})));
  EXPECT_FALSE(done["disposal"]["receipts"].empty());
  ASSERT_EQ(clean({"--yes", "--no-evidence", "--method", "quarantine", "--older-than", "0d"}).status, 0);
  ASSERT_EQ(run({"undo", "--yes"}).status, 0);
  const json history = documentOf(run({"history", "--json"}));
  EXPECT_TRUE(history[0]["items"][0].contains("restoredAt"));
  expectDescribed("history", history);
  const auto log = readFile(tree().path(".tidra/audit.jsonl"));
  ASSERT_TRUE(log);
  for (const auto line : splitNonEmpty(*log, '\n')) expectDescribed("audit-record", parseJson(line, "it"));
}

TEST(JsonSchemaOfRules, RefusesWhatTheProgramRefuses) {
  const SchemaChecker checker(schemaNamed("rules"));
  for (const char* document :
       {R"({"schemaVersion": 2})", R"({"projectRules": [{"id": "a"}]})",
        R"({"projectRules": [{"id": "a", "folderName": "b", "tier": "sfae"}]})",
        R"({"projectRules": [{"id": "a", "folderName": "b", "hintsBeside": [{"files": ["c"]}]}]})",
        R"({"systemRules": [{"id": "a", "category": "c", "label": "l"}]})", R"({"walkSkip": {"all": "x"}})"}) {
    EXPECT_FALSE(checker.accepts(parseJson(document, "it"))) << document;
    EXPECT_ANY_THROW(RuleCatalog::load(document)) << document;
  }
}

}  // namespace
}  // namespace tidra
