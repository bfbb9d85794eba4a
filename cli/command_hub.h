// The parts of "tidra hub", each in a file of its own.
#pragma once

namespace CLI {
class App;
}

namespace tidra {

struct Program;

/// Each declares commands below `hub`.
void addHubDemo(CLI::App& hub, Program& program);

}  // namespace tidra
