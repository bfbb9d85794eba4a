// The interactive program: screens on a terminal, or the same line by line.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <utility>

#include "app/terminal/plain_ui.h"
#include "app/terminal/run_terminal_ui.h"
#include "cli/adopted_settings.h"
#include "cli/interrupt.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "cli/user_state.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/host.h"
#include "core/scan/git_metadata.h"

namespace tidra {
namespace {

struct UiOptions {
  ScanOptions scan;
  bool readOnly = false;
  bool noMouse = false;
  bool plain = false;
};

ScanOptions chosenFor(const UiOptions& options, bool everything, Program& program) {
  ScanOptions chosen = options.scan;
  if (everything) {
    chosen.roots.clear();
    chosen.noSystem = false;
  }
  adoptSettings(chosen, program);
  return chosen;
}

/// The first request is made before the screens open, so that unusable options are a sentence and notes can be read.
/// Those of later requests would be written over the screens.
std::function<ScanRequest(bool)> requestMaker(const UiOptions& options, Program& program) {
  auto first = std::make_shared<std::optional<ScanRequest>>(
      makeScanRequest(chosenFor(options, false, program), program.environment));
  return [options, &program, first](bool everything) {
    if (!everything && *first) {
      ScanRequest request = std::move(**first);
      first->reset();
      return request;
    }
    return builtScanRequest(chosenFor(options, everything, program), program.environment).request;
  };
}

/// Of the label of a scan: "~/code", "~/a, ~/b".
std::vector<std::string> rootsOf(const std::string& label, const TidraPathResolver& resolver) {
  if (!label.empty() && pathExists(absolutePath(label, resolver))) return {label};
  std::vector<std::string> roots;
  for (const std::string_view piece : splitNonEmpty(label, ',')) roots.emplace_back(trimmed(piece));
  return roots;
}

/// Of the roots of the last scan; made later, if at all.
std::function<ScanRequest(bool)> laterRequestMaker(UiOptions options, const ScanReport& last, Program& program) {
  if (options.scan.roots.empty())
    options.scan.roots = rootsOf(last.scanRoot, makeResolver(options.scan.home, program.environment));
  return [options = std::move(options), &program](bool everything) {
    return builtScanRequest(chosenFor(options, everything, program), program.environment).request;
  };
}

LastScanPlace lastScanPlace(const UserSettings& settings, const TidraPathResolver& resolver) {
  return {.resolver = resolver,
          .host = TidraHost::name(resolver.environment),
          .thresholds = settings.app.thresholds(),
          .now = currentTime()};
}

LastScanView lastScan(const UserState& state, const LastScanPlace& place) {
  const auto last = state.lastScan.load();
  if (!last) throw InputError("There is no last scan yet; tidra ui makes one.");
  auto view = LastScanView::of(*last, place);
  if (!view) throw InputError("The findings of the last scan cannot be read any more; tidra ui makes new ones.");
  return std::move(*view);
}

std::string placeNames(const ScanOptions& options, const TidraPathResolver& resolver) {
  if (options.roots.empty()) return resolver.displayPath(resolver.home);
  std::vector<std::string> names;
  for (const std::string& root : options.roots) names.push_back(resolver.displayPath(absolutePath(root, resolver)));
  return joined(names, ", ");
}

UiEnvironment makeEnvironment(const UiOptions& options, UserState& state, const TidraPathResolver& resolver,
                              Program& program) {
  const UserSettings settings = state.settings.loadAll();
  UiEnvironment environment;
  environment.newRequest = requestMaker(options, program);
  environment.clock = &currentTime;
  environment.resolver = resolver;
  environment.git = TidraGitMetadataReader::findGit(program.environment);
  environment.place = placeNames(options.scan, resolver);
  environment.isReadOnly = options.readOnly || program.options.dryRun;
  environment.isStored = !environment.isReadOnly;
  environment.usualRemoval = [&state] {
    const UserSettings present = state.settings.loadAll();
    return ReviewChoice{defaultMethod(present), present.app.emptyTrashAfterDeletion};
  };
  environment.preferences = state.preferences.get();
  if (!options.scan.last) return environment;
  const LastScanPlace place = lastScanPlace(settings, resolver);
  environment.last = lastScan(state, place);
  environment.newRequest = laterRequestMaker(options, environment.last->report, program);
  if (options.scan.roots.empty()) environment.place = environment.last->report.scanRoot;
  environment.removedFromLast = [&state, place, view = *environment.last](const std::vector<DisposalReceipt>& removed) {
    static_cast<void>(storeWithoutRemoved(state.lastScan, view, removed, place));
  };
  return environment;
}

std::optional<std::string> readLine() {
  const BlockingWait wait("\n");
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  return line;
}

bool wantsPlain(const UiOptions& options, const Environment& environment) {
  const auto found = environment.find("ACCESSIBLE");
  return options.plain || (found != environment.end() && !found->second.empty() && found->second != "0");
}

int runUi(const UiOptions& options, Program& program) {
  const TidraPathResolver resolver = makeResolver(options.scan.home, program.environment);
  UserState state(resolver);
  UiEnvironment environment = makeEnvironment(options, state, resolver, program);
  silenceNotes();  // they would be written over the screens
  if (wantsPlain(options, program.environment)) {
    const InterruptGuard guard;
    PlainUi(std::move(environment),
            {.write = &writeOut, .readLine = &readLine, .interrupted = &InterruptGuard::requested})
        .run();
    return InterruptGuard::requested() ? ExitStatus::interrupted : ExitStatus::done;
  }
  Environment terminal = program.environment;
  if (program.options.color == "never") terminal["NO_COLOR"] = "1";
  const UiEnd end =
      runTerminalUi(std::move(environment), {.mouse = !options.noMouse, .environment = std::move(terminal)});
  if (end.signal != SIGHUP) {
    for (const std::string& line : end.lastWords) writeOut(line + "\n");
  }
  if (!end.signal) return ExitStatus::done;
  return *end.signal == SIGHUP ? ExitStatus::hungUp : ExitStatus::interrupted;
}

}  // namespace

bool opensOnTerminal(const Environment& environment) {
  const auto type = environment.find("TERM");
  const bool isCapable = type != environment.end() && !type->second.empty() && type->second != "dumb";
  return isCapable && ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1;
}

void addUiCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<UiOptions>();
  CLI::App* command = app.add_subcommand("ui", "Look, mark and remove on screens; tidra alone opens it on a terminal");
  addScanOptions(*command, options->scan);
  for (const char* unused : {"--sort", "--limit", "--apparent-size", "--output", "--json"})
    command->remove_option(command->get_option(unused));
  command->add_flag("--last", options->scan.last, "Show the last scan again, without scanning");
  command->add_flag("--read-only", options->readOnly, "Remove nothing");
  command->add_flag("--no-mouse", options->noMouse, "Leave the mouse to the terminal");
  command->add_flag("--plain", options->plain, "Numbered lists and questions, line by line, for screen readers");
  command->footer("Examples:\n  tidra ui ~/code\n  tidra ui --last --read-only");
  command->callback(
      [options, &program] { program.command = [options, &program] { return runUi(*options, program); }; });
}

}  // namespace tidra
