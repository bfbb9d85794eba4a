#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/cleanup_options.h"
#include "cli/cleanup_view.h"
#include "cli/confirmation.h"
#include "cli/interrupt.h"
#include "cli/program.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/freedesktop_trash.h"

namespace tidra {
namespace {

struct TrashOptions {
  std::string olderThan;
  std::optional<std::string> home;
  bool json = false;
};

void writeResult(const FreedesktopTrash::Purged& purged, const TrashOptions& options, const Program& program) {
  if (options.json) {
    nlohmann::json object{{"failures", JsonCodec<std::vector<TidraDeletionFailure>>::encode(purged.failures)}};
    putByteList(object, "purged", purged.paths);
    writeOut(jsonText(object, true) + "\n");
    return;
  }
  for (const std::string& path : purged.paths) {
    writeOut(fmt::format("{} {} purged.\n", escapedForTerminal(path), program.options.dryRun ? "would be" : "is"));
  }
  if (purged.paths.empty()) writeOut("Nothing in the trash is that old.\n");
}

int purge(const TrashOptions& options, const Program& program) {
  const FreedesktopTrash trash(makeResolver(options.home, program.environment), mountPoints());
  const TimePoint cutOff = momentBefore(currentTime(), parseAge(options.olderThan));
  FreedesktopTrash::Purged purged;
  purged.paths = trash.olderThan(cutOff, purged.notes);
  bool interrupted = false;
  if (!program.options.dryRun) {
    const auto count = counted(purged.paths.size(), "item", "items");
    if (!purged.paths.empty() && !confirmed({fmt::format("Delete {} in the trash for good?", count), {}}, program)) {
      writeNote("Nothing was removed.");
      return ExitStatus::done;
    }
    const InterruptGuard guard;
    purged = trash.purgeBefore(cutOff, &InterruptGuard::requested);
    interrupted = InterruptGuard::requested();
    if (interrupted) writeNote("Interrupted; the rest is still in the trash.");
  }
  for (const std::string& note : purged.notes) {
    if (!program.options.quiet) writeNote(note);
  }
  writeResult(purged, options, program);
  writeFailures(purged.failures);
  if (interrupted) return ExitStatus::interrupted;
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
  purging->add_option("--home", options->home, "Take DIR for the home folder")->type_name("DIR");
  purging->add_flag("--json", options->json, "Print one JSON document");
  purging->footer("Examples:\n  tidra trash purge --older-than 30d\n  tidra trash purge --older-than 0d --dry-run");
  purging->callback(
      [&program, options] { program.command = [&program, options] { return purge(*options, program); }; });
}

}  // namespace tidra
