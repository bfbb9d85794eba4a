#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <memory>

#include "cli/command_hub.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "fleet/hub/demo/demo_fleet.h"
#include "fleet/hub/hub_store_error.h"

namespace tidra {
namespace {

struct DemoOptions {
  std::string data;
  std::string until;  // empty: now
  DemoFleet fleet;
};

int writeDemo(DemoOptions options, const Program& program) {
  const std::string folder = absolutePath(options.data, program.environment);
  options.fleet.now = currentTime();
  if (!options.until.empty()) {
    const auto until = fromIso8601(options.until);
    if (!until) {
      throw InputError(fmt::format("'{}' is not a valid time; write it as 2026-03-14T10:15:00Z.",
                                   escapedForTerminal(options.until)));
    }
    options.fleet.now = *until;
  }
  if (options.fleet.now < TimePoint{} + std::chrono::days{options.fleet.days}) {
    throw InputError(fmt::format("{} days before '{}' is too long ago; the reports must not begin before 1970.",
                                 options.fleet.days, escapedForTerminal(options.until)));
  }
  try {
    if (program.options.dryRun) {
      requireDemoFolder(folder);
      writeOut(fmt::format("Would write {} hosts into {}\n", options.fleet.hosts, escapedForTerminal(folder)));
      return ExitStatus::done;
    }
    const DemoFleetSize size = writeDemoFleet(folder, options.fleet);
    writeOut(fmt::format("{} hosts with {} reports, {} policies and {} events are in {}\n", size.hosts, size.points,
                         size.policies, size.events, escapedForTerminal(folder)));
    return ExitStatus::done;
  } catch (const HubStoreError& error) {
    if (error.kind() != HubStoreError::Kind::folderInUse) throw;
    writeError(fmt::format("{}.", error.what()));
    return ExitStatus::lockHeld;
  }
}

}  // namespace

void addHubDemo(CLI::App& hub, Program& program) {
  auto options = std::make_shared<DemoOptions>();
  CLI::App* command = hub.add_subcommand("demo", "Write a made-up fleet, to try a hub with");
  constexpr std::int64_t mostHosts = 100000;
  constexpr std::int64_t mostDays = 3650;
  command->add_option("--data", options->data, "A new or empty folder")->required()->type_name("DIR");
  command->add_option("--hosts", options->fleet.hosts, "How many hosts (200)")
      ->type_name("N")
      ->check(CLI::Range(std::int64_t{1}, mostHosts));
  command->add_option("--days", options->fleet.days, "For how long they have reported (30)")
      ->type_name("D")
      ->check(CLI::Range(std::int64_t{1}, mostDays));
  command->add_option("--seed", options->fleet.seed, "Seed of the made-up fleet (1)")->type_name("N");
  command->add_option("--until", options->until, "When the last reports arrive (now), as 2026-03-14T10:15:00Z")
      ->type_name("TIME");
  command->footer(
      "Examples:\n  tidra hub demo --data demo\n"
      "  tidra hub demo --hosts 10000 --days 1000 --seed 7 --data /tmp/large-fleet");
  command->callback(
      [&program, options] { program.command = [&program, options] { return writeDemo(*options, program); }; });
}

}  // namespace tidra
