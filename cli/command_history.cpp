#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "cli/program.h"
#include "cli/removal_recorder.h"
#include "cli/removal_runs.h"
#include "cli/scan_options.h"
#include "cli/stored_entries.h"
#include "cli/table.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/platform/host.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_text.h"

namespace tidra {

std::size_t runNumbered(const std::string& number, const std::vector<RemovalRun>& runs) {
  const std::string shownNumber = shown(number);
  if (runs.empty()) throw InputError(fmt::format("'{}' is no removal of the history, which is empty.", shownNumber));
  const bool isNumber = std::all_of(number.begin(), number.end(), &isAsciiDigit);
  const std::size_t given = isNumber ? parseCount(number) : 0;
  if (given >= 1 && given <= runs.size()) return given - 1;
  throw InputError(
      fmt::format("'{}' is no removal of the history: the first is 1, the last {}.", shownNumber, runs.size()));
}

namespace {

struct HistoryOptions {
  std::optional<std::string> run;
  std::optional<std::string> home;
  bool json = false;
};

/// What became of the items: what was moved and then deleted with the trash counts as deleted.
std::string methodText(const RemovalRun& run) {
  const bool movedSome =
      std::any_of(run.items.begin(), run.items.end(), [](const RemovedItem& item) { return item.isMoved(); });
  return std::string(rawValue(movedSome ? run.method : DisposalMethod::delete_));
}

/// "2 of 3": what an undo has brought back of what was moved. Items beyond those listed count as moved.
std::string backText(const RemovalRun& run) {
  const auto count = [&](auto matches) { return std::count_if(run.items.begin(), run.items.end(), matches); };
  const auto listed = count([](const RemovedItem& item) { return item.isMoved(); });
  const auto moved = listed == 0 ? 0 : listed + run.moreItems;
  const auto back = count([](const RemovedItem& item) { return item.restoredAt.has_value(); });
  return moved == 0 ? std::string(glyphs().dash) : fmt::format("{} of {}", back, moved);
}

std::string runsText(const std::vector<RemovalRun>& runs, const TerminalFacts& terminal) {
  TextTable table({{"#", true},
                   {"WHEN", false, TextTable::Cut::never},
                   {"COMMAND", false, TextTable::Cut::never},
                   {"METHOD", false, TextTable::Cut::never},
                   {"ITEMS", true},
                   {"FREED", true},
                   {"UNDONE", true}});
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const RemovalRun& run = runs[i];
    table.add({fmt::to_string(i + 1), localMinute(run.at), std::string(rawValue(run.command)), methodText(run),
               fmt::to_string(itemCount(run)),
               sizeCell(run.freedBytes > 0 ? std::optional(run.freedBytes) : std::nullopt), backText(run)});
  }
  return table.text(terminal);
}

std::string itemsText(const RemovalRun& run, const TidraPathResolver& resolver, const TerminalFacts& terminal) {
  TextTable table({{"SIZE", true}, {"NOW", false, TextTable::Cut::never}, {"ITEM", false, TextTable::Cut::middle}});
  StoredRemovals stored(resolver, TidraHost::name(resolver.environment), mountPoints(), currentTime());
  for (const RemovedItem& item : run.items) {
    table.add({sizeCell(listedSize(item)), stored.nowOf(item), shown(resolver.displayPath(item.path))});
  }
  return table.text(terminal) + moreText(unsignedBytes(run.moreItems), terminal);
}

int runHistoryCommand(const HistoryOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const auto runs = removalHistory(resolver).load();
  const RemovalRun* chosen = options.run ? &runs[runNumbered(*options.run, runs)] : nullptr;
  const TerminalFacts terminal = terminalFacts(STDOUT_FILENO, program.options.color, program.environment);
  if (options.json) {
    writeOut((chosen != nullptr ? prettyJson(*chosen) : prettyJson(runs)) + "\n");
  } else if (runs.empty()) {
    writeOut("The history is empty.\n");
  } else {
    writeOut(chosen != nullptr ? itemsText(*chosen, resolver, terminal) : runsText(runs, terminal));
  }
  return ExitStatus::done;
}

}  // namespace

void addHistoryCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<HistoryOptions>();
  CLI::App* command = app.add_subcommand("history", "What was removed, newest first; NUMBER shows the items of one");
  command->add_option("NUMBER", options->run, "A removal of the list")->type_name("");
  command->add_option("--home", options->home, "Use DIR as the home folder")->type_name("DIR");
  command->add_flag("--json", options->json, "Print one JSON document");
  command->footer("Examples:\n  tidra history\n  tidra history 1");
  command->callback(
      [&program, options] { program.command = [&program, options] { return runHistoryCommand(*options, program); }; });
}

}  // namespace tidra
