// Pipes between commands, help without options, and a home folder that nothing names.
#include "cli/progress_line.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/host.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

class Everyday : public CliTest {
 protected:
  /// Runs a command line with $tidra as the program; returns what it prints and its status in the last line.
  std::string shell(const std::string& commandLine) const {
    return inShell("(" + commandLine + ") 2>&1; echo $?").stdout_;
  }
};

TEST_F(Everyday, APlanGoesThroughAPipe) {
  const std::string plan = "$tidra plan code --no-system -o - | ";
  const auto before = tree().snapshot();
  EXPECT_EQ(documentOf(run({"plan", "code", "--no-system", "-o", "-"}))["items"].size(), 5U) << "and nothing else";
  EXPECT_THAT(shell("true | $tidra apply - --yes"), AllOf(HasSubstr("holds no plan"), EndsWith("\n2")));
  EXPECT_THAT(shell("echo {} | $tidra apply - --yes"), AllOf(HasSubstr("The plan on standard input"), EndsWith("\n2")));
  EXPECT_THAT(shell(plan + "$tidra apply -"), AllOf(HasSubstr("give --yes"), EndsWith("\n2")));
  EXPECT_THAT(refused({"apply", "-", "--yes"}, {.typed = "{}"}), HasSubstr("is a terminal"));
  EXPECT_EQ(tree().snapshot(), before);
  EXPECT_THAT(shell(plan + "sed 's/\"trash\"/\"delete\"/' | $tidra apply - --yes"),
              AllOf(HasSubstr("5 items deleted"), EndsWith("\n0")));
  EXPECT_FALSE(exists("code/web/node_modules"));
}

TEST_F(Everyday, HelpNeedsNoOption) {
  const std::string whole = run({"--help"}).out;
  EXPECT_EQ(run({"help"}).out, whole);
  EXPECT_EQ(run({}).out, whole);
  EXPECT_EQ(run({"-q"}).status, 0);
  EXPECT_EQ(run({"help", "quarantine", "purge"}).out, run({"quarantine", "purge", "--help"}).out);
  EXPECT_EQ(run({"-V"}).out, run({"--version"}).out);
  for (const char* command : {"clean", "apply"}) {
    EXPECT_THAT(run({"help", command}).out,
                AllOf(HasSubstr("--dry-run"), HasSubstr("--yes"), Not(HasSubstr("--output"))));
  }
  for (const char* command : {"scan", "clean", "plan", "trash list", "hub hosts", "fleet run", "config set"}) {
    const std::string help = run(wordsOf("help " + std::string(command))).out;
    for (const std::string& line : linesOf(help)) EXPECT_LE(displayWidth(line), 80U) << line;
    EXPECT_THAT(help, AllOf(HasSubstr("\nOptions:\n  -h,--help"), HasSubstr("\nExamples:\n  tidra")));
  }
}

TEST_F(Everyday, CompletionsKnowCommandsOptionsAndValues) {
  ASSERT_EQ(run({"exclude", "add", "~/code/a b"}).status, 0);
  ASSERT_EQ(clean({"--yes", "--method", "quarantine", "code/ancient"}).status, 0);
  ASSERT_EQ(run({"rules", "enable", "elixir"}).status, 0);
  const std::string mine = tree().writeFile("mine.json", R"({"projectRules": [{"id": "odd", "folderName": "_odd"}]})");
  ASSERT_EQ(run({"rules", "add", mine}).status, 0);
  for (const auto& [typed, words] : rowsOf(R"(
       sc => words scan | compl => words completions | exclude re => words remove | help tra => words trash |
       help trash pur => words purge | scan --ti => words --tier | scan --tier sa => words safe |
       scan --tier safe,c => words safe,caution | scan --tier=safe,c => words --tier=safe,caution |
       scan --tier = wa => words warning | scan --category dock => words docker | plan --method q => words quarantine |
       scan --ecosystem npm,rub => words npm,ruby | rules show node_mod => words node_modules | clean _ => folders |
       apply _ => files | clean --home _ => folders | exclude remove _ => words ~/code/a b |
       config set metho => words method | config set method del => words delete | completions z => words zsh |
       scan --nothing= => words | quarantine restore 9 => words | rules enable er => words erlang |
       rules disable node_m => words node_modules | rules show elixir-bu => words elixir-build | scan --disable-rule od => words odd |
       rules remove _ => words mine.json odd | undo _ => words 1 | history _ => words 1 |
       quarantine restore ~/code/an => words ~/code/ancient/target | scan --unskip ~/.pye => words ~/.pyenv)")) {
    Texts arguments = wordsOf("complete-words -- " + typed);
    if (arguments.back() == "_") arguments.back().clear();
    Texts shown;
    for (const std::string& line : linesOf(run(arguments).out)) shown.push_back(line.substr(0, line.find('\t')));
    EXPECT_EQ(joined(shown, " "), words) << typed;
  }
  EXPECT_THAT(run({"complete-words", "--", "quarantine", "restore", ""}).out,
              HasSubstr("-target\t~/code/ancient/target\n"));
  EXPECT_THAT(refused({"completions", "csh"}), HasSubstr("bash, zsh, fish"));
}

