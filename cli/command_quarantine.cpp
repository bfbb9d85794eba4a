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
#include "cli/terminal.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/dispose/item_removal.h"

namespace tidra {

/// The manifest with the entry's name and place.
template <>
struct JsonCodec<QuarantineDisposer::Entry> {
  static void write(JsonWriter& out, const QuarantineDisposer::Entry& entry) {
    JsonObjectWriter(out)
        .put("bytes", entry.manifest.bytes)
        .put("freeableBytes", entry.manifest.freeableBytes)
        .put("host", entry.manifest.host)
        .putBytes("name", entry.name())
        .putBytes("originalPath", entry.manifest.originalPath)
        .put("quarantinedAt", entry.manifest.quarantinedAt)
        .putBytes("url", entry.url)
        .close();
  }
};

namespace {

struct QuarantineOptions {
  std::vector<std::string> names;
  bool all = false;
  std::optional<std::string> olderThan;
  bool last = false;
  std::optional<std::string> folder;
  std::optional<std::string> home;
  bool json = false;
};

QuarantineDisposer::Listing readEntries(const QuarantineDisposer& quarantine) {
  try {
    return quarantine.list();
  } catch (const std::exception& error) {
    throw InputError(fmt::format("The quarantine cannot be read: {}.", shown(error.what())));
  }
}

using QuarantineEntries = std::vector<QuarantineDisposer::Entry>;

TimePoint dueDate(const QuarantineDisposer::Entry& entry) {
  return entry.manifest.quarantinedAt + retention(QuarantineConfig::defaultRetentionDays);
}

std::int64_t freeableBy(const QuarantineEntries& entries) {
  std::int64_t bytes = 0;
  for (const QuarantineDisposer::Entry& entry : entries) bytes = saturatedSum(bytes, entry.freeable());
  return bytes;
}

/// At most `most` entries; 0 lists all. On a narrow terminal without the date, with which the names begin anyway.
std::string quarantineTable(const QuarantineEntries& entries, const TidraPathResolver& resolver, TimePoint now,
                            const TerminalFacts& terminal, std::size_t most) {
  constexpr std::size_t columnsWithDate = 100;
  const bool hasDate = !terminal.isTerminal || terminal.columns >= columnsWithDate;
  std::vector<TextTable::Column> columns{{"ENTRY", false, TextTable::Cut::middle},
                                         {"FREES", true},
                                         {"AGE", true},
                                         {"DUE", false, TextTable::Cut::never},
                                         {"FROM", false, TextTable::Cut::middle}};
  if (hasDate) columns.insert(columns.begin() + 2, TextTable::Column{"SINCE", false, TextTable::Cut::never});
  TextTable table(std::move(columns));
  const std::size_t count = most == 0 ? entries.size() : std::min(most, entries.size());
  for (std::size_t i = 0; i < count; ++i) {
    const QuarantineDisposer::Entry& entry = entries[i];
    const auto& manifest = entry.manifest;
    const bool isMeasured = manifest.bytes || manifest.freeableBytes;
    const TextTable::Tone tone = dueDate(entry) <= now ? TextTable::Tone::attention : TextTable::Tone::plain;
    std::vector<TextTable::Cell> row{shown(entry.name()),
                                     sizeCell(isMeasured ? std::optional(entry.freeable()) : std::nullopt),
                                     shortAge(manifest.quarantinedAt, now),
                                     {localDay(dueDate(entry)), tone},
                                     shown(resolver.displayPath(manifest.originalPath))};
    if (hasDate) row.insert(row.begin() + 2, TextTable::Cell(localMinute(manifest.quarantinedAt)));
    table.add(std::move(row));
  }
  return table.text(terminal) + moreText(entries.size() - count, terminal);
}

int list(const QuarantineOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const auto listing = readEntries(openQuarantine(options.folder, resolver));
  const auto& entries = listing.entries;
  writeNotes(listing.notes);
  if (options.json) {
    writeOut(prettyJson(entries) + "\n");
    return ExitStatus::done;
  }
  if (entries.empty()) {
    writeOut("Nothing is in quarantine.\n");
    return ExitStatus::done;
  }
  const TimePoint now = currentTime();
  const auto due =
      std::count_if(entries.begin(), entries.end(), [&](const auto& each) { return dueDate(each) <= now; });
  const TerminalFacts terminal = terminalFacts(STDOUT_FILENO, program.options.color, program.environment);
  writeOut(quarantineTable(entries, resolver, now, terminal, 0) +
           paragraph(fmt::format("{}; purging {} frees {}. {} due.", counted(entries.size(), "entry", "entries"),
                                 entries.size() == 1 ? "it" : "them", sizeCell(freeableBy(entries)),
                                 due == 0   ? "None is"
                                 : due == 1 ? "1 is"
                                            : fmt::format("{} are", due)),
                     terminal));
  return ExitStatus::done;
}

/// The named entries, or all. Throws InputError for one that does not exist.
QuarantineEntries chosen(const QuarantineOptions& options, QuarantineEntries entries,
                         const TidraPathResolver& resolver) {
  if (options.all) return entries;
  const auto names = namesOf(entries);
  QuarantineEntries result;
  for (const std::size_t i : options.last ? entriesOfLastRemoval(names, DisposalMethod::quarantine, resolver)
                                          : entriesNamed(options.names, names, quarantineWords, resolver)) {
    result.push_back(entries[i]);
  }
  return result;
}

void requireNamesOrAll(const QuarantineOptions& options) {
  if (options.all == !options.names.empty()) {
    throw InputError(options.all ? "Name entries or use --all, not both." : "Name the entries, or use --all.");
  }
}

int restore(const QuarantineOptions& options, const Program& program) {
  requireNamesOrAll(options);
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const auto quarantine = openQuarantine(options.folder, resolver);
  auto listing = readEntries(quarantine);
  writeNotes(listing.notes);
  auto entries = chosen(options, std::move(listing.entries), resolver);
  if (entries.empty() && !options.json) writeOut("Nothing is in quarantine, so nothing is restored.\n");
  // A folder comes back before what was in it: otherwise its place would be taken.
  std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    return pathPrecedes(a.manifest.originalPath, b.manifest.originalPath);
  });
  std::vector<EntryAction> actions;
  for (const QuarantineDisposer::Entry& entry : entries) {
    actions.push_back({entry.url, resolver.displayPath(entry.manifest.originalPath),
                       [&] { program.options.dryRun ? quarantine.checkRestore(entry) : quarantine.restore(entry); }});
  }
  const InterruptGuard guard;
  const auto results =
      actOnEach(actions, "restored", options.json ? Reporting::json : Reporting::lines, resolver.home, program);
  std::vector<MovedBack> back;
  for (const std::size_t i : results.done) back.push_back({entries[i].url, entries[i].manifest.originalPath});
  if (!program.options.dryRun) recordRestored(back, resolver);
  return results.status;
}

