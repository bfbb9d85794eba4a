#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <memory>

#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "cli/user_state.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"

namespace tidra {
namespace {

struct ExcludeOptions {
  std::string text;
  std::optional<std::string> home;
  bool json = false;
};

int list(const ExcludeOptions& options, const Program& program) {
  const auto entries = UserState(makeResolver(options.home, program.environment)).exclusions.load();
  if (options.json) {
    writeOut(jsonText(JsonCodec<std::vector<ExclusionEntry>>::encode(entries), true) + "\n");
  } else if (entries.empty()) {
    writeOut("Nothing is excluded. Add a folder or a pattern with tidra exclude add.\n");
  }
  for (const ExclusionEntry& entry : entries) {
    if (options.json) break;
    writeOut(fmt::format("{:<7}  {}\n", rawValue(entry.kind), escapedForTerminal(entry.pathDisplay)));
  }
  return ExitStatus::done;
}

TypedExclusion typedRow(const ExcludeOptions& options, const TidraPathResolver& resolver) {
  if (options.text.empty()) throw InputError("An empty text cannot be excluded; give a folder or a pattern.");
  return typedExclusion(options.text, resolver);
}

/// A name keeps out more than the one entry that the person may look at.
void noteReading(const ExcludeOptions& options, const TypedExclusion& row) {
  if (row.note) writeNote(*row.note);
  const std::string here = "./" + options.text;
  if (row.kind == ExclusionRowKind::path || options.text.find('/') != std::string::npos || !pathFacts(here)) return;
  writeNote(fmt::format("Every entry of the name '{}' is kept out; {} is only the one here.",
                        escapedForTerminal(options.text), escapedForTerminal(here)));
}

/// The text of the one row that the list shows like this; none when there is no such row or more than one.
std::optional<std::string> rowShownAs(const std::string& shown, const ExclusionsStore& exclusions) {
  std::optional<std::string> found;
  for (const ExclusionEntry& entry : exclusions.load()) {
    if (escapedForTerminal(entry.pathDisplay) != shown) continue;
    if (found) return std::nullopt;
    found = entry.pathDisplay;
  }
  return found;
}

int add(const ExcludeOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const TypedExclusion row = typedRow(options, resolver);
  const std::string& text = row.text;
  noteReading(options, row);
  noteUnknownVariable(text, resolver);
  if (program.options.dryRun) {
    writeOut(fmt::format("{} would be excluded.\n", escapedForTerminal(text)));
    return ExitStatus::done;
  }
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  UserState state(resolver);
  state.requireHome();
  const bool added = state.exclusions.add(text, row.kind, now);
  writeOut(fmt::format("{} {} excluded.\n", escapedForTerminal(text), added ? "is now" : "was already"));
  return ExitStatus::done;
}

int remove(const ExcludeOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const std::string text = typedRow(options, resolver).text;
  if (program.options.dryRun) {
    writeOut(fmt::format("{} would no longer be excluded.\n", escapedForTerminal(text)));
    return ExitStatus::done;
  }
  UserState state(resolver);
  state.requireHome();
  const auto removeShown = [&] {
    const auto row = rowShownAs(options.text, state.exclusions);
    return row && state.exclusions.remove(*row);
  };
  // A row that was made elsewhere may stand there as it was typed.
  if (!state.exclusions.remove(text) && !state.exclusions.remove(options.text) && !removeShown()) {
    throw InputError(fmt::format("'{}' is not excluded; tidra exclude list shows what is.", escapedForTerminal(text)));
  }
  writeOut(fmt::format("{} is no longer excluded.\n", escapedForTerminal(text)));
  return ExitStatus::done;
}

}  // namespace

void addExcludeCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ExcludeOptions>();
  CLI::App* command = app.add_subcommand("exclude", "Keep folders and patterns out of every scan");
  command->footer(
      "Examples:\n"
      "  tidra exclude add ~/work/client    never look there\n"
      "  tidra exclude add '*/vendor/*'     nor at anything directly inside a folder named vendor");
  command->add_option("--home", options->home, "Take DIR for the home folder")->type_name("DIR");

  const auto choose = [&program, options](CLI::App* subcommand, int (*run)(const ExcludeOptions&, const Program&)) {
    subcommand->callback(
        [&program, options, run] { program.command = [&program, options, run] { return run(*options, program); }; });
  };
  CLI::App* listing = command->add_subcommand("list", "What is excluded, a line each");
  listing->add_flag("--json", options->json, "Print one JSON document");
  listing->footer("Examples:\n  tidra exclude list\n  tidra exclude list --json");
  choose(listing, &list);
  CLI::App* adding = command->add_subcommand("add", "Exclude a folder or a pattern");
  adding->add_option("TEXT", options->text, "A folder, or a pattern with * or ?")->required()->type_name("");
  adding->footer("Examples:\n  tidra exclude add ~/work/client\n  tidra exclude add node_modules");
  choose(adding, &add);
  CLI::App* removing = command->add_subcommand("remove", "Exclude it no longer");
  removing->add_option("TEXT", options->text, "As the list shows it")->required()->type_name("");
  removing->footer("Examples:\n  tidra exclude remove ~/work/client\n  tidra exclude remove node_modules");
  choose(removing, &remove);
  command->callback([&program, options, command] {
    if (command->get_subcommands().empty()) program.command = [&program, options] { return list(*options, program); };
  });
}

}  // namespace tidra
