#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/cleanup_options.h"
#include "cli/cleanup_view.h"
#include "cli/interrupt.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/files.h"

namespace tidra {
namespace {

struct CleanOptions {
  ScanOptions scan;
  RemovalOptions removal;
};

/// The scan that a selection is made from; only what can be made again unless a tier is named.
ScanRequest requestFor(CleanOptions& options, const Program& program) {
  if (options.scan.tiers.empty()) options.scan.tiers = {std::string(rawValue(ArtifactSafetyTier::safe))};
  ScanRequest request = makeScanRequest(options.scan, program.environment);
  request.recordIdentities = true;
  return request;
}

/// What nothing protects. The rest is told in a note each.
std::vector<CleanupCandidate> selected(const ScanOutcome& outcome, const ScanRequest& request,
                                       const RemovalOptions& options, const Program& program) {
  auto candidates = selectForCleanup(outcome, request.resolver, {.force = options.force});
  std::erase_if(candidates, [&](const CleanupCandidate& candidate) {
    if (candidate.refusal && !program.options.quiet) {
      writeNote(fmt::format("{} {}.", escapedForTerminal(request.resolver.displayPath(candidate.item.path)),
                            *candidate.refusal));
    }
    return candidate.refusal.has_value();
  });
  return candidates;
}

int runCleanCommand(CleanOptions& options, const Program& program) {
  const DisposalMethod method = parseMethod(options.removal.method.value_or("trash"));
  options.removal.json = options.scan.json;
  if (options.scan.output) throw InputError("tidra clean has no --output; tidra plan -o writes down what it would do.");
  const ScanRequest request = requestFor(options, program);
  chosenQuarantine(options.removal.quarantineFolder, request.resolver);
  const ScanOutcome outcome = scanInterruptibly(request, program);
  if (outcome.report.partial) {
    writeNote("The scan was interrupted, so nothing was removed.");
    return ExitStatus::interrupted;
  }
  const auto candidates = selected(outcome, request, options.removal, program);
  const CleanupPlan plan = makeCleanupPlan(candidates, method, request);
  if (candidates.empty() && !options.removal.json && !options.removal.emptyTrash) {
    writeOut("Nothing to remove.\n");
    return ExitStatus::done;
  }
  return carryOut(candidates, plan, request, options.removal, options.scan.limit, program);
}

int runPlanCommand(CleanOptions& options, const Program& program) {
  const DisposalMethod method = parseMethod(options.removal.method.value_or("trash"));
  checkOutput(options.scan);
  const ScanRequest request = requestFor(options, program);
  const ScanOutcome outcome = scanInterruptibly(request, program);
  if (outcome.report.partial) {
    writeNote("The scan was interrupted, so no plan was written.");
    return ExitStatus::interrupted;
  }
  const auto candidates = selected(outcome, request, options.removal, program);
  const CleanupPlan plan = makeCleanupPlan(candidates, method, request);
  const std::string text = jsonText(JsonCodec<CleanupPlan>::encode(plan), true) + "\n";
  if (!options.scan.output) {
    writeOut(text);
    return ExitStatus::done;
  }
  if (!program.options.dryRun) writeResult(options.scan, text);
  writeOut(planText(candidates, {.terminal = terminalFacts(STDOUT_FILENO, program.options.color, program.environment),
                                 .limit = {},
                                 .home = request.resolver.home,
                                 .now = request.now}));
  writeOut(fmt::format("{} {} in {}.\n", counted(plan.items.size(), "item", "items"),
                       program.options.dryRun ? "would be" : "are", escapedForTerminal(*options.scan.output)));
  return ExitStatus::done;
}

}  // namespace

void addCleanCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<CleanOptions>();
  CLI::App* command = app.add_subcommand("clean", "Remove what can be made again, after asking");
  addScanOptions(*command, options->scan);
  addRemovalOptions(*command, options->removal);
  command->footer(
      "Examples:\n"
      "  tidra clean ~/code --older-than 3mo          what is safe to remove, to the trash\n"
      "  tidra clean ~/code --method delete --yes     at once and for good, without asking");
  command->callback(
      [options, &program] { program.command = [options, &program] { return runCleanCommand(*options, program); }; });
}

void addPlanCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<CleanOptions>();
  CLI::App* command = app.add_subcommand("plan", "Write down what clean would remove, for tidra apply");
  addScanOptions(*command, options->scan);
  command->add_option("--method", options->removal.method, "Where things will go: trash, quarantine or delete")
      ->type_name("METHOD");
  command->add_flag("--force", options->removal.force, "Also what .tidra-keep protects and what is in use");
  command->footer(
      "Examples:\n"
      "  tidra plan ~/code -o plan.json                      look at it, edit it, then tidra apply plan.json\n"
      "  tidra plan --tier safe,caution --method quarantine -o plan.json");
  command->callback(
      [options, &program] { program.command = [options, &program] { return runPlanCommand(*options, program); }; });
}

}  // namespace tidra
