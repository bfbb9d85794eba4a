// The context passed to every command.
#pragma once

#include <functional>
#include <string>

#include "core/platform/path_resolver.h"

namespace CLI {
class App;
}

namespace tidra {

/// The exit statuses of the program.
struct ExitStatus {
  static constexpr int done = 0;
  static constexpr int someFailed = 1;
  static constexpr int badInput = 2;
  static constexpr int lockHeld = 75;
  static constexpr int hungUp = 129;  // as interrupted, by SIGHUP
  static constexpr int interrupted = 130;
};

/// Options accepted before and after any command.
struct GlobalOptions {
  bool quiet = false;
  bool verbose = false;
  bool assumeYes = false;
  bool dryRun = false;
  std::string color = "auto";  // "auto", "always" or "never"
  bool colorIsNamed = false;   // by an option
};

struct Program {
  GlobalOptions options;
  Environment environment;       // of this process
  std::function<int()> command;  // the chosen command; returns the exit status
};

/// Runs the program: parses the arguments, executes the command, reports errors. Returns the exit status.
int runTidra(int argc, char** argv);

/// Each declares a command; parsing its name sets Program::command.
void addApplyCommand(CLI::App& app, Program& program);
void addAuditCommand(CLI::App& app, Program& program);
void addCleanCommand(CLI::App& app, Program& program);
void addPlanCommand(CLI::App& app, Program& program);
void addPolicyCommand(CLI::App& app, Program& program);
void addQuarantineCommand(CLI::App& app, Program& program);
void addScanCommand(CLI::App& app, Program& program);
void addTrashCommand(CLI::App& app, Program& program);
void addCompletionsCommand(CLI::App& app, Program& program);
void addConfigCommand(CLI::App& app, Program& program);
void addExcludeCommand(CLI::App& app, Program& program);
void addHistoryCommand(CLI::App& app, Program& program);
void addFleetCommand(CLI::App& app, Program& program);
void addHubCommand(CLI::App& app, Program& program);
void addRulesCommand(CLI::App& app, Program& program);
void addUiCommand(CLI::App& app, Program& program);
void addUndoCommand(CLI::App& app, Program& program);

/// Whether the standard streams are a terminal on which the screens of tidra ui can be shown.
bool opensOnTerminal(const Environment& environment);

}  // namespace tidra
