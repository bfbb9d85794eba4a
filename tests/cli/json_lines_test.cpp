// --json-lines: the events of scan, clean and apply.
#include <filesystem>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/schema_checker.h"

namespace tidra {
namespace {

class JsonLinesTest : public CliTest {
 protected:
  /// The lines of a run, each as its schema has it.
  static std::vector<nlohmann::json> linesIn(const ProgramRun& ran) {
    const auto schema = parseJson(*readFile(TIDRA_SOURCE_DIR "/docs/schemas/json-lines.schema.json"), "The schema");
    std::vector<nlohmann::json> lines;
    for (const std::string& line : linesOf(ran.out)) {
      lines.push_back(parseJson(line, "The line"));
      nlohmann::json part = schema.at("$defs").at(lines.back().at("event").get<std::string>());
      part["additionalProperties"] = false;
      EXPECT_TRUE(SchemaChecker(schema).accepts(part, lines.back())) << line;
    }
    return lines;
  }
  static Texts eventsOf(const std::vector<nlohmann::json>& lines) {
    Texts events;
    for (const auto& line : lines) {
      if (line["event"] != "progress") events.push_back(line["event"]);
    }
    return events;
  }
};

TEST_F(JsonLinesTest, ShowEveryStepAndAddUp) {
  const auto scanned = linesIn(scan({"--json-lines"}));
  EXPECT_EQ(joined(eventsOf(scanned), " "), "started finding finding finding finding finding finished");
  EXPECT_EQ(scanned.back()["bytes"], 54240);
  const std::string plan = tree().path("plan.json");
  ASSERT_EQ(run({"plan", "code", "--no-system", "-o", plan, "--method", "delete"}).status, 0);
  std::filesystem::remove_all(tree().path("code/web/dist"));
  const auto dry = linesIn(run({"apply", plan, "-n", "--json-lines"}));
  EXPECT_THAT(eventsOf(dry),
              UnorderedElementsAreArray(wordsOf("started finding finding finding finding removed removed "
                                                "removed removed failed finished")));
  EXPECT_TRUE(dry.front()["dryRun"]);
  const auto cleaned = linesIn(clean({"--yes", "--method", "delete", "--json-lines"}));
  EXPECT_EQ(joined(eventsOf(cleaned), " "),
            "started finding finding finding finding removed removed removed removed finished");
  EXPECT_EQ(cleaned.back()["removed"], 4);
  EXPECT_FALSE(exists("code/tool/target"));
  std::int64_t freed = 0;
  for (const auto& line : cleaned) freed += line["event"] == "removed" ? line["freedBytes"].get<std::int64_t>() : 0;
  EXPECT_EQ(cleaned.back()["freedBytes"], freed);
}

/// What goes with the trash has a line each, and the sums and a dry run agree with them.
TEST_F(JsonLinesTest, EmptyingTheTrashAddsUp) {
  ASSERT_EQ(clean({"--yes", "code/tool"}).status, 0);
  const auto foreseen = documentOf(clean({"code/web", "--empty-trash", "-n", "--json"}));
  EXPECT_TRUE(foreseen["dryRun"] && foreseen["emptiedTrash"]["entries"] == 1) << foreseen;
  for (const char* way : {"-n", "--yes"}) {
    const auto lines = linesIn(clean({"code/web", "--empty-trash", "--json-lines", way}));
    EXPECT_EQ(joined(eventsOf(lines), " "), "started finding finding removed removed removed finished");
    std::int64_t freed = 0;
    std::string from;
    for (const auto& line : lines) {
      if (line["event"] != "removed") continue;
      EXPECT_TRUE(line["method"] == "delete" && !line.contains("destination")) << line;
      freed += line["freedBytes"].get<std::int64_t>();
      from += line.value("originalPath", "");
    }
    EXPECT_EQ(from, tree().path("code/tool/target"));
    EXPECT_EQ(lines.back()["removed"], 3);
    EXPECT_EQ(lines.back()["freedBytes"], freed);
    EXPECT_EQ(foreseen["freedBytes"], freed);
    EXPECT_GT(freed, 0);
  }
}

TEST_F(JsonLinesTest, WithoutAReaderNothingFurtherIsRemoved) {
  const auto before = snapshotOf(tree().path("code"));
  inShell(
      "(sleep 1; \"$tidra\" clean code --no-system --yes --method delete --json-lines; "
      "echo $? > status) | true");
  EXPECT_EQ(trimmed(*readFile(tree().path("status"))), "141");
  EXPECT_EQ(snapshotOf(tree().path("code")), before);
}

}  // namespace
}  // namespace tidra
