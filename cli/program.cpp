// The terminal program: parses the arguments, runs the chosen command, and maps exceptions to one sentence and an exit
// status.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <new>
#include <sstream>

#include "app/state/preferences_store.h"
#include "cli/interrupt.h"
#include "cli/literal_arguments.h"
#include "cli/option_rules.h"
#include "cli/program.h"
#include "cli/terminal.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/model/scan_report.h"
#include "core/platform/memory_shortage.h"
#include "core/platform/standard_streams.h"

namespace tidra {
namespace {

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
  app.add_flag("-q,--quiet", options.quiet, "No progress and no notes");
  app.add_flag("-v,--verbose", options.verbose, "Print more about what happens");
  app.add_flag("-y,--yes", options.assumeYes, "Do not ask");
  app.add_flag("-n,--dry-run", options.dryRun, "Remove and change nothing, only show what would be done");
  app.add_option("--color", options.color, "Colours: auto, always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->type_name("WHEN");
  app.set_version_flag("--version", fmt::format("tidra {}", TidraCoreInfo::version));
}

constexpr const char* memoryShortage =
    "tidra: there is not enough memory to go on; allow more (ulimit -v shows the limit), name smaller folders, "
    "or "
    "use fewer threads with --threads.\n";

/// Commands accept the program's own options too, which the parser lists in the program's help only.
void mentionGlobalOptions(CLI::App& app) {
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
    command->footer("Also -n, -y, -q, -v and --color; tidra --help explains them.\n\n" + command->get_footer());
    mentionGlobalOptions(*command);
  }
}

int fail(std::string_view message, int status) {
  writeStandardError(fmt::format("tidra: {}\n", message));
  return status;
}

/// The innermost command that was named, and how its help is called: "tidra trash purge --help".
struct NamedCommand {
  const CLI::App* command;
  std::string words;

  explicit NamedCommand(const CLI::App& app) : command(&app), words(app.get_name()) {
    while (!command->get_subcommands().empty()) {
      command = command->get_subcommands().front();
      words += " " + command->get_name();
    }
  }
};

/// The first word that is no option of the program or of the command.
std::string unknownWord(const CLI::App& app) {
  for (std::string& word : app.remaining(true)) {
    if (!word.starts_with('-')) return std::move(word);
  }
  return {};
}

/// Names the commands that exist where one is missing or unknown.
std::string missingCommandSentence(const CLI::App& app, const LiteralArguments& arguments) {
  const NamedCommand named(app);
  std::vector<std::string> known;
  for (const CLI::App* command : named.command->get_subcommands([](const CLI::App*) { return true; })) {
    known.push_back(command->get_name());
  }
  const std::string word = escapedForTerminal(arguments.putBack(unknownWord(app)));
  const std::string commands = joined(known, ", ");
  if (word.empty()) return fmt::format("{} needs a command: {}.", named.words, commands);
  std::string hint;
  if (word == "help") hint = "; tidra --help explains them";
  if (word == "restore") hint = "; tidra undo brings back what the last removal moved away";
  const std::string at = named.command == &app ? "" : fmt::format(" of {}", named.words);
  return fmt::format("Unknown command '{}'{}; known are {}{}.", word, at, commands, hint);
}

/// Replaces the parser's hard to understand messages.
std::string sentenceOf(const CLI::ParseError& error, const CLI::App& app, const LiteralArguments& arguments) {
  const std::string help = fmt::format("(see {} --help)", NamedCommand(app).words);
  const std::string message = error.what();
  const std::string option = escapedForTerminal(message.substr(0, message.find(':')));
  const bool isMismatch = dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr;
  if (isMismatch && message.find("At Most 1") != std::string::npos) {
    return fmt::format("{} is given more than once; give it one value. {}", option, help);
  }
  if (isMismatch && message.ends_with("missing")) return fmt::format("{} needs a value. {}", option, help);
  if (message.starts_with("A subcommand is")) return missingCommandSentence(app, arguments);
  return fmt::format("{} {}", escapedForTerminal(arguments.putBack(message)), help);
}

void addCommands(CLI::App& app, Program& program) {
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(
      "Examples:\n"
      "  tidra scan                 what can be reclaimed in the home folder\n"
      "  tidra scan ~/code --json   the same for one folder, as JSON");
  addGlobalOptions(app, program.options);
  addScanCommand(app, program);
  addCleanCommand(app, program);
  addPlanCommand(app, program);
  addApplyCommand(app, program);
  addUndoCommand(app, program);
  addHistoryCommand(app, program);
  addQuarantineCommand(app, program);
  addTrashCommand(app, program);
  addExcludeCommand(app, program);
  addRulesCommand(app, program);
  addPolicyCommand(app, program);
  addFleetCommand(app, program);
  addAuditCommand(app, program);
  addHubCommand(app, program);
  mentionGlobalOptions(app);
}

int runProgram(int argc, char** argv) {
  Program program;
  program.environment = processEnvironment();
  CLI::App app("Tidra gives developers their disk space back: it finds what can be made again, and removes it safely.",
               "tidra");
  addCommands(app, program);
  const LiteralArguments arguments(argc, argv);
  arguments.putBackIn(app);
  try {
    // The parser takes the words in reverse order.
    app.parse(std::vector<std::string>(arguments.words().rbegin(), arguments.words().rend()));
  } catch (const CLI::Success& wanted) {
    std::ostringstream text;
    const int status = app.exit(wanted, text, text);
    writeOut(text.str());
    return status;
  } catch (const CLI::ParseError& error) {
    return fail(sentenceOf(error, app, arguments), ExitStatus::badInput);
  }
  checkOptionPairs(app);
  if (program.options.quiet) silenceNotes();
  return program.command();
}

}  // namespace

int runTidra(int argc, char** argv) {
  endAtMemoryShortage(memoryShortage, ExitStatus::someFailed);
  handleInterrupts();
  holdClosedStandardStreams();
  try {
    return runProgram(argc, argv);
  } catch (const Interrupted& interruption) {
    writeNote(interruption.what());
    return ExitStatus::interrupted;
  } catch (const InputError& error) {
    return fail(error.what(), ExitStatus::badInput);
  } catch (const PreferencesError& error) {
    return fail(escapedForTerminal(error.what()), ExitStatus::badInput);
  } catch (const std::bad_alloc&) {
    writeStandardError(memoryShortage);
    return ExitStatus::someFailed;
  } catch (const std::exception& error) {
    return fail(escapedForTerminal(error.what()), ExitStatus::someFailed);
  }
}

}  // namespace tidra
