#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "app/state/scan_request_builder.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "cli/user_state.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

struct ExcludeOptions {
  std::vector<std::string> texts;
  std::optional<std::string> home;
  bool json = false;
};

int list(const ExcludeOptions& options, const Program& program) {
  const auto entries = UserState(makeResolver(options.home, program.environment)).exclusions.load();
  if (options.json) {
    writeOut(prettyJson(entries) + "\n");
  } else if (entries.empty()) {
    writeOut("Nothing is excluded. Add a folder or a pattern with tidra exclude add.\n");
  }
  for (const ExclusionEntry& entry : entries) {
    if (options.json) break;
    writeOut(fmt::format("{:<7}  {}\n", rawValue(entry.kind), escapedForTerminal(entry.pathDisplay)));
  }
  return ExitStatus::done;
}

/// What was typed, and how it is read.
struct TypedRow {
  std::string given;
  TypedExclusion row;
};

std::vector<TypedRow> typedRows(const ExcludeOptions& options, const TidraPathResolver& resolver) {
  std::vector<TypedRow> rows;
  for (const std::string& text : options.texts) {
    if (text.empty()) throw InputError("An empty text cannot be excluded; name a folder or a pattern.");
    rows.push_back({text, typedExclusion(text, resolver)});
  }
  return rows;
}

/// Warns that a bare name excludes every entry of that name, not only the one here.
void noteReading(const TypedRow& typed, const TidraPathResolver& resolver) {
  if (const auto note = noteOn(typed.row, resolver)) writeNote(*note);
  const std::string here = "./" + typed.given;
  const bool isPath = typed.row.kind == ExclusionRowKind::path || typed.given.find('/') != std::string::npos;
  if (isPath || !pathFacts(here)) return;
  writeNote(fmt::format("Every entry of the name '{}' is kept out; {} is only the one here.",
                        escapedForTerminal(typed.given), escapedForTerminal(here)));
}

bool isSamePlace(const std::string& path, const std::string& other) {
  if (path == other) return true;
  const auto real = realPath(path);
  const auto otherReal = realPath(other);
  return real && otherReal && *real == *otherReal;
}

/// Finds the rows that a typed text refers to.
class RowFinder {
 public:
  RowFinder(const std::string& given, const TypedExclusion& typed, const TidraPathResolver& resolver)
      : given_(given), typed_(typed), resolver_(resolver) {
    const auto folder = realPath(".");
    if (typed.kind == ExclusionRowKind::path) {
      place_ = excludedPath(typed.text, resolver);
    } else if (folder && !given.empty() && !isGlob(given)) {
      place_ = standardizedPath(joinedPath(*folder, given));
    }
    if (place_ && folder && isSamePlace(parentPath(*place_), *folder)) nameHere_ = lastPathComponent(*place_);
  }

  /// The texts of the matching rows, closest first: literally equal, the same path or pattern in another spelling, the
  /// pattern of a name in the current folder.
  std::vector<std::string> meant(const std::vector<ExclusionEntry>& rows) const {
    std::vector<std::string> texts;
    const auto take = [&](const auto& isMeant) {
      for (const ExclusionEntry& row : rows) {
        const bool isTaken = std::find(texts.begin(), texts.end(), row.pathDisplay) != texts.end();
        if (!isTaken && isMeant(row)) texts.push_back(row.pathDisplay);
      }
    };
    take([&](const ExclusionEntry& row) { return row.pathDisplay == typed_.text; });
    // The row may hold the text literally.
    take([&](const ExclusionEntry& row) { return row.pathDisplay == given_; });
    take([&](const ExclusionEntry& row) { return escapedForTerminal(row.pathDisplay) == given_; });
    take([&](const ExclusionEntry& row) { return isPlace(row) || isSamePattern(row); });
    take([&](const ExclusionEntry& row) {
      return row.kind == ExclusionRowKind::pattern && !nameHere_.empty() && standardizedName(row) == nameHere_;
    });
    return texts;
  }

