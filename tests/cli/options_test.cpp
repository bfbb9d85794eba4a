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
      if (section == "Subcommands:") addHelp(command.empty() ? entry : command + " " + entry, options);
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
       apply plan.json --yes --allow-any-path --exclude x => --allow-any-path, --exclude |
       fleet run --policy p --json --explain => --json, --explain |
       rules list --skipped --disable-rule x => --skipped, --disable-rule |
       scan --system --no-system => --no-system, --system | scan --last -x => --last, --one-file-system |
       scan -q -v => --quiet, --verbose | plan --limit 3 => --limit, --output |
       apply plan.json --yes --include-unlisted => --include-unlisted, the trash in the plan |
       apply plan.json --yes --quarantine-dir q => --quarantine-dir, or in the plan |
       rules list --skipped --json => --skipped, --json |
       hub serve --data d --admin-token a --admin-token-file b => --admin-token, --admin-token-file)")) {
    const std::string told = refused(wordsOf(arguments));
    for (const auto name : split(named, ',')) EXPECT_THAT(told, HasSubstr(std::string(trimmed(name)))) << arguments;
  }
  EXPECT_EQ(tree().snapshot(), before);
  for (const Texts& sound : {Texts{"clean", "--dry-run", "--include-unlisted", "--tier", "safe,caution", "--no-system"},
                             {"apply", plan, "--dry-run", "--include-unlisted", "--empty-trash"},
                             {"plan", "--no-system", "--limit", "1", "-o", plan, "-n"}})
    EXPECT_EQ(run(sound).status, 0) << joined(sound, " ");
}

}  // namespace
}  // namespace tidra
