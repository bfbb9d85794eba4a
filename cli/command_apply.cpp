#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "cli/cleanup_options.h"
#include "cli/interrupt.h"
#include "cli/option_rules.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/scan/stores.h"
#include "core/platform/trusted_file.h"

namespace tidra {
namespace {

struct ApplyOptions {
  std::string file;
  ScanOptions scan;
  RemovalOptions removal;
};

constexpr std::size_t largestPlan = 256_MiB;

CleanupPlan readPlan(const std::string& file, const std::string& host, bool force) {
  const std::string shown = fmt::format("Plan '{}'", escapedForTerminal(file));
  const auto text = readTrustedFile("Plan", file, largestPlan);
  if (text.failure() == std::errc::invalid_argument) {
    throw InputError(fmt::format("{} is not a file; name one that tidra plan has written.", shown));
  }
  if (!text) throw InputError(fmt::format("{} cannot be read: {}.", shown, text.failure().message()));
  CleanupPlan plan = CleanupPlan::parse(*text, shown);
  if (plan.host != host && !force) {
    throw InputError(fmt::format("{} was made on '{}', but this is '{}'; make a new plan here, or give --force.", shown,
                                 escapedForTerminal(plan.host), escapedForTerminal(host)));
  }
  return plan;
}

/// Checks that the option table cannot make: they depend on the plan's contents.
void checkAgainstPlan(const RemovalOptions& options, const CleanupPlan& plan) {
  if (options.quarantineFolder && plan.method != DisposalMethod::quarantine) {
    throw InputError(missingNeed("--quarantine-dir", "--method quarantine, here or in the plan"));
  }
  const bool hasTrash = std::any_of(plan.items.begin(), plan.items.end(),
                                    [](const auto& item) { return StoreNames::isWholeTrash(item.path); });
  if (options.includesUnlisted && !options.emptyTrash && !hasTrash) {
    throw InputError(missingNeed("--include-unlisted", "--empty-trash or the trash in the plan"));
  }
}

int runApplyCommand(ApplyOptions& options, const Program& program) {
  options.removal.json = options.scan.json;
  options.removal.command = RemovalCommand::apply;
  const ScanViewOptions view = chosenView(options.scan, program);
  requireKnownExclusions(options.scan.home, program.environment);
  ScanRequest request = makeScanRequest(options.scan, program.environment);
  CleanupPlan plan = readPlan(options.file, request.host, options.removal.force);
  if (options.removal.method) plan.method = parseMethod(*options.removal.method);
  checkAgainstPlan(options.removal, plan);
  request.quarantines = {chosenQuarantine(options.removal.quarantineFolder, request.resolver).directory};
  requireOwnStores(plan.method, options.removal, request.resolver);
  if (plan.method == DisposalMethod::quarantine) {
    checkNamedQuarantine(options.removal.quarantineFolder, request.resolver);
  }
  const InterruptGuard guard;
  request.shouldCancel = &InterruptGuard::requested;
  const CheckedPlan checked = checkPlan(plan, request,
                                        {.force = options.removal.force,
                                         .allowAnyPath = options.removal.allowAnyPath,
                                         .keptHint = keptHint,
                                         .shouldCancel = &InterruptGuard::requested});
  InterruptGuard::requireNone("Interrupted while the plan was checked, so nothing was removed.");
  for (const std::string& note : checked.scan->notes) writeNote(note);
  // Do not ask about items that are refused anyway.
  plan.items.clear();
  for (const CleanupCandidate& candidate : checked.candidates) {
    if (!candidate.refusal) plan.items.push_back(candidate.item);
  }
  return carryOut(checked.candidates, plan, request, options.removal, view, program);
}

}  // namespace

void addApplyCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ApplyOptions>();
  CLI::App* command = app.add_subcommand("apply", "Carry out a plan that tidra plan has written");
  command->add_option("FILE", options->file, "The plan")->required()->type_name("");
  command->add_option("--home", options->scan.home, "Use DIR as the home folder")->type_name("DIR");
  addRuleOptions(*command, options->scan);
  command->add_option("--limit", options->scan.limit, "Items to list; 0 lists all")->type_name("N");
  command->add_flag("--json", options->scan.json, "Print one JSON document");
  addRemovalOptions(*command, options->removal);
  command->add_flag("--allow-any-path", options->removal.allowAnyPath, "Also paths that no rule names");
  command->footer(
      "Examples:\n"
      "  tidra apply plan.json --dry-run    what would happen, refusals included\n"
      "  tidra apply plan.json --yes        without asking");
  command->callback(
      [options, &program] { program.command = [options, &program] { return runApplyCommand(*options, program); }; });
}

}  // namespace tidra
