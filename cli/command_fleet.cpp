#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <limits>
#include <memory>

#include "cli/cleanup_view.h"
#include "cli/interrupt.h"
#include "cli/policy_file.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/host.h"
#include "core/platform/standard_streams.h"
#include "fleet/agent/fleet_runner.h"
#include "fleet/agent/fleet_service.h"

namespace tidra {
namespace {

struct FleetOptions {
  std::string policy;
  std::optional<std::int64_t> interval;  // seconds
  bool explain = false;
  bool json = false;
};

std::string explanationLine(std::string_view verdict, const ScanReportItem& item) {
  return fmt::format("{:<19}  {:>9}  {:<7}  {}\n", verdict, ByteFormatting::readable(item.bytes), rawValue(item.tier),
                     escapedForTerminal(item.displayPath));
}

/// Every item with its decision and the reason.
std::string explanation(const FleetRunResult& result) {
  std::string text;
  for (const ScanReportItem& item : result.decision.selected) text += explanationLine("selected", item);
  for (const auto& kept : result.kept) {
    text += explanationLine("kept", kept.item);
    text += fmt::format("{:19}  {}\n", "", escapedForTerminal("it " + kept.reason));
  }
  for (const auto& skipped : result.decision.skipped) text += explanationLine(rawValue(skipped.reason), skipped.item);
  return text;
}

/// The sink for progress lines: standard error when standard output carries JSON.
std::function<void(const std::string&)> stepLog(bool json, const Program& program) {
  if (program.options.quiet) return [](const std::string&) {};
  if (json) return &writeNote;
  return &printLine;
}

int reportFailure(const FleetRunError& failure) {
  const bool locked = failure.kind() == FleetRunError::Kind::locked;
  const std::string help = failure.help().empty() ? "" : " " + failure.help();
  writeError(fmt::format("{}.{}", escapedForTerminal(failure.what()), escapedForTerminal(help)));
  return locked ? ExitStatus::lockHeld : ExitStatus::badInput;
}

int run(const FleetOptions& options, const Program& program) {
  const FleetPolicy policy = loadPolicyFile(options.policy);
  FleetRunner runner{.policy = policy,
                     .dryRun = program.options.dryRun,
                     .actor = TidraHost::userName(),
                     .intervalSeconds = policy.hub.intervalSeconds,
                     .log = stepLog(options.json, program),
                     .host = makeResolver(std::nullopt, program.environment),
                     .clock = &currentTime,
                     .shouldCancel = &InterruptGuard::requested};
  resolvePolicy(policy, options.policy, runner.host);  // reports a bad path as `policy check` does
  ignoreBrokenPipes();
  const InterruptGuard guard;
  try {
    const FleetRunResult result = runner.run();
    if (options.explain) writeOut(explanation(result));
    if (options.json) writeOut(prettyJson(result) + "\n");
    writeFailures(result.disposal.failures);
    writeFailures(result.purged.failures);
    if (result.interrupted) return ExitStatus::interrupted;
    return result.hasFailures() ? ExitStatus::someFailed : ExitStatus::done;
  } catch (const FleetRunError& failure) {
    return reportFailure(failure);
  }
}

int serve(const FleetOptions& options, const Program& program) {
  const TidraPathResolver host = makeResolver(std::nullopt, program.environment);
  // Validate first, for the same error messages as in other commands.
  resolvePolicy(loadPolicyFile(options.policy), options.policy, host);
  FleetService service({.policyPath = options.policy,
                        .intervalSeconds = options.interval,
                        .dryRun = program.options.dryRun,
                        .actor = TidraHost::userName(),
                        .host = host,
                        .clock = &currentTime,
                        .shouldStop = &InterruptGuard::requested,
                        .log = stepLog(false, program)});
  ignoreBrokenPipes();
  const InterruptGuard guard;
  try {
    service.serve();
    return ExitStatus::done;
  } catch (const FleetRunError& failure) {
    return reportFailure(failure);
  }
}

}  // namespace

void addFleetCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<FleetOptions>();
  CLI::App* command = app.add_subcommand("fleet", "Clean this host unattended, as a policy says");
  command->require_subcommand(1);
  command->footer(
      "Examples:\n"
      "  tidra fleet run --policy policy.json --dry-run --explain    what a run would do, and why\n"
      "  tidra fleet serve --policy policy.json                      run every day, with metrics");
  const auto add = [&](const std::string& name, const std::string& what,
                       int (*action)(const FleetOptions&, const Program&)) {
    CLI::App* subcommand = command->add_subcommand(name, what);
    subcommand->add_option("--policy", options->policy, "The policy file")->required()->type_name("FILE");
    subcommand->callback([&program, options, action] {
      program.command = [&program, options, action] { return action(*options, program); };
    });
    return subcommand;
  };
  CLI::App* running = add("run", "Run the policy once", &run);
  running->add_flag("--explain", options->explain, "List every finding with what becomes of it and why");
  running->add_flag("--json", options->json, "Print one JSON document");
  running->footer(
      "A dry run removes nothing; audit log, metrics and hub report record it as one.\n\n"
      "Examples:\n  tidra fleet run --policy policy.json --dry-run --explain\n"
      "  tidra fleet run --policy /etc/tidra/policy.json");
  CLI::App* serving = add("serve", "Run the policy at once and then every interval, and serve metrics", &serve);
  serving->add_option("--interval", options->interval, "Between runs; a day unless the policy says otherwise")
      ->type_name("SECONDS")
      ->check(CLI::Range(std::int64_t{1}, std::int64_t{31536000}));
  serving->footer(
      "Examples:\n  tidra fleet serve --policy /etc/tidra/policy.json\n"
      "  tidra fleet serve --policy policy.json --interval 3600");
}

}  // namespace tidra