/// Also clears manifests without an item and leftovers of an interrupted purge.
struct [[nodiscard]] Cleared {
  std::vector<std::string> paths;
  int status = ExitStatus::done;
};

Cleared clearRemains(const QuarantineDisposer& quarantine, TimePoint cutOff, const QuarantineOptions& options,
                     HistoryRecorder& recorder, const TidraPathResolver& resolver, const Program& program) {
  const bool dry = program.options.dryRun;
  const auto cleared = quarantine.clearRemains(cutOff, dry, &InterruptGuard::requested);
  std::int64_t freed = 0;
  for (std::size_t i = 0; i < cleared.paths.size(); ++i) {
    writeNote(fmt::format("{}, of which an earlier removal left something, {} cleared away.",
                          shown(resolver.displayPath(cleared.paths[i])), dry ? "would be" : "is"));
    freed = saturatedSum(freed, cleared.freedEach[i]);
    if (!dry) recorder.addPurged(cleared.paths[i], std::nullopt, cleared.freedEach[i]);
  }
  if (!dry) recorder.addFailures(cleared.failures);
  if (!cleared.paths.empty() && !options.json) {
    writeOut(fmt::format("{} of earlier removals {}, {} {}.\n", counted(cleared.paths.size(), "rest", "rests"),
                         dry ? "would be cleared away" : "cleared away", sizeCell(freed),
                         dry ? "would be free" : "freed"));
  }
  writeFailures(cleared.failures, resolver.home);
  const int status = InterruptGuard::requested() ? ExitStatus::interrupted
                     : cleared.failures.empty()  ? ExitStatus::done
                                                 : ExitStatus::someFailed;
  return {cleared.paths, status};
}

