#include "cli/command_hub.h"

#include <CLI/CLI.hpp>

#include "cli/program.h"

namespace tidra {

void addHubCommand(CLI::App& app, Program& program) {
  CLI::App* hub = app.add_subcommand("hub", "Watch over a fleet: its hosts, its policies and what happens");
  hub->require_subcommand(1);
  hub->footer(
      "Examples:\n"
      "  tidra hub demo --data demo              a made-up fleet, to try a hub with\n"
      "  tidra hub demo --hosts 50 --data demo   a smaller one");
  addHubDemo(*hub, program);
}

}  // namespace tidra
