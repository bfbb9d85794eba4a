#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/cleanup_options.h"
#include "cli/cleanup_view.h"
#include "cli/confirmation.h"
#include "cli/interrupt.h"
#include "cli/program.h"
#include "cli/scan_view.h"
#include "cli/trash_view.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/model/byte_formatting.h"

namespace tidra {
namespace {

struct TrashOptions {
  std::string olderThan;
  std::optional<std::string> home;
  bool includesUnlisted = false;
  bool json = false;
};

void writePurged(const FreedesktopTrash::Purged& purged, const std::vector<FreedesktopTrash::Entry>& left,
                 bool interrupted, const TrashOptions& options, const Program& program) {
  if (options.json) {
    std::vector<std::string> paths;
    paths.reserve(left.size());
    for (const FreedesktopTrash::Entry& entry : left) paths.push_back(entry.path);
    const auto fill = [&](JsonObjectWriter& object) {
      object.put("failures", purged.failures).putByteList("purged", purged.paths).putByteList("unlisted", paths);
    };
    writeOut(indentedJson(compactObject(fill)) + "\n");
    return;
  }
  for (const std::string& path : purged.paths) {
    writeOut(fmt::format("{} {} purged.\n", escapedForTerminal(path), program.options.dryRun ? "would be" : "is"));
  }
  if (purged.paths.empty() && purged.failures.empty() && !interrupted) writeOut("Nothing in the trash is that old.\n");
}

bool agreesTo(std::vector<FreedesktopTrash::Entry>& entries, const Program& program) {
  if (entries.empty()) return true;
  FreedesktopTrash::measure(entries);
  std::int64_t bytes = 0;
  for (const FreedesktopTrash::Entry& entry : entries) bytes = saturatedSum(bytes, entry.bytes);
  return confirmed({fmt::format("Delete {} ({}) in the trash for good?", counted(entries.size(), "item", "items"),
                                ByteFormatting::compact(bytes)),
                    {}},
                   program);
}

int purge(const TrashOptions& options, const Program& program) {
  const FreedesktopTrash trash(makeResolver(options.home, program.environment), mountPoints());
  const TimePoint now = currentTime();
  const TimePoint cutOff = momentBefore(now, parseAge(options.olderThan));
  std::vector<std::string> notes;
  auto choice = FreedesktopTrash::choose(trash.list(now, notes), cutOff, options.includesUnlisted);
  FreedesktopTrash::Purged purged;
  bool interrupted = false;
  if (program.options.dryRun) {
    for (const FreedesktopTrash::Entry& entry : choice.due) purged.paths.push_back(entry.path);
  } else {
    if (!agreesTo(choice.due, program)) {
      writeNote("Nothing was removed.");
      return ExitStatus::done;
    }
    if (!choice.unlisted.empty() && agreesToUnlisted(choice.unlisted, program).value_or(false)) {
      choice.due.insert(choice.due.end(), choice.unlisted.begin(), choice.unlisted.end());
      choice.unlisted.clear();
    }
    const InterruptGuard guard;
    purged = FreedesktopTrash::remove(choice.due, &InterruptGuard::requested);
    interrupted = InterruptGuard::requested();
  }
  if (!program.options.quiet) {
    for (const std::string& note : notes) writeNote(note);
    noteUnlisted(choice.unlisted);
  }
  writePurged(purged, choice.unlisted, interrupted, options, program);
  writeFailures(purged.failures);
  if (interrupted) {
    writeNote(interruptedText(purged));
    return ExitStatus::interrupted;
  }
  return purged.failures.empty() ? ExitStatus::done : ExitStatus::someFailed;
}

}  // namespace

void addTrashCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<TrashOptions>();
  CLI::App* command = app.add_subcommand("trash", "The trash of the desktop");
  command->require_subcommand(1);
  command->footer("Examples:\n  tidra trash purge --older-than 30d\n  tidra trash purge --older-than 0d --dry-run");
  CLI::App* purging = command->add_subcommand("purge", "Delete what has been in the trash for longer");
  purging->add_option("--older-than", options->olderThan, "What was trashed longer ago, e.g. 30d")
      ->required()
      ->type_name("AGE");
  purging->add_option("--home", options->home, "Use DIR as the home folder")->type_name("DIR");
  purging->add_flag("--include-unlisted", options->includesUnlisted,
                    "Also what has no info file, or no date that makes sense");
  purging->add_flag("--json", options->json, "Print one JSON document");
  purging->footer("Examples:\n  tidra trash purge --older-than 30d\n  tidra trash purge --older-than 0d --dry-run");
  purging->callback(
      [&program, options] { program.command = [&program, options] { return purge(*options, program); }; });
}

}  // namespace tidra
