// The options of all commands: the manual page lists each, and pairs without effect are refused.
#include <map>
#include <set>

#include "core/base/text.h"
#include "core/platform/files.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

/// Options by command; "" is the program itself.
using OptionsOfCommands = std::map<std::string, std::set<std::string>>;

class Options : public CliTest {
 protected:
  /// Adds the options in the help of a command and its subcommands.
  void addHelp(const std::string& command, OptionsOfCommands& options) const {
    Texts arguments = wordsOf(command);
    arguments.emplace_back("--help");
    std::string section;
    for (const std::string& line : linesOf(run(arguments).out)) {
      if (!line.starts_with(' ')) section = line;
      if (!line.starts_with("  ") || line.starts_with("   ")) continue;
      const std::string entry(splitNonEmpty(line, ' ').front());
      if (section == "Options:") addLongNames(entry, options[command]);
      if (section == "Subcommands:")
        addHelp((command.empty() ? "" : command + " ") + entry.substr(0, entry.find(',')), options);
    }
  }
  /// Options by command from the manual page: OPTIONS are the program's, headings below OPTIONS OF COMMANDS name
  /// commands.
  static OptionsOfCommands manual() {
    OptionsOfCommands options;
    Texts commands;
    for (std::string line : linesOf(*readFile(TIDRA_SOURCE_DIR "/packaging/man/tidra.1"))) {
      if (line == ".SH OPTIONS") commands = {""};
      if (line.starts_with(".SH ") && line != ".SH OPTIONS") commands.clear();
      if (line == ".SH OPTIONS OF COMMANDS") commands = {"nothing yet"};
      std::erase_if(line, [](char c) { return c == '\\' || c == '"'; });
      if (line.starts_with(".SS ") && !commands.empty()) {
        commands.clear();
        for (const auto name : split(std::string_view(line).substr(4), ',')) commands.emplace_back(trimmed(name));
      }
      if (!line.starts_with(".B")) continue;
      for (const std::string& command : commands) addLongNames(line, options[command]);
    }
    return options;
  }

 private:
  static void addLongNames(const std::string& text, std::set<std::string>& names) {
    for (auto at = text.find("--"); at != std::string::npos; at = text.find("--", at + 2)) {
      const std::string name = text.substr(at, text.find_first_of(" ,:", at) - at);
      if (name != "--help") names.insert(name);
    }
  }
};

TEST_F(Options, OfEveryCommandAreTheSameInHelpAndManualPage) {
  OptionsOfCommands helped;
  addHelp("", helped);
  std::erase_if(helped, [](const auto& entry) { return entry.second.empty(); });
  EXPECT_GT(helped.size(), 25U);
  EXPECT_EQ(helped, manual());
}

TEST_F(Options, OfWhichOneWouldDoNothingAreRefused) {
  const std::string plan = tree().path("plan.json");
  ASSERT_EQ(run({"plan", "-o", plan, "--no-system"}).status, 0);
  const auto before = tree().snapshot();
  for (const auto& [arguments, named] : rowsOf(R"(
       clean --yes --include-unlisted => --include-unlisted, --empty-trash |
       clean --yes --include-unlisted --tier safe => --include-unlisted, --tier caution |
       clean --yes --quarantine-dir q => --quarantine-dir, --method quarantine |
       clean --yes --method delete --quarantine-dir q => --quarantine-dir, --method quarantine |
       clean --yes --json --limit 3 => --json, --limit | scan --json --sort path => --json, --sort |
       clean --yes --no-system --category docker => --no-system, --category | scan --last code => --last, ROOT |
       plan --no-projects --no-system => --no-projects, --no-system |
       clean --yes --no-projects --no-evidence => --no-projects, --no-evidence |
       scan --no-projects -x => --no-projects, --one-file-system | plan --no-projects --unskip /opt => --unskip |
       apply plan.json --yes --allow-any-path --exclude x => --allow-any-path, --exclude |
       fleet run --policy p --json --explain => --json, --explain |
       rules list --skipped --disable-rule x => --skipped, --disable-rule |
       scan --system --no-system => --no-system, --system | scan --last -x => --last, --one-file-system |
       scan --json --apparent-size => --json, --apparent-size |
       scan -q -v => --quiet, --verbose | plan --limit 3 => --limit, --output |
       apply plan.json --yes --include-unlisted => --include-unlisted, the trash in the plan |
       apply plan.json --yes --quarantine-dir q => --quarantine-dir, or in the plan |
       rules list --skipped --json => --skipped, --json |
       hub serve --data d --admin-token a --admin-token-file b => --admin-token, --admin-token-file)")) {
    const std::string message = refused(wordsOf(arguments));
    for (const auto name : split(named, ',')) EXPECT_THAT(message, HasSubstr(std::string(trimmed(name)))) << arguments;
  }
  EXPECT_EQ(tree().snapshot(), before);
  for (const Texts& sound : {Texts{"clean", "--dry-run", "--include-unlisted", "--tier", "safe,caution", "--no-system"},
                             {"apply", plan, "--dry-run", "--include-unlisted", "--empty-trash"},
                             {"plan", "--no-system", "--limit", "1", "-o", plan, "-n"}})
    EXPECT_EQ(run(sound).status, 0) << joined(sound, " ");
}

