#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "cli/cleanup_options.h"
#include "cli/cleanup_view.h"
#include "cli/confirmation.h"
#include "cli/interrupt.h"
#include "cli/program.h"
#include "cli/removal_recorder.h"
#include "cli/scan_view.h"
#include "cli/stored_entries.h"
#include "cli/table.h"
#include "cli/trash_view.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/freedesktop_trash.h"

namespace tidra {

template <>
struct JsonCodec<FreedesktopTrash::Entry> {
  static void write(JsonWriter& out, const FreedesktopTrash::Entry& entry) {
    JsonObjectWriter object(out);
    object.put("bytes", entry.bytes);
    if (entry.isUndated()) object.put("fault", std::string(entry.fault()));
    object.put("freeableBytes", entry.freeable).putBytes("name", entry.name());
    if (entry.originalPath) object.putBytes("originalPath", *entry.originalPath);
    object.putBytes("path", entry.path);
    if (entry.isDated()) object.put("trashedAt", entry.date);
    object.close();
  }
};

namespace {

using TrashEntries = std::vector<FreedesktopTrash::Entry>;

struct TrashOptions {
  std::vector<std::string> names;
  bool all = false;
  std::optional<std::string> olderThan;
  bool last = false;
  std::optional<std::string> home;
  bool includesUndated = false;
  bool json = false;
};

/// Everything in the trashes, newest first, the rests of interrupted deletions last.
TrashEntries newestFirst(const FreedesktopTrash& trash, TimePoint now) {
  std::vector<std::string> notes;
  TrashEntries entries = presentEntries(trash.list(now, notes));
  writeNotes(notes);
  std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.date > b.date; });
  return entries;
}

TrashEntries namedEntries(const TrashOptions& options, const TrashEntries& entries, const TidraPathResolver& resolver) {
  const auto names = namesOf(entries);
  TrashEntries chosen;
  for (const std::size_t i : options.last ? entriesOfLastRemoval(names, DisposalMethod::trash, resolver)
                                          : entriesNamed(options.names, names, trashWords, resolver)) {
    chosen.push_back(entries[i]);
  }
  return chosen;
}

std::int64_t freeableBy(const TrashEntries& entries) {
  std::int64_t bytes = 0;
  for (const FreedesktopTrash::Entry& entry : entries) bytes = saturatedSum(bytes, entry.freeable);
  return bytes;
}

/// Without info files whose item is gone, which only need tidying.
TrashEntries itemsAmong(TrashEntries entries) {
  std::erase_if(entries, [](const FreedesktopTrash::Entry& entry) { return !entry.identity; });
  return entries;
}

int listTrash(const TrashOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  TrashEntries entries = newestFirst({resolver, mountPoints()}, currentTime());
  FreedesktopTrash::measure(entries);
  if (options.json) {
    writeOut(prettyJson(entries) + "\n");
  } else if (entries.empty()) {
    writeOut("The trash is empty.\n");
  } else {
    const TerminalFacts terminal = terminalFacts(STDOUT_FILENO, program.options.color, program.environment);
    writeOut(trashTable(entries, resolver, terminal, 0) +
             paragraph(fmt::format("{}; purging {} frees {}.", counted(entries.size(), "item", "items"),
                                   entries.size() == 1 ? "it" : "them", sizeCell(freeableBy(entries))),
                       terminal));
  }
  return ExitStatus::done;
}

int restoreTrash(const TrashOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  TrashEntries entries = namedEntries(options, newestFirst({resolver, mountPoints()}, currentTime()), resolver);
  // A folder comes back before what was in it: otherwise its place would be taken.
  std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    return pathPrecedes(a.originalPath.value_or(""), b.originalPath.value_or(""));
  });
  std::vector<EntryAction> actions;
  for (const FreedesktopTrash::Entry& entry : entries) {
    actions.push_back({entry.path, resolver.displayPath(entry.originalPath.value_or(entry.path)), [&entry, &program] {
                         program.options.dryRun ? FreedesktopTrash::checkRestore(entry)
                                                : FreedesktopTrash::restore(entry);
                       }});
  }
  const InterruptGuard guard;
  const auto results =
      actOnEach(actions, "restored", options.json ? Reporting::json : Reporting::lines, resolver.home, program);
  std::vector<MovedBack> back;
  for (const std::size_t i : results.done) back.push_back({entries[i].path, entries[i].originalPath.value_or("")});
  if (!program.options.dryRun) recordRestored(back, resolver);
  return results.status;
}