  /// The text of a row that is the same place under another name.
  std::optional<std::string> samePlace(const std::vector<ExclusionEntry>& rows) const {
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const ExclusionEntry& each) { return isPlace(each); });
    return typed_.kind == ExclusionRowKind::path && row != rows.end() ? std::optional(row->pathDisplay) : std::nullopt;
  }

 private:
  /// True for a row that is exactly the path.
  bool isPlace(const ExclusionEntry& row) const {
    return row.kind != ExclusionRowKind::pattern && place_ &&
           isSamePlace(excludedPath(row.pathDisplay, resolver_), *place_);
  }

  /// True for a pattern of absolute paths in another spelling.
  bool isSamePattern(const ExclusionEntry& row) const {
    const auto isOfPaths = [&](ExclusionRowKind kind, const std::string& text) {
      return kind == ExclusionRowKind::pattern && looksLikePath(resolver_.expandVariables(text));
    };
    return isOfPaths(row.kind, row.pathDisplay) && isOfPaths(typed_.kind, typed_.text) &&
           excludedPath(row.pathDisplay, resolver_) == excludedPath(typed_.text, resolver_);
  }

  static std::string_view standardizedName(const ExclusionEntry& row) {
    std::string_view name = row.pathDisplay;
    while (name.ends_with('/')) name.remove_suffix(1);
    return name;
  }

  const std::string& given_;
  const TypedExclusion& typed_;
  const TidraPathResolver& resolver_;
  std::optional<std::string> place_;  // absent for a pattern that is not a name
  std::string nameHere_;              // name of the path, when it is in the current folder
};

void addOne(const TypedRow& typed, UserState& state, const TidraPathResolver& resolver) {
  const std::string& text = typed.row.text;
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  const auto other = RowFinder(typed.given, typed.row, resolver).samePlace(state.exclusions.load());
  const bool added = state.exclusions.add(text, typed.row.kind, now);
  writeOut(fmt::format("{} {} excluded.\n", escapedForTerminal(text), added ? "is now" : "was already"));
  // A link stays in the list beside what it leads to: it may lead elsewhere tomorrow.
  if (added && other) writeNote(fmt::format("That place is excluded already as '{}'.", escapedForTerminal(*other)));
}

int add(const ExcludeOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  UserState state(resolver);
  if (!program.options.dryRun) state.requireHome();
  for (const TypedRow& typed : typedRows(options, resolver)) {
    noteReading(typed, resolver);
    if (program.options.dryRun) {
      writeOut(fmt::format("{} would be excluded.\n", escapedForTerminal(typed.row.text)));
    } else {
      addOne(typed, state, resolver);
    }
  }
  return ExitStatus::done;
}

/// The texts of the rows that each typed text means, closest first. Throws InputError for one that means none.
std::vector<std::vector<std::string>> meantRows(const ExcludeOptions& options, const UserState& state,
                                                const TidraPathResolver& resolver) {
  const auto rows = state.exclusions.load();
  std::vector<std::vector<std::string>> all;
  for (const TypedRow& typed : typedRows(options, resolver)) {
    all.push_back(RowFinder(typed.given, typed.row, resolver).meant(rows));
    if (!all.back().empty()) continue;
    throw InputError(
        fmt::format("'{}' is not excluded; tidra exclude list shows what is.", escapedForTerminal(typed.row.text)));
  }
  return all;
}

int remove(const ExcludeOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  UserState state(resolver);
  if (!program.options.dryRun) state.requireHome();
  for (const auto& meant : meantRows(options, state, resolver)) {
    const std::string text = escapedForTerminal(meant.front());
    if (program.options.dryRun) {
      writeOut(fmt::format("{} would no longer be excluded.\n", text));
      continue;
    }
    state.exclusions.remove(meant.front());
    writeOut(fmt::format("{} is no longer excluded.\n", text));
    for (std::size_t i = 1; i < meant.size(); ++i) {
      writeNote(fmt::format("'{}' is still excluded.", escapedForTerminal(meant[i])));
    }
  }
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
  command->add_option("--home", options->home, "Use DIR as the home folder")->type_name("DIR");

  const auto choose = [&program, options](CLI::App* subcommand, int (*run)(const ExcludeOptions&, const Program&)) {
    subcommand->callback(
        [&program, options, run] { program.command = [&program, options, run] { return run(*options, program); }; });
  };
  CLI::App* listing = command->add_subcommand("list", "What is excluded, a line each");
  listing->add_flag("--json", options->json, "Print one JSON document");
  listing->footer("Examples:\n  tidra exclude list\n  tidra exclude list --json");
  listing->alias("ls");
  choose(listing, &list);
  CLI::App* adding = command->add_subcommand("add", "Exclude folders and patterns");
  adding->add_option("TEXT", options->texts, "A folder, or a pattern with * or ?")->required()->type_name("");
  adding->footer("Examples:\n  tidra exclude add ~/work/client\n  tidra exclude add node_modules");
  choose(adding, &add);
  CLI::App* removing = command->add_subcommand("remove", "Exclude them no longer");
  removing->add_option("TEXT", options->texts, "As the list shows it")->required()->type_name("");
  removing->footer("Examples:\n  tidra exclude remove ~/work/client\n  tidra exclude remove node_modules");
  removing->alias("rm");
  choose(removing, &remove);
  command->callback([&program, options, command] {
    if (command->get_subcommands().empty()) program.command = [&program, options] { return list(*options, program); };
  });
}

}  // namespace tidra