bool isNamed(const QuarantineOptions& options) { return !options.names.empty() || options.last; }

/// The entries that a purge deletes: the named ones, or without names those put there before `cutOff`.
QuarantineEntries chosenForPurge(const QuarantineOptions& options, const QuarantineDisposer& quarantine,
                                 TimePoint cutOff, const TidraPathResolver& resolver) {
  auto listing = readEntries(quarantine);
  writeNotes(listing.notes);
  if (options.all || isNamed(options)) return chosen(options, std::move(listing.entries), resolver);
  std::erase_if(listing.entries, [&](const auto& entry) { return entry.manifest.quarantinedAt >= cutOff; });
  return std::move(listing.entries);
}

/// Shows what goes, largest first, unless the result names each, and asks.
bool agreesToPurge(QuarantineEntries entries, const QuarantineOptions& options, const TidraPathResolver& resolver,
                   TimePoint now, const Program& program) {
  if (entries.empty()) return true;
  if (!options.json && (!program.options.assumeYes || program.options.dryRun)) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto& a, const auto& b) { return a.freeable() > b.freeable(); });
    constexpr std::size_t entriesOnScreen = 30;
    const TerminalFacts terminal = terminalFacts(STDOUT_FILENO, program.options.color, program.environment);
    writeOut(quarantineTable(entries, resolver, now, terminal, terminal.isTerminal ? entriesOnScreen : 0));
  }
  if (program.options.dryRun) return true;
  return confirmed({fmt::format("Delete {} from quarantine for good, which frees {}?",
                                counted(entries.size(), "entry", "entries"), sizeCell(freeableBy(entries))),
                    {}},
                   program);
}

/// Deletes an entry and records it. Adds to `partial` what was cut short.
void removeRecorded(const QuarantineDisposer& quarantine, const QuarantineDisposer::Entry& entry,
                    HistoryRecorder& recorder, std::vector<PartialRemoval>& partial) {
  recorder.begin(entry.url, entry.freeable());
  try {
    quarantine.remove(entry, &InterruptGuard::requested);
    recorder.addPurged(entry);
  } catch (const PartlyRemovedError& error) {
    partial.push_back(
        {entry.manifest.originalPath, ItemRemoval::freedByPart(error.left(), entry.freeable(), {.isInTrash = true})});
    recorder.addPartial(partial.back());
    throw;
  }
}

void writePurgedTotal(const QuarantineEntries& purged, bool dry) {
  writeOut(fmt::format("{} {}, {} {}.\n", counted(purged.size(), "entry", "entries"),
                       dry ? "would be deleted" : "deleted", sizeCell(freeableBy(purged)),
                       dry ? "would be free" : "freed"));
}

/// Throws InputError when entries are chosen in more than one way.
void requireOneWay(const QuarantineOptions& options) {
  const int ways =
      (options.names.empty() ? 0 : 1) + (options.all ? 1 : 0) + (options.olderThan ? 1 : 0) + (options.last ? 1 : 0);
  if (ways > 1) throw InputError("Give one of these: names of entries, --last, --older-than, --all.");
}

struct [[nodiscard]] Purged {
  QuarantineEntries entries;
  std::vector<PartialRemoval> partial;  // deletions that were cut short
  int status = ExitStatus::done;
};

/// Deletes the entries and records them. A JSON document also names those that were `cleared` before.
Purged deleteEach(const QuarantineEntries& entries, const std::vector<std::string>& cleared,
                  const QuarantineOptions& options, const QuarantineDisposer& quarantine, HistoryRecorder& recorder,
                  const TidraPathResolver& resolver, const Program& program) {
  Purged purged;
  const bool dry = program.options.dryRun;
  std::vector<PurgedEntry> items;
  std::vector<EntryAction> actions;
  for (const QuarantineDisposer::Entry& entry : entries) {
    actions.push_back({entry.url, resolver.displayPath(entry.manifest.originalPath), [&] {
                         if (!dry) removeRecorded(quarantine, entry, recorder, purged.partial);
                         items.push_back({entry.url, entry.manifest.originalPath});
                       }});
  }
  const Reporting named = program.options.assumeYes && !dry ? Reporting::lines : Reporting::total;
  const auto results =
      actOnEach(actions, "purged from quarantine", options.json ? Reporting::json : named, resolver.home, program,
                [&](JsonObjectWriter& object) { object.putByteList("cleared", cleared).put("entries", items); });
  for (const std::size_t i : results.done) purged.entries.push_back(entries[i]);
  recorder.addFailures(results.failures);
  purged.status = results.status;
  return purged;
}

