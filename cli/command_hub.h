// The subcommands of "tidra hub".
#pragma once

namespace CLI {
class App;
}

namespace tidra {

struct Program;

/// Each declares subcommands of `hub`.
void addHubDemo(CLI::App& hub, Program& program);
void addHubServe(CLI::App& hub, Program& program);
void addHubRemote(CLI::App& hub, Program& program);

}  // namespace tidra
