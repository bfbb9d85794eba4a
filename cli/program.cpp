// The terminal program: parses the arguments, runs the chosen command, and maps exceptions to one sentence and an exit
// status.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <new>
#include <sstream>

#include "app/state/preferences_store.h"
#include "cli/help_text.h"
#include "cli/interrupt.h"
#include "cli/json_lines.h"
#include "cli/literal_arguments.h"
#include "cli/option_rules.h"
#include "cli/program.h"
#include "cli/terminal.h"
#include "cli/usage_errors.h"
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
      ->each([&options](const std::string&) { options.colorIsNamed = true; })
      ->type_name("WHEN");
  app.set_version_flag("-V,--version", fmt::format("tidra {}", TidraCoreInfo::version));
}

constexpr const char* memoryShortage =
    "tidra: there is not enough memory to go on; allow more (ulimit -v shows the limit), name smaller folders, "
    "or "
    "use fewer threads with --threads.\n";

/// The help of the commands that remove things lists the options that decide about that.
void showRemovalFlags(CLI::App& app, GlobalOptions& options) {
  for (const char* name : {"clean", "apply"}) {
    CLI::App& command = *app.get_subcommand(name);
    command.add_flag("-n,--dry-run", options.dryRun, "Remove nothing, only show what would go");
    command.add_flag("-y,--yes", options.assumeYes, "Do not ask, except where an answer must be typed out");
  }
}

/// Commands accept the program's own options too, which the parser lists in the program's help only.
void mentionGlobalOptions(CLI::App& app) {
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
    const bool showsSome = command->get_option_no_throw("--dry-run") != nullptr;
    command->footer(fmt::format("Also {}-q, -v and --color; tidra --help explains them.\n\n{}",
                                showsSome ? "" : "-n, -y, ", command->get_footer()));
    mentionGlobalOptions(*command);
  }
}

/// Lines fit the terminal; elsewhere 80 columns.
void writeHelp(std::string_view help) {
  const TerminalFacts terminal = terminalFacts(STDOUT_FILENO, "never", processEnvironment());
  writeOut(fittedHelp(help, terminal.isTerminal ? terminal.columns : TerminalFacts{}.columns));
}

/// Prints the help of the program, or of the command that the words name.
int showHelp(const CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* command = &app;
  std::string name = app.get_name();
  for (const std::string& word : words) {
    const CLI::App* next = nullptr;
    for (const CLI::App* each : command->get_subcommands([](const CLI::App*) { return true; })) {
      if (each->check_name(word)) next = each;
    }
    if (next == nullptr) throw InputError(noCommandText(name, word, *command));
    name += " " + next->get_name();
    command = next;
  }
  writeHelp(app.get_formatter()->make_help(command, name, CLI::AppFormatMode::Normal));
  return ExitStatus::done;
}

void addHelpCommand(CLI::App& app, Program& program) {
  auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = app.add_subcommand("help", "Explain the program, or one command");
  command->add_option("COMMAND", *words, "The command, such as trash purge")->type_name("");
  command->footer("Examples:\n  tidra help clean\n  tidra help trash purge");
  command->callback([&app, &program, words] { program.command = [&app, words] { return showHelp(app, *words); }; });
}

int fail(std::string_view message, int status) {
  writeError(message);
  return status;
}

void addCommands(CLI::App& app, Program& program) {
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(
      "Examples:\n"
      "  tidra                      look, mark and remove on screens\n"
      "  tidra scan                 what can be reclaimed in the home folder\n"
      "  tidra scan ~/code --json   the same for one folder, as JSON");
  addGlobalOptions(app, program.options);
  addScanCommand(app, program);
  addUiCommand(app, program);
  addCleanCommand(app, program);
  addPlanCommand(app, program);
  addApplyCommand(app, program);
  addUndoCommand(app, program);
  addHistoryCommand(app, program);
  addQuarantineCommand(app, program);
  addTrashCommand(app, program);
  addExcludeCommand(app, program);
  addRulesCommand(app, program);
  addConfigCommand(app, program);
  addPolicyCommand(app, program);
  addFleetCommand(app, program);
  addAuditCommand(app, program);
  addHubCommand(app, program);
  addCompletionsCommand(app, program);
  addHelpCommand(app, program);
  showRemovalFlags(app, program.options);
  mentionGlobalOptions(app);
}

int runProgram(int argc, char** argv) {
  Program program;
  program.environment = processEnvironment();
  chooseGlyphs(program.environment);
  CLI::App app("Tidra frees disk space: it finds what developer tools can make again, and removes it safely.", "tidra");
  addCommands(app, program);
  const LiteralArguments arguments(argc, argv);
  arguments.putBackIn(app);
  try {
    // The parser takes the words in reverse order.
    std::vector<std::string> words(arguments.words().rbegin(), arguments.words().rend());
    if (words.empty() && opensOnTerminal(program.environment)) words = {"ui"};
    app.parse(std::move(words));
  } catch (const CLI::Success& wanted) {
    const bool isHelp = dynamic_cast<const CLI::CallForHelp*>(&wanted) != nullptr;
    const std::string unknown = isHelp ? unknownCommandText(app, arguments) : "";
    if (!unknown.empty()) return fail(unknown, ExitStatus::badInput);
    std::ostringstream text;
    const int status = app.exit(wanted, text, text);
    writeHelp(text.str());
    return status;
  } catch (const CLI::ParseError& error) {
    const bool isBare = app.get_subcommands().empty() && app.remaining(true).empty();
    if (isBare && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) return showHelp(app, {});
    return fail(usageErrorText(error, app, arguments), ExitStatus::badInput);
  }
  checkOptionPairs(app);
  if (program.options.quiet) silenceNotes();
  return program.command();
}

}  // namespace

namespace {

/// Maps exceptions to a sentence and a status.
int runGuarded(int argc, char** argv) {
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

}  // namespace

int runTidra(int argc, char** argv) {
  endAtMemoryShortage(memoryShortage, ExitStatus::someFailed);
  handleInterrupts();
  holdClosedStandardStreams();
  const int status = runGuarded(argc, argv);
  if (JsonLines::isBroken()) endByBrokenPipe(ExitStatus::someFailed);
  return status == ExitStatus::interrupted ? interruptedStatus() : status;
}

}  // namespace tidra