std::string nothingText(const QuarantineOptions& options) {
  if (options.last) return "Nothing of the last removal is in quarantine.\n";
  return options.all || isNamed(options) ? "Nothing is in quarantine.\n" : "Nothing in quarantine is due.\n";
}

int purge(const QuarantineOptions& options, const Program& program) {
  requireOneWay(options);
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const auto quarantine = openQuarantine(options.folder, resolver);
  const TimePoint now = currentTime();
  const TimePoint cutOff = options.olderThan ? momentBefore(now, parseAge(*options.olderThan))
                                             : now - retention(quarantine.config().retentionDays);
  const auto entries = chosenForPurge(options, quarantine, cutOff, resolver);
  if (!agreesToPurge(entries, options, resolver, now, program)) {
    writeNote("Nothing was removed.");
    return ExitStatus::done;
  }
  const InterruptGuard guard;
  HistoryRecorder recorder(RemovalCommand::quarantinePurge, DisposalMethod::delete_, resolver, now);
  Cleared cleared;
  if (!isNamed(options)) {
    cleared = clearRemains(quarantine, options.all ? now : cutOff, options, recorder, resolver, program);
  }
  Purged purged;
  const bool isInterrupted = cleared.status == ExitStatus::interrupted;
  if (!isInterrupted) purged = deleteEach(entries, cleared.paths, options, quarantine, recorder, resolver, program);
  recorder.write();
  noteHistory(recorder);
  if (!options.json && !isInterrupted) {
    if (!purged.entries.empty()) writePurgedTotal(purged.entries, program.options.dryRun);
    writeOut(partialText(purged.partial, "entry", "entries"));
    if (entries.empty() && cleared.paths.empty()) writeOut(nothingText(options));
  }
  return purged.status == ExitStatus::done ? cleared.status : purged.status;
}

}  // namespace

void addQuarantineCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<QuarantineOptions>();
  CLI::App* command = app.add_subcommand("quarantine", "What clean has put into quarantine");
  command->footer(
      "Examples:\n"
      "  tidra quarantine list\n"
      "  tidra quarantine restore 20260314T101500-node_modules");
  const auto addCommon = [&](CLI::App* each) {
    each->add_option("--dir", options->folder, "Another quarantine folder")->type_name("DIR");
    each->add_option("--home", options->home, "Use DIR as the home folder")->type_name("DIR");
    each->add_flag("--json", options->json, "Print one JSON document");
  };
  addCommon(command);
  const auto add = [&](const SubcommandWords& words, int (*run)(const QuarantineOptions&, const Program&)) {
    CLI::App* subcommand =
        addStoreSubcommand(*command, words, program, [&program, options, run] { return run(*options, program); });
    addCommon(subcommand);
    return subcommand;
  };
  const auto addNames = [&](CLI::App* subcommand) {
    subcommand->add_option("ENTRY", options->names, "Entries as the list names them, or where they came from")
        ->type_name("");
    subcommand->add_flag("--all", options->all, "Every entry");
  };
  add({"list", "ls", "Entries: their age, what purging them frees, the day they are due, where they came from"}, &list)
      ->footer("Examples:\n  tidra quarantine list\n  tidra quarantine list --json");
  CLI::App* restoring = add({"restore", "", "Move entries back to where they came from"}, &restore);
  addNames(restoring);
  restoring->footer("Examples:\n  tidra quarantine restore ~/code/shop/target\n  tidra quarantine restore --all");
  CLI::App* purging = add({"purge", "rm", "Delete entries for good: those named, or those whose time is up"}, &purge);
  addNames(purging);
  purging->add_flag("--last", options->last, "What the last removal moved there");
  purging->add_option("--older-than", options->olderThan, "Those put there longer ago, instead of 7d")
      ->type_name("AGE");
  purging->footer("Examples:\n  tidra quarantine purge --older-than 30d\n  tidra quarantine purge --all --yes");
  command->callback([&program, options, command] {
    if (!command->get_subcommands().empty()) return;
    program.command = [&program, options] { return list(*options, program); };
  });
}

}  // namespace tidra
