#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "cli/cleanup_options.h"
#include "cli/cleanup_view.h"
#include "cli/confirmation.h"
#include "cli/interrupt.h"
#include "cli/program.h"
#include "cli/scan_view.h"
#include "cli/terminal.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"

namespace tidra {

/// The manifest with the entry's name and place.
template <>
struct JsonCodec<QuarantineDisposer::Entry> {
  static void write(JsonWriter& out, const QuarantineDisposer::Entry& entry) {
    JsonObjectWriter(out)
        .put("bytes", entry.manifest.bytes)
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
  std::optional<std::string> folder;
  std::optional<std::string> home;
  bool json = false;
};

void writeNotes(const std::vector<std::string>& notes, const Program& program) {
  if (program.options.quiet) return;
  for (const std::string& note : notes) writeNote(note);
}

QuarantineDisposer::Listing readEntries(const QuarantineDisposer& quarantine) {
  try {
    return quarantine.list();
  } catch (const std::exception& error) {
    throw InputError(fmt::format("The quarantine cannot be read: {}.", shown(error.what())));
  }
}

int list(const QuarantineOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const auto listing = readEntries(openQuarantine(options.folder, resolver));
  writeNotes(listing.notes, program);
  if (options.json) {
    writeOut(prettyJson(listing.entries) + "\n");
    return ExitStatus::done;
  }
  if (listing.entries.empty()) writeOut("Nothing is in quarantine.\n");
  std::size_t width = 0;
  for (const QuarantineDisposer::Entry& entry : listing.entries)
    width = std::max(width, displayWidth(shown(entry.name())));
  for (const QuarantineDisposer::Entry& entry : listing.entries) {
    const auto& manifest = entry.manifest;
    const std::string size = manifest.bytes ? ByteFormatting::compact(*manifest.bytes) : "–";
    writeOut(fmt::format("{}  {}  {}\n", paddedRight(shown(entry.name()), width), paddedLeft(size, sizeWidth),
                         shown(resolver.displayPath(manifest.originalPath))));
  }
  return ExitStatus::done;
}

/// The named entries, or all. Throws InputError for one that does not exist.
std::vector<QuarantineDisposer::Entry> chosen(const QuarantineOptions& options,
                                              std::vector<QuarantineDisposer::Entry> entries) {
  if (options.all) return entries;
  std::vector<QuarantineDisposer::Entry> result;
  for (const std::string& name : options.names) {
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const QuarantineDisposer::Entry& entry) {
      return entry.name() == name || entry.url == name || shown(entry.name()) == name;
    });
    if (found == entries.end()) {
      throw InputError(fmt::format("'{}' is not in quarantine; tidra quarantine list shows what is.", shown(name)));
    }
    if (std::find(result.begin(), result.end(), *found) == result.end()) result.push_back(*found);
  }
  return result;
}

void requireNamesOrAll(const QuarantineOptions& options) {
  if (options.all == !options.names.empty()) {
    throw InputError(options.all ? "Give either entries or --all." : "Name the entries, or give --all.");
  }
}

/// Applies `act` to each entry and reports the results.
template <class Action>
int forEach(const std::vector<QuarantineDisposer::Entry>& entries, const QuarantineOptions& options,
            const Program& program, const std::string& past, Action act) {
  std::vector<TidraDeletionFailure> failures;
  std::vector<std::string> paths;
  const InterruptGuard guard;
  for (const QuarantineDisposer::Entry& entry : entries) {
    if (InterruptGuard::requested()) break;
    try {
      act(entry);
      const std::string name = past == "restored" ? entry.manifest.originalPath : entry.name();
      paths.push_back(entry.url);
      if (!options.json) {
        writeOut(fmt::format("{} {} {}.\n", shown(name), program.options.dryRun ? "would be" : "is", past));
      }
    } catch (const std::exception& error) {
      failures.push_back({entry.url, error.what()});
    }
  }
  if (options.json) {
    const auto fill = [&](JsonObjectWriter& object) { object.put("failures", failures).putByteList(past, paths); };
    writeOut(indentedJson(compactObject(fill)) + "\n");
  }
  writeFailures(failures);
  if (InterruptGuard::requested()) return ExitStatus::interrupted;
  return failures.empty() ? ExitStatus::done : ExitStatus::someFailed;
}

int restore(const QuarantineOptions& options, const Program& program) {
  requireNamesOrAll(options);
  const auto quarantine = openQuarantine(options.folder, makeResolver(options.home, program.environment));
  auto listing = readEntries(quarantine);
  writeNotes(listing.notes, program);
  const auto entries = chosen(options, std::move(listing.entries));
  if (entries.empty() && !options.json) writeOut("Nothing is in quarantine, so nothing is restored.\n");
  return forEach(entries, options, program, "restored", [&](const QuarantineDisposer::Entry& entry) {
    program.options.dryRun ? quarantine.checkRestore(entry) : quarantine.restore(entry);
  });
}

