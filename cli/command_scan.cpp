#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/interrupt.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/scan_view.h"
#include "cli/user_state.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/host.h"

namespace tidra {
namespace {

void show(const ScanReport& report, const ScanOptions& options, const ScanViewOptions& view) {
  writeResult(options, options.json ? reportText(report) + "\n" : scanText(report, view));
}

/// Keeps the results for "--last". The scan has succeeded all the same when that fails.
void remember(const ScanOutcome& outcome, const TidraPathResolver& resolver) {
  try {
    UserState state(resolver);
    state.requireHome();
    state.lastScan.save(ScanResultsSummary::make(outcome.report), outcome.report.partial, outcome.aggregate,
                        outcome.report.generatedAt);
  } catch (const PreferencesError& error) {
    writeNote(escapedForTerminal(error.what()));
  }
}

int showLastScan(const ScanOptions& options, ScanViewOptions view, const Program& program) {
  view.isEarlierScan = true;
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const UserState state(resolver);
  const auto last = state.lastScan.load();
  if (!last) throw InputError("There is no last scan yet; tidra scan makes one.");
  const auto report = reportOf(*last, resolver, TidraHost::name(program.environment), currentPlatform,
                               state.settings.load().thresholds());
  if (!report) throw InputError("The results of the last scan cannot be read any more; tidra scan makes new ones.");
  show(*report, options, view);
  return ExitStatus::done;
}

int runScanCommand(const ScanOptions& options, const Program& program) {
  const ScanViewOptions view = chosenView(options, program);
  checkOutput(options);
  if (options.last) return showLastScan(options, view, program);
  const ScanRequest request = makeScanRequest(options, program.environment);
  const ScanOutcome outcome = [&] {
    const InterruptGuard guard;
    return runScanForPerson(request, program);
  }();
  show(outcome.report, options, view);
  if (!program.options.dryRun) remember(outcome, request.resolver);
  noteOutOfBounds(outcome);
  return InterruptGuard::requested() ? ExitStatus::interrupted : ExitStatus::done;
}

}  // namespace

void addScanCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ScanOptions>();
  CLI::App* command = app.add_subcommand("scan", "Find what can be reclaimed, and show it");
  addScanOptions(*command, *options);
  command->add_flag("--last", options->last, "Show the last scan again, without scanning");
  command->footer(
      "Examples:\n"
      "  tidra scan ~/code --older-than 6mo    what projects untouched for half a year hold\n"
      "  tidra scan --json | jq .totalBytes    the whole report as JSON");
  command->callback(
      [options, &program] { program.command = [options, &program] { return runScanCommand(*options, program); }; });
}

}  // namespace tidra
