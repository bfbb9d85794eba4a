#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "cli/adopted_settings.h"
#include "cli/interrupt.h"
#include "cli/option_rules.h"
#include "cli/program.h"
#include "cli/removal_run.h"
#include "cli/scan_options.h"
#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/standard_streams.h"
#include "core/platform/trusted_file.h"
#include "core/scan/stores.h"

namespace tidra {
namespace {

struct ApplyOptions {
  std::string file;
  ScanOptions scan;
  RemovalOptions removal;
};

constexpr std::size_t largestPlan = 256_MiB;

/// The plan comes through a pipe.
bool readsStandardInput(const ApplyOptions& options) { return options.file == "-"; }

/// Checks before the wait for the plan: standard input can be read once, so it answers no question afterwards.
void requireUsableInput(const Program& program) {
  if (::isatty(STDIN_FILENO) == 1) {
    throw InputError("'-' is the plan on standard input, but that is a terminal; pipe a plan into it, or name a file.");
  }
  if (!program.options.assumeYes && !program.options.dryRun) {
    throw InputError(
        "With the plan on standard input nobody can be asked; give --yes to go on without, or --dry-run "
        "to look.");
  }
}

std::string textOfPlan(const ApplyOptions& options, const std::string& shown) {
  const bool isPiped = readsStandardInput(options);
  const auto text = isPiped ? readStandardInput(largestPlan) : readTrustedFile("Plan", options.file, largestPlan);
  if (text.failure() == std::errc::invalid_argument) {
    throw InputError(
        fmt::format("{} is not a file; name one that tidra plan has written, or pipe it into "
                    "tidra apply -.",
                    shown));
  }
  if (!text) throw InputError(fmt::format("{} cannot be read: {}.", shown, text.failure().message()));
  if (isPiped && trimmed(*text).empty()) {
    throw InputError("Standard input holds no plan; the command before it has failed or printed nothing.");
  }
  return *text;
}

CleanupPlan readPlan(const ApplyOptions& options, const std::string& host) {
  const std::string shown = readsStandardInput(options) ? "The plan on standard input"
                                                        : fmt::format("Plan '{}'", escapedForTerminal(options.file));
  const bool force = options.removal.force;
  CleanupPlan plan = CleanupPlan::parse(textOfPlan(options, shown), shown);
  if (plan.host != host && !force) {
    throw InputError(fmt::format("{} was made on '{}', but this is '{}'; make a new plan here, or give --force.", shown,
                                 escapedForTerminal(plan.host), escapedForTerminal(host)));
  }
  return plan;
}

/// Checks that the option table cannot make: they depend on the plan's contents.
void checkAgainstPlan(const RemovalOptions& options, bool emptiesTrashIfUsed, const CleanupPlan& plan) {
  if (options.quarantineFolder && plan.method != DisposalMethod::quarantine) {
    throw InputError(missingNeed("--quarantine-dir", "--method quarantine, here or in the plan"));
  }
  const bool hasTrash = std::any_of(plan.items.begin(), plan.items.end(),
                                    [](const auto& item) { return StoreNames::isWholeTrash(item.path); });
  if (options.includesUndated && !options.emptyTrash && !emptiesTrashIfUsed && !hasTrash) {
    throw InputError(missingNeed("--include-unlisted", "--empty-trash or the trash in the plan"));
  }
}

int runApplyCommand(ApplyOptions& options, const Program& program) {
  options.removal.command = RemovalCommand::apply;
  const ScanViewOptions view = chosenView(options.scan, program);
  if (readsStandardInput(options)) requireUsableInput(program);
  requireKnownExclusions(options.scan.home, program.environment);
  ScanRequest request = makeScanRequest(options.scan, program.environment);
  CleanupPlan plan = readPlan(options, request.host);
  if (options.removal.method) plan.method = parseMethod(*options.removal.method);
  checkAgainstPlan(options.removal, options.scan.settings.app.emptyTrashAfterDeletion, plan);
  const InterruptGuard guard;
  prepareRemoval(options.removal, options.scan, plan.method, request, program);
  const CheckedPlan checked = checkPlan(plan, request,
                                        {.force = options.removal.force,
                                         .allowAnyPath = options.removal.allowAnyPath,
                                         .shouldCancel = &InterruptGuard::requested});
  InterruptGuard::requireNone("Interrupted while the plan was checked, so nothing was removed.");
  for (const std::string& note : checked.scan->notes) writeNote(note);
  // Do not ask about items that are refused anyway.
  plan.items = itemsToRemove(checked.candidates);
  return carryOut(checked.candidates, plan, request, options.removal, view, program);
}

}  // namespace

void addApplyCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ApplyOptions>();
  CLI::App* command = app.add_subcommand("apply", "Carry out a plan that tidra plan has written");
  command->add_option("FILE", options->file, "The plan; - reads it from standard input")->required()->type_name("");
  command->add_option("--home", options->scan.home, "Use DIR as the home folder")->type_name("DIR");
  addRuleOptions(*command, options->scan);
  command->add_option("--limit", options->scan.limit, "Items to list; 0 lists all")->type_name("N");
  addSizeOption(*command, options->scan);
  command->add_flag("--json", options->scan.json, "Print one JSON document");
  addJsonLinesOption(*command, options->scan);
  addRemovalOptions(*command, options->removal);
  command->add_flag("--allow-any-path", options->removal.allowAnyPath,
                    "Also paths that no rule names, unless they are excluded");
  command->footer(
      "Examples:\n"
      "  tidra apply plan.json --dry-run            what would happen, refusals included\n"
      "  tidra plan ~/code | tidra apply - --yes    in one go, without asking");
  command->callback([options, &program] {
    program.command = [options, &program] {
      adoptSettings(options->scan, program);
      return runApplyCommand(*options, program);
    };
  });
}

}  // namespace tidra