TEST_F(Everyday, TheCompletionsOfBashFillIn) {
  ASSERT_EQ(run({"exclude", "add", "~/code/a b"}).status, 0);
  const std::string script =
      "source <($tidra completions bash); at() { COMP_WORDS=(\"$@\"); COMP_CWORD=$(($#-1)); "
      "_tidra \"$tidra\"; echo \"${COMPREPLY[@]}\"; }; ";
  const auto filled = [&](const std::string& line) { return shell("bash -c '" + script + "at tidra " + line + "'"); };
  EXPECT_EQ(filled("scan --ti"), "--tier\n0");
  EXPECT_EQ(filled("exclude remove \"\""), "\\~/code/a\\ b\n0") << "quoted for the shell";
  EXPECT_EQ(filled("scan cod"), "code\n0");
}

TEST_F(Everyday, AHomeFolderThatNothingNamesIsThatOfTheUser) {
  const std::string policy = tree().writeFile("policy.json", R"({"scan": {"roots": ["/nowhere"]}})");
  const std::string log = tree().writeFile("log", "");
  const auto without = [&](Texts arguments) {
    return runProgram(arguments, {.environment = {{"PATH", "/usr/bin:/bin"}}, .folder = tree().root()});
  };
  EXPECT_EQ(without({"audit", "verify", log}).status, run({"audit", "verify", log}).status);
  EXPECT_EQ(without({"policy", "check", policy}).status, 0);
  const auto home = TidraHost::homeFolder();
  if (!home) GTEST_SKIP() << "the user has no home folder";
  EXPECT_THAT(without({"policy", "check", policy}).out, HasSubstr(*home + "/.tidra/audit.jsonl"));
}

TEST(ScanFigures, AreOfTheSizesThatAreShown) {
  ScanProgress progress;
  progress.recoverableBytes = 3 << 20;
  progress.freeableBytes = 1 << 20;
  EXPECT_EQ(joined(scanFigures(progress, false), "; "), "0 entries; 0 findings; 1 MB");
  EXPECT_EQ(joined(scanFigures(progress, true), "; "), "0 entries; 0 findings; 3 MB");
}

TEST(RemovalFigures, ShowRateAndTimeLeftOnceTheyAreKnown) {
  constexpr std::int64_t mebibyte = 1024 * 1024;
  const CleanupProgress progress{.itemsDone = 1,
                                 .items = 3,
                                 .bytesDone = 60 * mebibyte,
                                 .bytes = 180 * mebibyte,
                                 .entriesRemoved = 1200,
                                 .currentPath = {}};
  const auto at = [&](double seconds) {
    return joined(removalFigures(progress, std::chrono::duration<double>(seconds)), "; ");
  };
  EXPECT_EQ(at(0.5), "1 of 3 items; 60 MB of 180 MB; 1,200 entries");
  EXPECT_EQ(at(2), "1 of 3 items; 60 MB of 180 MB; 4 s left; 1,200 entries; 30 MB/s");
  EXPECT_THAT(at(100), HasSubstr("3 min left"));
}

}  // namespace
}  // namespace tidra
