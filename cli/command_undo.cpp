// Brings back what a removal moved away. Each item that the history names is looked up in the trash or the quarantine
// where it went: only an entry whose own record names the same original path is moved back.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cassert>
#include <map>
#include <memory>

#include "app/state/preferences_store.h"
#include "cli/cleanup_options.h"
#include "cli/confirmation.h"
#include "cli/interrupt.h"
#include "cli/program.h"
#include "cli/removal_recorder.h"
#include "cli/removal_runs.h"
#include "cli/scan_options.h"
#include "cli/scan_view.h"
#include "cli/stored_entries.h"
#include "cli/stored_removals.h"
#include "cli/table.h"
#include "core/base/quantities.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/platform/platform.h"

namespace tidra {
namespace {

struct UndoOptions {
  std::optional<std::string> run;
  std::optional<std::string> home;
  bool json = false;
};

/// An item of the run, and what happens to it.
struct ItemToUndo {
  enum class State {
    stored,
    back,   // in its place already, brought there by another program or by an undo that was killed
    lost,   // it never comes back: `act` throws at once
    other,  // likewise, but elsewhere it may still be there: with the Finder, on a volume that is not mounted
  };
  std::size_t index = 0;      // in the run
  std::function<void()> act;  // moves it back, or only checks in a dry run; throws the reason why it stays
  State state = State::stored;

  bool isLost() const { return state == State::lost || state == State::other; }
};

/// Finds the entries of trash and quarantines; reads each store once.
class StoredItems {
 public:
  StoredItems(TidraPathResolver resolver, bool dryRun) : resolver_(std::move(resolver)), dryRun_(dryRun) {}

  ItemToUndo wayBack(const RemovedItem& item, std::size_t index, DisposalMethod methodOfRun) {
    if (item.isPartial && methodOfRun == DisposalMethod::trash) {
      return lost(index, "was deleted in part when the trash was emptied; tidra trash list shows the rest");
    }
    if (item.isPartial) {
      return lost(index, fmt::format("was deleted in part; tidra clean {} deletes the rest",
                                     shown(resolver_.displayPath(parentPath(item.path)))));
    }
    if (!item.isMoved()) return lost(index, fmt::format("was {} for good", whereTo(item)));
    return item.method == DisposalMethod::quarantine ? fromQuarantine(item, index) : fromTrash(item, index);
  }

 private:
  static ItemToUndo lost(std::size_t index, const std::string& reason) {
    return {index, [reason] { throw std::runtime_error(reason); }, ItemToUndo::State::lost};
  }

  static ItemToUndo notStored(const RemovedItem& item, std::size_t index, const char* place) {
    if (pathExists(item.path)) return {index, [] {}, ItemToUndo::State::back};
    const bool isPurged = item.destination && pathExists(parentPath(*item.destination));
    auto gone =
        lost(index, fmt::format("is no longer {}: {}", place, isPurged ? "purged" : "restored or purged meanwhile"));
    if (!isPurged) gone.state = ItemToUndo::State::other;
    return gone;
  }

  ItemToUndo fromTrash(const RemovedItem& item, std::size_t index) {
    if (currentPlatform == TidraPlatform::macOS) {
      auto kept = lost(index, "is in the trash; the Finder puts it back");
      kept.state = ItemToUndo::State::other;
      return kept;
    }
    if (!trash_) {
      std::vector<std::string> notes;
      trash_ = FreedesktopTrash(resolver_, mountPoints()).list(currentTime(), notes);
      writeNotes(notes);
      std::erase_if(*trash_, [](const auto& each) { return !each.identity; });
      trashNames_ = namesOf(*trash_);
    }
    const auto found = entryOf(item, trashNames_);
    if (!found) {
      noteTakenByOther(item, trashNames_, resolver_);
      return notStored(item, index, "in the trash");
    }
    return {index, [entry = (*trash_)[*found], dry = dryRun_] {
              dry ? FreedesktopTrash::checkRestore(entry) : FreedesktopTrash::restore(entry);
            }};
  }

  ItemToUndo fromQuarantine(const RemovedItem& item, std::size_t index) {
    try {
      const auto folder = item.destination ? std::optional(parentPath(*item.destination)) : std::nullopt;
      const auto [place, isNew] = quarantines_.try_emplace(folder, openQuarantine(folder, resolver_));
      const QuarantineDisposer& quarantine = place->second;
      if (isNew) listings_[folder] = quarantine.list();
      const auto& entries = listings_[folder].entries;
      if (isNew) quarantineNames_[folder] = namesOf(entries);
      const auto& names = quarantineNames_[folder];
      const auto found = entryOf(item, names);
      if (!found) {
        noteTakenByOther(item, names, resolver_);
        return notStored(item, index, "in quarantine");
      }
      return {index, [&quarantine, entry = entries[*found], dry = dryRun_] {
                dry ? quarantine.checkRestore(entry) : quarantine.restore(entry);
              }};
    } catch (const std::exception& error) {
      return {index, [reason = std::string(error.what())] { throw std::runtime_error(reason); }};
    }
  }