/// What a purge deletes, and the undated entries that it leaves.
FreedesktopTrash::Choice chosenForPurge(const TrashOptions& options, const FreedesktopTrash& trash,
                                        const TidraPathResolver& resolver) {
  const bool isNamed = !options.names.empty() || options.last;
  const int ways =
      (options.names.empty() ? 0 : 1) + (options.all ? 1 : 0) + (options.olderThan ? 1 : 0) + (options.last ? 1 : 0);
  if (ways != 1) {
    throw InputError(ways == 0
                         ? "Name entries as tidra trash list shows them, or give --last, --older-than AGE or --all."
                         : "Give one of these: names of entries, --last, --older-than, --all.");
  }
  const TimePoint now = currentTime();
  if (isNamed) {
    if (options.includesUndated) throw InputError("--include-unlisted goes with --older-than or --all.");
    return {namedEntries(options, newestFirst(trash, now), resolver), {}};
  }
  const TimePoint cutOff =
      options.olderThan ? momentBefore(now, parseAge(*options.olderThan)) : now + std::chrono::seconds{1};
  std::vector<std::string> notes;
  auto choice = FreedesktopTrash::choose(trash.list(now, notes), cutOff, options.includesUndated);
  writeNotes(notes);
  return choice;
}

/// Shows what goes, largest first.
void showPurge(TrashEntries entries, const TidraPathResolver& resolver, const Program& program) {
  if (entries.empty()) return;
  std::stable_sort(entries.begin(), entries.end(),
                   [](const auto& a, const auto& b) { return a.freeable > b.freeable; });
  constexpr std::size_t entriesOnScreen = 30;
  const TerminalFacts terminal = terminalFacts(STDOUT_FILENO, program.options.color, program.environment);
  writeOut(trashTable(entries, resolver, terminal, terminal.isTerminal ? entriesOnScreen : 0));
}

bool agreesToPurge(const TrashEntries& entries, const Program& program) {
  if (entries.empty()) return true;
  return confirmed({fmt::format("Delete {} in the trash for good, which frees {}?",
                                counted(entries.size(), "item", "items"), sizeCell(freeableBy(entries))),
                    {}},
                   program);
}

/// Each entry is recorded as it goes.
FreedesktopTrash::Purged purgeRecorded(const TrashEntries& due, const TidraPathResolver& resolver) {
  HistoryRecorder recorder(RemovalCommand::trashPurge, DisposalMethod::delete_, resolver, currentTime());
  const auto begins = [&](const FreedesktopTrash::Entry& entry) { recorder.begin(entry.path, entry.freeable); };
  const auto gone = [&](const FreedesktopTrash::Entry& entry) { recorder.addPurged(entry); };
  auto purged = FreedesktopTrash::remove(due, &InterruptGuard::requested, {begins, gone});
  for (const PartialRemoval& partial : partlyGone(purged)) recorder.addPartial(partial);
  recorder.addFailures(purged.failures);
  recorder.write();
  noteHistory(recorder);
  return purged;
}

void writePurged(const FreedesktopTrash::Purged& purged, const TrashEntries& gone,
                 const FreedesktopTrash::Choice& choice, const TrashOptions& options, const TidraPathResolver& resolver,
                 const Program& program) {
  const bool dry = program.options.dryRun;
  if (options.json) {
    std::vector<std::string> left;
    for (const FreedesktopTrash::Entry& entry : choice.undated) left.push_back(entry.path);
    std::vector<PurgedEntry> items;
    for (const FreedesktopTrash::Entry& entry : gone) items.push_back({entry.path, entry.originalPath});
    const auto fill = [&](JsonObjectWriter& object) {
      object.put("entries", items)
          .put("failures", purged.failures)
          .putByteList("purged", purged.paths)
          .putByteList("unlisted", left);
    };
    writeOut(indentedJson(compactObject(fill)) + "\n");
    return;
  }
  if (program.options.assumeYes && !dry) {
    for (const FreedesktopTrash::Entry& entry : gone) {
      writeOut(shown(resolver.displayPath(entry.originalPath.value_or(entry.path))) + " is purged from the trash.\n");
    }
  }
  if (!gone.empty()) {
    writeOut(fmt::format("{} {}, {} {}.\n", counted(gone.size(), "item", "items"), dry ? "would be deleted" : "deleted",
                         sizeCell(freeableBy(gone)), dry ? "would be free" : "freed"));
  } else if (purged.paths.empty() && purged.failures.empty() && purged.notBegun == 0) {
    writeOut(options.last        ? "Nothing of the last removal is in the trash.\n"
             : options.olderThan ? "Nothing in the trash is that old.\n"
                                 : "Nothing in the trash can be purged.\n");
  }
  writeOut(partialText(partlyGone(purged)));
}

