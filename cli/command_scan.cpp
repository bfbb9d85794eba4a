#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/interrupt.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/scan_view.h"
#include "core/platform/files.h"

namespace tidra {
namespace {

int runScanCommand(const ScanOptions& options, const Program& program) {
  const ScanViewOptions view = chosenView(options, program);
  checkOutput(options);
  const ScanRequest request = makeScanRequest(options, program.environment);
  const InterruptGuard guard;
  const ScanOutcome outcome = runScanForPerson(request, program);

  const std::string text = options.json ? reportText(outcome.report) + "\n" : scanText(outcome.report, view);
  if (options.output) {
    replaceFile(*options.output, text);
  } else {
    writeOut(text);
  }
  return outcome.report.partial ? ExitStatus::interrupted : ExitStatus::done;
}

}  // namespace

void addScanCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ScanOptions>();
  CLI::App* command = app.add_subcommand("scan", "Find what can be reclaimed, and show it");
  addScanOptions(*command, *options);
  command->footer(
      "Examples:\n"
      "  tidra scan ~/code --older-than 6mo    what projects untouched for half a year hold\n"
      "  tidra scan --json | jq .totalBytes    the whole report as JSON");
  command->callback(
      [options, &program] { program.command = [options, &program] { return runScanCommand(*options, program); }; });
}

}  // namespace tidra