  TidraPathResolver resolver_;
  bool dryRun_;
  std::optional<std::vector<FreedesktopTrash::Entry>> trash_;
  std::vector<StoredEntry> trashNames_;
  std::map<std::optional<std::string>, QuarantineDisposer> quarantines_;  // by folder, absent for the default one
  std::map<std::optional<std::string>, QuarantineDisposer::Listing> listings_;
  std::map<std::optional<std::string>, std::vector<StoredEntry>> quarantineNames_;
};

bool mayComeBack(const RemovalRun& run) {
  return !run.undoneAt && !isPurge(run) &&
         std::any_of(run.items.begin(), run.items.end(), [](const RemovedItem& item) { return !item.restoredAt; });
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

/// What has not come back yet, last removed first.
std::vector<ItemToUndo> itemsToUndo(const RemovalRun& run, StoredItems& stored) {
  std::vector<ItemToUndo> items;
  for (std::size_t i = run.items.size(); i-- > 0;) {
    if (!run.items[i].restoredAt) items.push_back(stored.wayBack(run.items[i], i, run.method));
  }
  return items;
}

/// Without a question, the results name the items.
bool asks(const Program& program) { return !program.options.assumeYes && !program.options.dryRun; }

/// Shows what comes back where it is asked about, and says how much does not.
std::string undoText(const RemovalRun& run, const std::vector<ItemToUndo>& items, const TidraPathResolver& resolver,
                     const TerminalFacts& terminal, bool isAsked) {
  TextTable table({{"SIZE", true}, {"FROM"}, {"BACK TO", false, TextTable::Cut::middle}});
  constexpr std::size_t itemsOnScreen = 30;
  std::size_t listed = 0;
  std::size_t lost = 0;
  for (const ItemToUndo& item : items) {
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

bool agreesToUndo(const RemovalRun& run, const std::vector<ItemToUndo>& items, const Program& program) {
  std::size_t count = 0;
  std::int64_t bytes = 0;
  for (const ItemToUndo& item : items) {
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
void noteUndone(const RemovalRun& run, const std::vector<ItemToUndo>& items, const EntryResults& results,
                const TidraPathResolver& resolver) {
  std::size_t settled = results.done.size();
  for (const ItemToUndo& item : items) settled += item.isLost() ? 1 : 0;
  std::vector<std::size_t> indices;
  for (const std::size_t i : results.done) indices.push_back(items[i].index);
  noteBack(run, indices, settled == items.size(), resolver);
}

/// Takes the items out that are in their places already, and marks them.
void settleWhatIsBack(const RemovalRun& run, std::vector<ItemToUndo>& items, const TidraPathResolver& resolver,
                      bool dryRun) {
  std::vector<std::size_t> indices;
  for (const ItemToUndo& item : items) {
    if (item.state == ItemToUndo::State::back) indices.push_back(item.index);
  }
  if (indices.empty()) return;
  std::erase_if(items, [](const ItemToUndo& item) { return item.state == ItemToUndo::State::back; });
  if (!dryRun) noteBack(run, indices, items.empty(), resolver);
}

/// A run, and those of its items that are not back.
struct ChosenRun {
  std::optional<std::size_t> index;  // in the history; absent: nothing can come back
  std::vector<ItemToUndo> items;
};

void notePassedOver(std::size_t runs) {
  if (runs == 0) return;
  writeNote(fmt::format("{} passed over, of which nothing can come back; tidra history says what became of it.",
                        counted(runs, "removal is", "removals are")));
}

/// The named run, or the newest removal of which something can come back; a note counts those that were passed over.
ChosenRun chosenRun(const UndoOptions& options, const std::vector<RemovalRun>& runs, StoredItems& stored,
                    const TidraPathResolver& resolver, bool dryRun) {
  const auto open = [&](std::size_t index) {
    ChosenRun chosen{index, itemsToUndo(runs[index], stored)};
    settleWhatIsBack(runs[index], chosen.items, resolver, dryRun);
    return chosen;
  };
  if (options.run) return open(runNumbered(*options.run, runs));
  const auto isGone = [](const ItemToUndo& item) { return item.state == ItemToUndo::State::lost; };
  std::size_t passedOver = 0;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    if (!mayComeBack(runs[i])) continue;
    auto chosen = open(i);
    if (chosen.items.empty() || !std::all_of(chosen.items.begin(), chosen.items.end(), isGone)) {
      notePassedOver(passedOver);
      return chosen;
    }
    ++passedOver;
  }
  notePassedOver(passedOver);
  return {std::nullopt, {}};
}

int carryOutUndo(const RemovalRun& run, std::size_t number, const std::vector<ItemToUndo>& items,
                 const UndoOptions& options, const TidraPathResolver& resolver, const Program& program) {
  std::vector<EntryAction> actions;
  for (const ItemToUndo& item : items) {
    const std::string& path = run.items[item.index].path;
    actions.push_back({path, resolver.displayPath(path), item.act});
  }
  const InterruptGuard guard;
  const Reporting reporting = options.json ? Reporting::json : asks(program) ? Reporting::total : Reporting::lines;
  const auto results = actOnEach(actions, "restored", reporting, resolver.home, program);
  if (reporting == Reporting::total && !results.done.empty()) {
    writeOut(fmt::format("{} restored.\n", counted(results.done.size(), "item is", "items are")));
  }
  if (!program.options.dryRun) noteUndone(run, items, results, resolver);
  const auto lost = std::count_if(items.begin(), items.end(), [](const ItemToUndo& item) { return item.isLost(); });
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
  StoredItems stored(resolver, program.options.dryRun);
  const auto [chosen, items] = chosenRun(options, runs, stored, resolver, program.options.dryRun);
  const RemovalRun run = chosen ? runs[*chosen] : RemovalRun{};
  if (items.empty()) {
    if (options.json) return actOnEach({}, "restored", Reporting::json, resolver.home, program).status;
    writeOut(chosen ? "All of it is back already.\n" : nothingToUndoText(resolver));
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
  return carryOutUndo(run, chosen.value_or(0) + 1, items, options, resolver, program);
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