/// Shows what goes, asks, and deletes it. Entries that the user adds in a second question move to what is due.
std::optional<FreedesktopTrash::Purged> purgeAfterAsking(FreedesktopTrash::Choice& choice, const TrashOptions& options,
                                                         const TidraPathResolver& resolver, const Program& program) {
  FreedesktopTrash::measure(choice.due);
  // Without a question the result names each item.
  const bool isListedAfterwards = program.options.assumeYes && !program.options.dryRun;
  if (!options.json && !isListedAfterwards) showPurge(itemsAmong(choice.due), resolver, program);
  if (program.options.dryRun) {
    FreedesktopTrash::Purged purged;
    for (const FreedesktopTrash::Entry& entry : choice.due) purged.paths.push_back(entry.path);
    return purged;
  }
  if (!agreesToPurge(itemsAmong(choice.due), program)) return std::nullopt;
  if (!choice.undated.empty() && agreesToUndated(choice.undated, program).value_or(false)) {
    FreedesktopTrash::measure(choice.undated);
    choice.due.insert(choice.due.end(), choice.undated.begin(), choice.undated.end());
    choice.undated.clear();
  }
  const InterruptGuard guard;
  return purgeRecorded(choice.due, resolver);
}

int purgeTrash(const TrashOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  auto choice = chosenForPurge(options, {resolver, mountPoints()}, resolver);
  const auto purged = purgeAfterAsking(choice, options, resolver, program);
  if (!purged) {
    writeNote("Nothing was removed.");
    return ExitStatus::done;
  }
  const TrashEntries gone = goneEntries(*purged, choice.due);
  noteUndated(choice.undated);
  writePurged(*purged, gone, choice, options, resolver, program);
  writeFailures(purged->failures, resolver.home);
  if (InterruptGuard::requested()) {
    writeNote(interruptedText(*purged));
    return ExitStatus::interrupted;
  }
  return purged->failures.empty() ? ExitStatus::done : ExitStatus::someFailed;
}

}  // namespace

void addTrashCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<TrashOptions>();
  CLI::App* command = app.add_subcommand("trash", "The trash of the desktop: list, restore, purge");
  command->footer("Examples:\n  tidra trash list\n  tidra trash restore ~/code/shop/node_modules");
  const auto addCommon = [&](CLI::App* each) {
    each->add_option("--home", options->home, "Use DIR as the home folder")->type_name("DIR");
    each->add_flag("--json", options->json, "Print one JSON document");
  };
  addCommon(command);
  const auto add = [&](const SubcommandWords& words, int (*run)(const TrashOptions&, const Program&)) {
    CLI::App* subcommand =
        addStoreSubcommand(*command, words, program, [&program, options, run] { return run(*options, program); });
    addCommon(subcommand);
    return subcommand;
  };
  add({"list", "ls", "What is in it, where it came from, when, and what purging it frees"}, &listTrash)
      ->footer("Examples:\n  tidra trash list\n  tidra trash list --json");
  CLI::App* restoring = add({"restore", "", "Move things back to where they came from"}, &restoreTrash);
  restoring->add_option("WHAT", options->names, "Where things were, or their names in the list")
      ->required()
      ->type_name("");
  restoring->footer(
      "Examples:\n  tidra trash restore ~/code/shop/node_modules\n  tidra trash restore target.2 --dry-run");
  CLI::App* purging = add({"purge", "rm", "Delete for good: what is named, is older, or everything"}, &purgeTrash);
  purging->add_option("WHAT", options->names, "Where things were, or their names in the list")->type_name("");
  purging->add_flag("--all", options->all, "Everything");
  purging->add_flag("--last", options->last, "What the last removal moved there");
  purging->add_option("--older-than", options->olderThan, "What was trashed longer ago, e.g. 30d")->type_name("AGE");
  purging->add_flag("--include-unlisted", options->includesUndated,
                    "Also what has no info file, or no date that makes sense");
  purging->footer(
      "Examples:\n  tidra trash purge --last             what the last tidra clean moved there\n  tidra trash purge "
      "--older-than 30d");
  command->callback([&program, options, command] {
    if (!command->get_subcommands().empty()) return;
    program.command = [&program, options] { return listTrash(*options, program); };
  });
}

}  // namespace tidra
