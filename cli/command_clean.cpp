#include <fmt/format.h>

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <utility>

#include "cli/adopted_settings.h"
#include "cli/cleanup_view.h"
#include "cli/interrupt.h"
#include "cli/left_out.h"
#include "cli/program.h"
#include "cli/removal_run.h"
#include "cli/scan_options.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/files.h"
#include "core/platform/standard_streams.h"

namespace tidra {
namespace {

struct CleanOptions {
  ScanOptions scan;
  RemovalOptions removal;
  bool takesUnproven = false;
};

DisposalMethod methodOf(const CleanOptions& options) {
  return options.removal.method ? parseMethod(*options.removal.method) : defaultMethod(options.scan.settings);
}

constexpr const char* unprovenHelp = "Also artefacts without evidence that a tool made them";

/// The scan for a selection; only the tier "safe" unless tiers are named.
ScanRequest requestFor(CleanOptions& options, const Program& program) {
  requireKnownExclusions(options.scan.home, program.environment);
  options.scan.hasDefaultTier = options.scan.tiers.empty();
  if (options.scan.hasDefaultTier) options.scan.tiers = {std::string(rawValue(ArtifactSafetyTier::safe))};
  ScanRequest request = makeScanRequest(options.scan, program.environment);
  request.provenAge = request.olderThan;
  return request;
}

/// selectForCleanup() already sorts by logical size.
void sortBy(const ScanViewOptions& view, std::vector<CleanupCandidate>& candidates) {
  const ScanSort order = view.sort;
  if (order == ScanSort::size && view.apparentSize) return;
  std::stable_sort(candidates.begin(), candidates.end(), [order](const auto& a, const auto& b) {
    if (order == ScanSort::size) return a.freeableBytes() > b.freeableBytes();
    if (order == ScanSort::path) return pathPrecedes(a.item.path, b.item.path);
    return isOlder(a.found->finding.lastActivityDate, b.found->finding.lastActivityDate);
  });
}

void noteUnproven(const ScanOutcome& outcome, bool apparentSize) {
  const auto unproven = unprovenIn(outcome);
  if (unproven.count == 0) return;
  const auto [verb, object] = unproven.count == 1 ? std::pair{"stays", "it"} : std::pair{"stay", "them"};
  writeNote(fmt::format(
      "{0} with {1} {2}, because nothing shows that a tool made {3} or that it could bring {3} back; tidra scan says "
      "more of each, --no-evidence takes {3} too.",
      counted(unproven.count, "artefact", "artefacts"),
      ByteFormatting::readable(apparentSize ? unproven.bytes : unproven.freeableBytes), verb, object));
}

/// What noteRaised() does not say.
LeftOutFindings leftOutBesideRaised(const ScanOutcome& outcome) {
  LeftOutFindings leftOut = outcome.leftOut;
  leftOut.ofTier -= std::min(leftOut.ofTier, outcome.raised.count);
  return leftOut;
}

void noteRaised(const RaisedFindings& raised, bool apparentSize) {
  if (raised.count == 0) return;
  const bool isOne = raised.count == 1;
  std::string hint;
  if (raised.hasCaution) hint = fmt::format("; --tier safe,caution takes {} too", isOne ? "it" : "those of caution");
  writeNote(fmt::format("{} with {} {}, because a check ranks {} rule (tidra scan shows why){}.",
                        counted(raised.count, "finding", "findings"),
                        ByteFormatting::readable(apparentSize ? raised.bytes : raised.freeableBytes),
                        isOne ? "stays" : "stay", isOne ? "it higher than its" : "them higher than their", hint));
}

/// The candidates without a refusal, in the requested order. Writes a note for each of the others.
std::vector<CleanupCandidate> selected(const ScanOutcome& outcome, const ScanRequest& request,
                                       RemovalGuard& removalGuard, const CleanOptions& options,
                                       const ScanViewOptions& view, const Program& program) {
  if (!options.takesUnproven && !program.options.quiet) noteUnproven(outcome, view.apparentSize);
  if (!program.options.quiet) noteRaised(outcome.raised, view.apparentSize);
  auto candidates = selectForCleanup(outcome, removalGuard,
                                     {.force = options.removal.force,
                                      .takesUnproven = options.takesUnproven,
                                      .shouldCancel = &InterruptGuard::requested});
  sortBy(view, candidates);
  std::erase_if(candidates, [&](const CleanupCandidate& candidate) {
    if (candidate.refusal && !program.options.quiet) {
      writeNote(fmt::format("{} {}.", escapedForTerminal(request.resolver.displayPath(candidate.item.path)),
                            request.resolver.displayText(refusalText(*candidate.refusal))));
    }
    return candidate.refusal.has_value();
  });
  return candidates;
}

int runCleanCommand(CleanOptions& options, const Program& program) {
  const DisposalMethod method = methodOf(options);
  const ScanViewOptions view = chosenView(options.scan, program);
  if (options.scan.output) throw InputError("tidra clean has no --output; tidra plan -o writes down what it would do.");
  ScanRequest request = requestFor(options, program);
  if (options.scan.roots.empty() && request.scanProjects) {
    options.removal.scope = "all of " + shown(request.resolver.displayPath(request.roots.front()));
  }
  const InterruptGuard guard;
  prepareRemoval(options.removal, options.scan, method, request, program);
  RemovalGuard removalGuard(request.resolver, request.mounts);
  removalGuard.prepare();
  const ScanOutcome outcome = runScanForPerson(request, view.apparentSize, program);
  InterruptGuard::requireNone("The scan was interrupted, so nothing was removed.");
  const auto candidates = selected(outcome, request, removalGuard, options, view, program);
  InterruptGuard::requireNone("The selection was interrupted, so nothing was removed.");
  const CleanupPlan plan = makeCleanupPlan(candidates, method, request);
  if (candidates.empty() && !options.removal.json && !options.removal.emptyTrash) {
    writeOut("Nothing to remove.\n");
    if (outcome.findings.empty()) noteLeftOut(options.scan, leftOutBesideRaised(outcome));
    noteOutOfBounds(outcome, options.scan);
    return ExitStatus::done;
  }
  const int status = carryOut(candidates, plan, request, options.removal, view, program);
  noteOutOfBounds(outcome, options.scan);
  return status;
}

std::string whereText(const CleanupPlan& plan, const std::string& file, const Program& program) {
  const char* verb = program.options.dryRun ? "would be" : plan.items.size() == 1 ? "is" : "are";
  return fmt::format("{} {} in {}.\n", counted(plan.items.size(), "item", "items"), verb, escapedForTerminal(file));
}

int runPlanCommand(CleanOptions& options, const Program& program) {
  const DisposalMethod method = methodOf(options);
  checkOutput(options.scan);
  ScanViewOptions view = chosenView(options.scan, program);
  // The list goes to standard output even when the plan goes to a file.
  view.terminal = terminalFacts(STDOUT_FILENO, program.options.color, program.environment);
  const ScanRequest request = requestFor(options, program);
  std::optional<InterruptGuard> guard(std::in_place);
  RemovalGuard removalGuard(request.resolver, request.mounts);
  removalGuard.prepare();
  const ScanOutcome outcome = runScanForPerson(request, view.apparentSize, program);
  const auto candidates = selected(outcome, request, removalGuard, options, view, program);
  guard.reset();
  InterruptGuard::requireNone("The scan was interrupted, so no plan was written.");
  const CleanupPlan plan = makeCleanupPlan(candidates, method, request);
  const std::string text = prettyJson(plan) + "\n";
  // With "-o -", too, standard output gets the plan alone, so that a pipe can pass it on.
  const bool isFile = options.scan.output && descriptorNamed(*options.scan.output) != STDOUT_FILENO;
  if (isFile && !program.options.dryRun) writeResult(options.scan, text);
  if (!isFile || options.scan.json) {
    writeOut(text);
  } else {
    writeOut(planText(candidates, planView(view, request)));
    writeOut(whereText(plan, *options.scan.output, program));
  }
  if (outcome.findings.empty()) noteLeftOut(options.scan, leftOutBesideRaised(outcome));
  noteOutOfBounds(outcome, options.scan);
  return ExitStatus::done;
}

}  // namespace

void addCleanCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<CleanOptions>();
  CLI::App* command = app.add_subcommand("clean", "Remove what can be made again, after asking");
  addScanOptions(*command, options->scan, "Items");
  command->get_option("--output")->group("");  // hidden: refused with a sentence that names tidra plan
  addJsonLinesOption(*command, options->scan);
  addRemovalOptions(*command, options->removal);
  command->add_flag("--no-evidence", options->takesUnproven, unprovenHelp);
  command->footer(
      "Examples:\n"
      "  tidra clean ~/code --older-than 3mo          what is safe to remove, to the trash\n"
      "  tidra clean ~/code --method delete --yes     at once and for good, without asking");
  command->callback([options, &program] {
    program.command = [options, &program] {
      adoptSettings(options->scan, program);
      return runCleanCommand(*options, program);
    };
  });
}

void addPlanCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<CleanOptions>();
  CLI::App* command = app.add_subcommand("plan", "Write down what clean would remove, for tidra apply");
  addScanOptions(*command, options->scan, "Items");
  command->add_option("--method", options->removal.method, "Where things will go: trash, quarantine or delete")
      ->type_name("METHOD");
  command->add_flag("--force", options->removal.force, "Also what .tidra-keep protects and what is in use");
  command->add_flag("--no-evidence", options->takesUnproven, unprovenHelp);
  command->footer(
      "Examples:\n"
      "  tidra plan ~/code -o plan.json                      look at it, edit it, then tidra apply plan.json\n"
      "  tidra plan | jq '.items |= .[:3]' | tidra apply - --yes    the three largest\n"
      "  tidra plan --tier safe,caution --method quarantine -o plan.json");
  command->callback([options, &program] {
    program.command = [options, &program] {
      adoptSettings(options->scan, program);
      return runPlanCommand(*options, program);
    };
  });
}

}  // namespace tidra
