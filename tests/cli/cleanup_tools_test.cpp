// Items that tools remove are listed, confirmed and counted apart from Tidra's own.
#include "core/base/json_fields.h"
#include "core/platform/directory_reader.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

/// A Conda with an environment of 5000 bytes, and 3 MB of unused packages of which it reclaims 2 MB.
class CleanupByTools : public CliTest {
 protected:
  CleanupByTools() {
    tree().writeFileOfSize("conda/envs/ml/f", 5000);
    tree().writeFile("packages");
    tree().writeProgram("bin/conda",
                        "cd\ncase \"$*\" in\n'info --base') echo $PWD/conda;;\n"
                        "'env list --json') echo \"{\\\"envs\\\": [\\\"$PWD/conda/envs/ml\\\"]}\";;\n"
                        "'clean --packages --dry-run -y') echo 'Will remove 3 (3.0 MB) package(s).';;\n"
                        "'clean --packages -y') rm packages; echo 'Will remove 2 (2.0 MB) package(s).';;\n"
                        "'env remove -n ml -y') rm -r conda/envs/ml;;\n*) exit 1;;\nesac");
    tree().writeFile("rules.json", R"({"projectRules": [{"id": "data", "folderName": "precious",
                                       "ecosystem": "general", "tier": "warning"}]})");
    tree().writeFileOfSize("code/pearls/precious/f", 10);
  }
  ProgramRun clean(std::vector<std::string> arguments, const std::optional<std::string>& typed = {}) const {
    arguments.insert(arguments.begin(), {"clean", "--no-evidence", "--rules", "rules.json", "--category", "python"});
    ProgramOptions options;
    options.environment["PATH"] = tree().path("bin") + ":/usr/bin:/bin";
    options.typed = typed;
    return run(arguments, options);
  }
  std::vector<std::string> left() const {
    std::vector<std::string> paths{"packages", "conda/envs/ml", "code/web/dist", "code/pearls/precious"};
    std::erase_if(paths, [&](const std::string& path) { return !pathFacts(tree().path(path)); });
    return paths;
  }
};

TEST_F(CleanupByTools, IsListedApartAndAskedApart) {
  const std::vector<std::string> caution{"--tier", "safe,caution", "code/web"};
  auto dry = caution;
  dry.emplace_back("--dry-run");
  EXPECT_THAT(clean(dry).out,
              AllOf(HasSubstr("\nRemoved by their tool, at once; no trash, no quarantine:\n"), HasSubstr("about 3 MB"),
                    HasSubstr("runs: conda clean --packages -y\n"), HasSubstr("cannot be undone; conda env create"),
                    HasSubstr("2 items with about 3 MB would be removed by conda; nothing was changed.")));
  auto asked = caution;
  asked.emplace_back("--apparent-size");
  const ProgramRun neither = clean(asked, "n\nn\n");
  EXPECT_THAT(neither.err,
              AllOf(HasSubstr("Move 2 items (3 KB) to the trash? [y/N]"), HasSubstr("Nothing was removed."),
                    HasSubstr("Have conda remove 2 items (about 3 MB) at once and for good? [y/N]")));
  EXPECT_THAT(left(), ElementsAre("packages", "conda/envs/ml", "code/web/dist", "code/pearls/precious"));
  const ProgramRun tools = clean(caution, "n\ny\n");
  EXPECT_THAT(tools.out,
              AllOf(HasSubstr("2 items removed by conda, about 2 MB freed.\n"), Not(HasSubstr("to the trash"))));
  EXPECT_THAT(left(), ElementsAre("code/web/dist", "code/pearls/precious"));
}

TEST_F(CleanupByTools, NoToOneKeepsTheOtherAndTypedAnswersAreForTheirOwnQuestion) {
  EXPECT_EQ(clean({"--tier", "safe,warning", "code/pearls", "--yes"}).status, 2) << "for what needs a typed answer";
  EXPECT_THAT(clean({"--tier", "safe,warning", "code/pearls"}, "remove 2\ny\n").out,
              HasSubstr("1 item removed by conda, 2 MB freed."));
  EXPECT_THAT(left(), ElementsAre("conda/envs/ml", "code/web/dist", "code/pearls/precious"));
  EXPECT_THAT(clean({"--tier", "safe,warning", "code/pearls"}, "remove 1\nn\n").out,
              HasSubstr("1 item moved to the trash; tidra undo brings it back."));
  EXPECT_THAT(left(), ElementsAre("conda/envs/ml", "code/web/dist"));
}

TEST_F(CleanupByTools, TheDocumentHasTheFigureBesideTheReceipt) {
  const auto outcome = documentOf(clean({"--yes", "--json", "code/pearls"}));
  ASSERT_EQ(outcome.at("receipts").size(), 1U);
  EXPECT_FALSE(outcome.at("receipts")[0].contains("bytes"));
  EXPECT_EQ(outcome.at("unmeasured"),
            parseJson(R"([{"path": "conda:clean:packages", "bytes": 2097152, "reportedByTool": true}])", "it"));
}

}  // namespace
}  // namespace tidra
