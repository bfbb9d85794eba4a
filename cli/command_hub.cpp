#include "cli/command_hub.h"

#include <CLI/CLI.hpp>

#include "cli/program.h"

namespace tidra {

void addHubCommand(CLI::App& app, Program& program) {
  CLI::App* hub = app.add_subcommand("hub", "Watch over a fleet: its hosts, its policies and what happens");
  hub->require_subcommand(1);
  hub->footer(
      "Examples:\n"
      "  tidra hub serve --data ./hub                                a hub for this machine alone\n"
      "  tidra hub serve --data /var/lib/tidra-hub --title Berlin    one with a name of its own");
  addHubServe(*hub, program);
}

}  // namespace tidra
