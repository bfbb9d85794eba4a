// Brings back what a removal moved away.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cassert>
#include <memory>

#include "app/state/preferences_store.h"
#include "app/view/removal_undo.h"
#include "cli/cleanup_options.h"
#include "cli/confirmation.h"
#include "cli/interrupt.h"
#include "cli/program.h"
#include "cli/removal_recorder.h"
#include "cli/removal_runs.h"
#include "cli/scan_options.h"
#include "cli/scan_view.h"
#include "cli/stored_entries.h"
#include "cli/table.h"
#include "core/base/quantities.h"
#include "core/platform/host.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

struct UndoOptions {
  std::optional<std::string> run;
  std::optional<std::string> home;
  bool json = false;
};

/// Why an item does not come back, with the command that shows or deletes what is left of it.
std::string reasonOf(const UndoItem& item, const std::string& path, const TidraPathResolver& resolver) {
  switch (item.rest) {
    case UndoItem::Rest::inTrash:
      return item.reason + "; tidra trash list shows the rest";
    case UndoItem::Rest::inPlace:
      return fmt::format("{}; tidra clean {} deletes the rest", item.reason,
                         shown(resolver.displayPath(parentPath(path))));
    case UndoItem::Rest::none:
      break;
  }
  return item.reason;
}

/// What unattended runs moved into quarantine is in no history.
std::string nothingToUndoText(const TidraPathResolver& resolver) {
  const auto stored = openQuarantine(std::nullopt, resolver).list().entries.size();
  if (stored == 0) return "There is no removal to undo.\n";
  return fmt::format(
      "The history has no removal to undo. {} in quarantine, where unattended runs move things: tidra quarantine list "
      "shows what tidra quarantine restore brings back.\n",
      counted(stored, "item is", "items are"));
}

/// Without a question, the results name the items.
bool asks(const Program& program) { return !program.options.assumeYes && !program.options.dryRun; }

/// Shows what comes back where it is asked about, and says how much does not.
std::string undoText(const RemovalRun& run, const std::vector<UndoItem>& items, const TidraPathResolver& resolver,
                     const TerminalFacts& terminal, bool isAsked) {
  TextTable table({{"SIZE", true}, {"FROM"}, {"BACK TO", false, TextTable::Cut::middle}});
  constexpr std::size_t itemsOnScreen = 30;
  std::size_t listed = 0;
  std::size_t lost = 0;
  for (const UndoItem& item : items) {
    if (item.isLost()) ++lost;
    if (item.isLost() || (++listed > itemsOnScreen && terminal.isTerminal)) continue;
    const RemovedItem& removed = run.items[item.index];
    table.add({sizeCell(listedSize(removed)), whereTo(removed), shown(resolver.displayPath(removed.path))});
  }
  std::string text =
      paragraph(fmt::format("Removed by tidra {} at {}:", rawValue(run.command), localMinute(run.at)), terminal);
  if (listed > 0 && isAsked) text += table.text(terminal);
  if (terminal.isTerminal && isAsked) text += moreText(listed - std::min(listed, itemsOnScreen), terminal);
  if (lost > 0) text += fmt::format("{} not come back.\n", counted(lost, "item does", "items do"));
  return text;
}

bool agreesToUndo(const RemovalRun& run, const std::vector<UndoItem>& items, const Program& program) {
  std::size_t count = 0;
  std::int64_t bytes = 0;
  for (const UndoItem& item : items) {
    if (item.isLost()) continue;
    ++count;
    bytes = saturatedSum(bytes, listedSize(run.items[item.index]).value_or(0));
  }
  if (count == 0 || program.options.dryRun) return true;
  return confirmed({fmt::format("Bring back {} ({})?", counted(count, "item", "items"), sizeCell(bytes)), {}}, program);
}

void noteBack(const RemovalRun& run, const std::vector<std::size_t>& indices, bool isDone,
              const TidraPathResolver& resolver) {
  const TimePoint now = currentTime();
  try {
    removalHistory(resolver).update(run.id, [&](RemovalRun& stored) {
      for (const std::size_t index : indices) {
        assert(index < stored.items.size() && stored.items[index].path == run.items[index].path);
        if (index < stored.items.size()) stored.items[index].restoredAt = now;
      }
      if (isDone) stored.undoneAt = now;
    });
  } catch (const PreferencesError& error) {
    writeNote(shown(error.what()));
  }
}

/// Marks what came back. The run is done with unless something may come back at another try.
void noteUndone(const RemovalRun& run, const std::vector<UndoItem>& items, const EntryResults& results,
                const TidraPathResolver& resolver) {
  std::size_t settled = results.done.size();
  for (const UndoItem& item : items) settled += item.isLost() ? 1 : 0;
  std::vector<std::size_t> indices;
  for (const std::size_t i : results.done) indices.push_back(items[i].index);
  noteBack(run, indices, settled == items.size(), resolver);
}

