#include "cli/command_hub.h"

#include <CLI/CLI.hpp>

#include "cli/program.h"

namespace tidra {

void addHubCommand(CLI::App& app, Program& program) {
  CLI::App* hub = app.add_subcommand("hub", "Watch over a fleet: its hosts, its policies and what happens");
  hub->require_subcommand(1);
  hub->footer(
      "Examples:\n"
      "  tidra hub serve --data ./hub                    a hub for this machine alone\n"
      "  tidra hub demo --data demo                      a made-up fleet, to try a hub with\n"
      "  tidra hub status --url http://127.0.0.1:9480    the fleet at a glance\n"
      "  tidra hub hosts --status stale                  hosts that fell silent; the hub is TIDRA_HUB_URL");
  addHubDemo(*hub, program);
  addHubServe(*hub, program);
  addHubRemote(*hub, program);
}

}  // namespace tidra