/// Also clears manifests without an item and leftovers of an interrupted purge.
int clearRemains(const QuarantineDisposer& quarantine, TimePoint cutOff, bool dryRun) {
  const InterruptGuard guard;
  const auto cleared = quarantine.clearRemains(cutOff, dryRun, &InterruptGuard::requested);
  for (const std::string& path : cleared.paths) {
    writeNote(fmt::format("{}, of which an earlier removal left something, {} cleared away.", escapedForTerminal(path),
                          dryRun ? "would be" : "is"));
  }
  const auto& failures = cleared.failures;
  writeFailures(failures);
  if (InterruptGuard::requested()) return ExitStatus::interrupted;
  return failures.empty() ? ExitStatus::done : ExitStatus::someFailed;
}

/// Deletes the named entries, or without names those past their retention.
int purge(const QuarantineOptions& options, const Program& program) {
  if (options.all && !options.names.empty()) throw InputError("Give either entries or --all.");
  if (options.olderThan && (options.all || !options.names.empty())) {
    throw InputError("--older-than chooses the entries; leave out their names and --all.");
  }
  const auto quarantine = openQuarantine(options.folder, makeResolver(options.home, program.environment));
  auto listing = readEntries(quarantine);
  writeNotes(listing.notes, program);
  const TimePoint now = currentTime();
  const bool byName = options.all || !options.names.empty();
  const TimePoint cutOff = options.olderThan ? momentBefore(now, parseAge(*options.olderThan))
                                             : now - retention(quarantine.config().retentionDays);
  if (!byName) {
    std::erase_if(listing.entries,
                  [&](const QuarantineDisposer::Entry& entry) { return entry.manifest.quarantinedAt >= cutOff; });
  }
  const auto entries = byName ? chosen(options, std::move(listing.entries)) : std::move(listing.entries);
  std::int64_t bytes = 0;
  for (const QuarantineDisposer::Entry& entry : entries) bytes = saturatedSum(bytes, entry.manifest.bytes.value_or(0));
  const Confirmation question{fmt::format("Delete {} ({}) from quarantine for good?",
                                          counted(entries.size(), "entry", "entries"), ByteFormatting::compact(bytes)),
                              {}};
  if (!entries.empty() && !program.options.dryRun && !confirmed(question, program)) {
    writeNote("Nothing was removed.");
    return ExitStatus::done;
  }
  const int cleared = byName ? ExitStatus::done : clearRemains(quarantine, cutOff, program.options.dryRun);
  if (cleared == ExitStatus::interrupted) return cleared;
  const int status = forEach(entries, options, program, "purged", [&](const QuarantineDisposer::Entry& entry) {
    if (!program.options.dryRun) quarantine.remove(entry, &InterruptGuard::requested);
  });
  if (entries.empty() && !options.json)
    writeOut(byName ? "Nothing is in quarantine.\n" : "Nothing in quarantine is due.\n");
  return status == ExitStatus::done ? cleared : status;
}

}  // namespace

void addQuarantineCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<QuarantineOptions>();
  CLI::App* command = app.add_subcommand("quarantine", "What clean has put into quarantine");
  command->require_subcommand(1);
  command->footer(
      "Examples:\n"
      "  tidra quarantine list\n"
      "  tidra quarantine restore 20260314T101500-node_modules");
  const auto add = [&](const std::string& name, const std::string& what,
                       int (*run)(const QuarantineOptions&, const Program&)) {
    CLI::App* subcommand = command->add_subcommand(name, what);
    subcommand->add_option("--dir", options->folder, "Another quarantine folder")->type_name("DIR");
    subcommand->add_option("--home", options->home, "Use DIR as the home folder")->type_name("DIR");
    subcommand->add_flag("--json", options->json, "Print one JSON document");
    subcommand->callback(
        [&program, options, run] { program.command = [&program, options, run] { return run(*options, program); }; });
    return subcommand;
  };
  const auto addNames = [&](CLI::App* subcommand) {
    subcommand->add_option("ENTRY", options->names, "Entries as the list names them")->type_name("");
    subcommand->add_flag("--all", options->all, "Every entry");
  };
  add("list", "Entries, their sizes and where they came from", &list)
      ->footer("Examples:\n  tidra quarantine list\n  tidra quarantine list --json");
  CLI::App* restoring = add("restore", "Move entries back to where they came from", &restore);
  addNames(restoring);
  restoring->footer("Examples:\n  tidra quarantine restore 20260314T101500-target\n  tidra quarantine restore --all");
  CLI::App* purging = add("purge", "Delete entries for good: those named, or those whose time is up", &purge);
  addNames(purging);
  purging->add_option("--older-than", options->olderThan, "Those put there longer ago, instead of 7d")
      ->type_name("AGE");
  purging->footer("Examples:\n  tidra quarantine purge --older-than 30d\n  tidra quarantine purge --all --yes");
}

}  // namespace tidra