/// Takes the items out that are in their places already, and marks them.
void settleWhatIsBack(const RemovalRun& run, std::vector<UndoItem>& items, const TidraPathResolver& resolver,
                      bool dryRun) {
  std::vector<std::size_t> indices;
  for (const UndoItem& item : items) {
    if (item.state == UndoItem::State::back) indices.push_back(item.index);
  }
  if (indices.empty()) return;
  std::erase_if(items, [](const UndoItem& item) { return item.state == UndoItem::State::back; });
  if (!dryRun) noteBack(run, indices, items.empty(), resolver);
}

void notePassedOver(std::size_t runs) {
  if (runs == 0) return;
  writeNote(fmt::format("{} passed over, of which nothing can come back; tidra history says what became of it.",
                        counted(runs, "removal is", "removals are")));
}

/// The named run, or the newest removal of which something can come back, without what is back already; notes count
/// the removals that were passed over.
UndoChoice chosenRun(const UndoOptions& options, const std::vector<RemovalRun>& runs, UndoFinder& finder,
                     const TidraPathResolver& resolver, bool dryRun) {
  UndoChoice chosen;
  if (options.run) {
    chosen.run = runNumbered(*options.run, runs);
    chosen.items = finder.itemsOf(runs[*chosen.run]);
  } else {
    chosen = newestUndo(runs, finder);
  }
  writeNotes(finder.notes());
  notePassedOver(chosen.passedOver);
  if (chosen.run) settleWhatIsBack(runs[*chosen.run], chosen.items, resolver, dryRun);
  return chosen;
}

int carryOutUndo(const RemovalRun& run, std::size_t number, const std::vector<UndoItem>& items,
                 const UndoOptions& options, const TidraPathResolver& resolver, const Program& program) {
  std::vector<EntryAction> actions;
  for (const UndoItem& item : items) {
    const std::string& path = run.items[item.index].path;
    const bool isStored = item.state == UndoItem::State::stored;
    const auto act = program.options.dryRun ? item.check : item.restore;
    actions.push_back({path, resolver.displayPath(path), isStored ? act : [&item, &path, &resolver] {
                         throw std::runtime_error(reasonOf(item, path, resolver));
                       }});
  }
  const InterruptGuard guard;
  const Reporting reporting = options.json ? Reporting::json : asks(program) ? Reporting::total : Reporting::lines;
  const auto results = actOnEach(actions, "restored", reporting, resolver.home, program);
  if (reporting == Reporting::total && !results.done.empty()) {
    writeOut(fmt::format("{} restored.\n", counted(results.done.size(), "item is", "items are")));
  }
  if (!program.options.dryRun) noteUndone(run, items, results, resolver);
  const auto lost = std::count_if(items.begin(), items.end(), [](const UndoItem& item) { return item.isLost(); });
  if (std::cmp_greater(results.failures.size(), lost)) {
    writeNote(fmt::format("tidra undo tries again what did not come back; tidra undo {} is for the removal before.",
                          number + 1));
  }
  if (run.moreItems > 0) {
    writeNote(fmt::format(
        "{} more of this removal {} not in the history; tidra trash list and tidra quarantine list "
        "show what can be restored.",
        counted(static_cast<std::uint64_t>(run.moreItems), "item", "items"), run.moreItems == 1 ? "is" : "are"));
  }
  return results.status;
}

int runUndoCommand(const UndoOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  auto history = removalHistory(resolver);
  if (!program.options.dryRun) history.takeOverKilled();
  const auto runs = history.load();
  UndoFinder finder(resolver, TidraHost::name(resolver.environment), mountPoints(), currentTime());
  const auto chosen = chosenRun(options, runs, finder, resolver, program.options.dryRun);
  const auto& items = chosen.items;
  const RemovalRun run = chosen.run ? runs[*chosen.run] : RemovalRun{};
  if (items.empty()) {
    if (options.json) return actOnEach({}, "restored", Reporting::json, resolver.home, program).status;
    writeOut(chosen.run ? "All of it is back already.\n" : nothingToUndoText(resolver));
    return ExitStatus::done;
  }
  if (!options.json) {
    writeOut(undoText(run, items, resolver, terminalFacts(STDOUT_FILENO, program.options.color, program.environment),
                      asks(program)));
  }
  if (!agreesToUndo(run, items, program)) {
    writeNote("Nothing was restored.");
    return ExitStatus::done;
  }
  return carryOutUndo(run, chosen.run.value_or(0) + 1, items, options, resolver, program);
}

}  // namespace

void addUndoCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<UndoOptions>();
  CLI::App* command = app.add_subcommand("undo", "Bring back what the last removal moved away, after asking");
  command->add_option("NUMBER", options->run, "Another removal, as tidra history counts them")->type_name("");
  command->add_option("--home", options->home, "Use DIR as the home folder")->type_name("DIR");
  command->add_flag("--json", options->json, "Print one JSON document");
  command->footer("Examples:\n  tidra undo             again for the removal before\n  tidra undo 3 --dry-run");
  command->callback(
      [&program, options] { program.command = [&program, options] { return runUndoCommand(*options, program); }; });
}

}  // namespace tidra
