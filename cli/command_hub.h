// The commands of the group "hub", each in a file of its own.
#pragma once

namespace CLI {
class App;
}

namespace tidra {

struct Program;

void addHubDemo(CLI::App& hub, Program& program);

}  // namespace tidra