TEST_F(Options, NothingAfterTwoDashesIsOne) {
  const auto before = tree().snapshot();
  // Every command with operands: the word is its operand, which does not exist.
  for (const auto& command :
       {"scan -q", "scan code -q", "clean -q", "clean code", "plan -q", "apply", "quarantine restore", "trash restore",
        "trash purge", "history", "undo", "exclude remove", "rules check", "rules show", "rules add", "rules remove",
        "policy check", "policy example", "hub policy put --url http://127.0.0.1:1 --token t name"}) {
    for (const char* word : {"--yes", "-y", "-n", "--help", "--force", "-[a,b]"}) {
      Texts arguments = wordsOf(command);
      arguments.insert(arguments.end(), {"--", word});
      EXPECT_THAT(refused(arguments), HasSubstr(word)) << command;
    }
  }
  EXPECT_EQ(tree().snapshot(), before);
  EXPECT_THAT(run({"audit", "verify", "--", "-y"}).out, EndsWith("/-y\n"));
  EXPECT_THAT(refused({"clean", "--exclude", "--", "code"}), HasSubstr("--exclude"));
  EXPECT_THAT(refused({"trash", "--", "purge"}), HasSubstr("'purge'"));
  const std::string many = refused({"audit", "verify", "a", "[b]", "--", "-n", "c"});
  EXPECT_THAT(many, AllOf(HasSubstr("[b]"), HasSubstr("-n"), Not(HasSubstr("x1f")), Not(HasSubstr("\x1f"))));
  tree().writeFile("code/-y/[a,b]/package.json", R"({"dependencies": {"a": "1"}})");
  tree().writeFile("code/-y/[a,b]/node_modules/.package-lock.json", std::string(2000, 'x'));
  tree().writeFile("code/-y/a/node_modules/.package-lock.json", std::string(2000, 'x'));
  EXPECT_THAT(run({"plan", "--no-system", "--", "[a,b]"}, {.folder = tree().path("code/-y")}),
              succeeds(HasSubstr("/-y/[a,b]/node_modules")));
  EXPECT_THAT(run({"plan", "--no-system", "[a,b]"}, {.folder = tree().path("code/-y")}),
              succeeds(AllOf(HasSubstr("/-y/[a,b]/node_modules"), Not(HasSubstr("/-y/a/")))));
}

TEST_F(Options, OfPathsAreSplitAtCommasOnlyWhereTheTextNamesNothing) {
  for (const char* name : {"a", "b", "a,b", "c"}) {
    tree().writeFile(std::string("code/x/") + name + "/package.json");
    tree().writeFile(std::string("code/x/") + name + "/node_modules/.package-lock.json", "x");
  }
  const std::string rules = tree().writeFile("r,s.json", "{}");
  for (const auto& [excluded, left] : std::vector<std::pair<std::string, Texts>>{{"./a,b", {"a", "b", "c"}},
                                                                                 {"./a,./b", {"a,b", "c"}},
                                                                                 {"./c,./a,b", {"a", "b"}},
                                                                                 {"./a,b,./c", {"a", "b"}}}) {
    const auto ran = run({"scan", ".", "--no-system", "--json", "--exclude", excluded, "--rules", rules},
                         {.folder = tree().path("code/x")});
    Texts paths;
    for (const auto& item : reportOf(ran).items) paths.push_back(shortNames({item.path}));
    Texts expected;
    for (const std::string& name : left) expected.push_back(name + "/node_modules");
    EXPECT_THAT(paths, UnorderedElementsAreArray(expected)) << excluded << ran;
  }
}

TEST_F(Options, StoresListAloneAndShortNamesWork) {
  tree().makeFolder("other");
  for (const auto& [arguments, out] : rowsOf(R"(
       trash => The trash is empty. | quarantine => Nothing is in quarantine. | trash ls --json => [] |
       trash --home other list => The trash is empty. | quarantine --home other ls => Nothing is in quarantine. |
       exclude add ~/x ~/y => ~/y is now excluded. | exclude rm ~/y ~/x => ~/x is no longer excluded. |
       config unset tier color => color is auto | rules ls => Catalog)")) {
    EXPECT_THAT(run(wordsOf(arguments)), succeeds(HasSubstr(out))) << arguments;
  }
}

TEST_F(Options, UnknownCommandsAreNamedWithTheKnownOnes) {
  for (const auto& [arguments, named] : rowsOf(R"(
       trash empty => 'empty', tidra trash, purge | quarantine undo => 'undo', restore |
       help nope => 'nope', known are, scan | help trash nope => tidra trash, 'nope', purge | restore => tidra undo |
       hub => tidra hub needs, hosts | scn => did you mean scan? | scna --help => did you mean scan? |
       trash lst --help => 'lst' of tidra trash, did you mean list? | exclude ads b => 'ads' of tidra exclude, mean add? |
       --nope => has no option --nope | clean --metod=x => tidra clean has no option --metod, did you mean --method? |
       audit verify x y z => tidra audit verify does not take 'y' 'z' | help scn => did you mean scan? |
       apply => FILE, tidra apply --help | clean --older-than => --older-than, tidra clean --help)")) {
    const std::string message = refused(wordsOf(arguments));
    for (const auto name : split(named, ',')) EXPECT_THAT(message, HasSubstr(std::string(trimmed(name)))) << arguments;
  }
}

}  // namespace
}  // namespace tidra
