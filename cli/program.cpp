// The terminal program: parses the arguments, runs the chosen command, and maps exceptions to one sentence and an exit
// status.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <new>
#include <sstream>

#include "app/state/preferences_store.h"
#include "cli/interrupt.h"
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

/// Replaces the parser's hard to understand message for too many or too few values.
std::string mismatchSentence(const CLI::ArgumentMismatch& error) {
  const std::string_view message = error.what();
  const std::string option = escapedForTerminal(message.substr(0, message.find(':')));
  if (message.find("At Most 1") != std::string_view::npos) {
    return fmt::format("{} is given more than once; give it one value. (see tidra --help)", option);
  }
  if (message.ends_with("missing")) return fmt::format("{} needs a value. (see tidra --help)", option);
  return fmt::format("{} (see tidra --help)", escapedForTerminal(message));
}

int runProgram(int argc, char** argv) {
  Program program;
  program.environment = processEnvironment();
  CLI::App app("Tidra gives developers their disk space back: it finds what can be made again, and removes it safely.",
               "tidra");
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
  addQuarantineCommand(app, program);
  addTrashCommand(app, program);
  addExcludeCommand(app, program);
  addRulesCommand(app, program);
  addPolicyCommand(app, program);
  addFleetCommand(app, program);
  addAuditCommand(app, program);
  addHubCommand(app, program);
  mentionGlobalOptions(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& wanted) {
    std::ostringstream text;
    const int status = app.exit(wanted, text, text);
    writeOut(text.str());
    return status;
  } catch (const CLI::RequiredError& error) {
    const std::string word = argc > 1 ? argv[1] : "";
    const bool unknown = !word.empty() && !word.starts_with('-') && app.get_subcommands().empty();
    return fail(unknown ? fmt::format("Unknown command '{}'; see tidra --help.", escapedForTerminal(word))
                        : fmt::format("{} (see tidra --help)", escapedForTerminal(error.what())),
                ExitStatus::badInput);
  } catch (const CLI::ArgumentMismatch& error) {
    return fail(mismatchSentence(error), ExitStatus::badInput);
  } catch (const CLI::ParseError& error) {
    return fail(fmt::format("{} (see tidra --help)", escapedForTerminal(error.what())), ExitStatus::badInput);
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
