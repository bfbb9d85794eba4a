#include "cli/scan_options.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>

#include "app/state/user_cleanup.h"
#include "cli/interrupt.h"
#include "cli/progress_line.h"
#include "cli/user_state.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/host.h"
#include "core/platform/path_text.h"
#include "core/platform/standard_streams.h"
#include "core/rules/skip_list.h"

namespace tidra {
namespace {

/// `type` is the name of a value in the help.
void addList(CLI::App& command, const std::string& name, std::vector<std::string>& values, const std::string& type,
             const std::string& what) {
  command.add_option(name, values, what)->delimiter(',')->allow_extra_args(false)->type_name(type);
}

/// A list of paths, to be split by listedPaths(): their names may have commas.
void addPathList(CLI::App& command, const std::string& name, std::vector<std::string>& values, const std::string& type,
                 const std::string& what) {
  command.add_option(name, values, what)->allow_extra_args(false)->type_name(type);
}

std::string currentFolder() {
  const auto folder = realPath(".");
  if (!folder) throw InputError("The current folder does not exist any more; change to another one.");
  return *folder;
}

}  // namespace

std::string absolutePath(const std::string& given, const TidraPathResolver& resolver) {
  if (given.empty()) throw InputError("An empty text is not a path; name a file or folder.");
  std::string path = given;
  if (given == "~" || given.starts_with("~/")) path = resolver.home + given.substr(1);
  if (!path.starts_with('/')) path = joinedPath(currentFolder(), path);
  const auto pieces = split(path, '/');
  // Behind a symlink ".." cannot be resolved textually; ask the file system.
  if (std::find(pieces.begin(), pieces.end(), "..") != pieces.end()) {
    if (const auto real = realPath(path)) return *real;
  }
  return standardizedPath(path);
}

std::string absolutePath(const std::string& given, const Environment& environment) {
  const bool needsHome = given == "~" || given.starts_with("~/");
  return absolutePath(given, needsHome ? makeResolver(std::nullopt, environment) : TidraPathResolver{{}, environment});
}

namespace {

bool names(std::string_view text, const TidraPathResolver& resolver) {
  return pathExists(absolutePath(std::string(text), resolver));
}

/// Returns the longest beginning with a comma that names something, or what stands before the first comma.
std::string_view firstListed(std::string_view text, const TidraPathResolver& resolver) {
  constexpr int mostCommas = 8;  // in a name
  const std::string_view first = text.substr(0, text.find(','));
  std::string_view longest = first;
  // Without the folder of the first piece no longer one exists either, so that long lists stay cheap.
  const auto slash = first.rfind('/');
  if (slash != std::string_view::npos && slash > 0 && !names(first.substr(0, slash), resolver)) return first;
  std::string_view value = first;
  for (int comma = 0; comma < mostCommas && value.size() < text.size(); ++comma) {
    value = text.substr(0, text.find(',', value.size() + 1));
    if (names(value, resolver)) longest = value;
  }
  return longest;
}

}  // namespace

std::vector<std::string> listedPaths(const std::vector<std::string>& given, const TidraPathResolver& resolver) {
  std::vector<std::string> values;
  for (const std::string& text : given) {
    for (std::string_view rest = text;;) {
      const std::string_view value = firstListed(rest, resolver);
      if (!value.empty() || text.empty()) values.emplace_back(value);
      if (value.size() == rest.size()) break;
      rest = rest.substr(value.size() + 1);
    }
  }
  return values;
}

namespace {

/// --category without a ROOT: who asks for Docker does not expect every project of the home folder.
bool namesPlacesOnly(const ScanOptions& options) { return !options.categories.empty() && options.roots.empty(); }

/// Accepts an unreadable folder: the scan reports it and goes on.
std::string checkedRoot(const std::string& given, const TidraPathResolver& resolver) {
  if (given.empty())
    throw InputError("An empty text is not a folder; name one, or leave it out to scan the home folder.");
  std::string path = absolutePath(given, resolver);
  requireScannable(path, given);
  return path;
}

/// The folder to scan when none is named.
std::string defaultRoot(const TidraAppSettings& settings, const TidraPathResolver& resolver) {
  try {
    return defaultScanRoot(settings, resolver);
  } catch (const InputError& error) {
    if (settings.defaultScanLocation == TidraScanDefaultLocation::home) throw;
    throw InputError(fmt::format("{} Change the default folder with tidra config set location.", error.what()));
  }
}

std::vector<NamedExclusion> namedExclusions(const ScanOptions& options, const TidraPathResolver& resolver) {
  std::vector<NamedExclusion> exclusions;
  for (const std::string& text : listedPaths(options.exclude, resolver)) {
    if (text.empty()) throw InputError("An empty text cannot be excluded; name a folder or a pattern after --exclude.");
    exclusions.push_back({text, typedExclusion(text, resolver)});
  }
  return exclusions;
}

ScanChoices scanChoices(const ScanOptions& options, const TidraPathResolver& resolver) {
  ScanChoices choices;
  for (const std::string& root : options.roots) choices.roots.push_back(checkedRoot(root, resolver));
  choices.reachesEverywhere = options.system || options.roots.empty();
  if (choices.roots.empty()) choices.roots.push_back(defaultRoot(options.settings.app, resolver));
  choices.scansProjects = !options.noProjects && !namesPlacesOnly(options);
  choices.scansSystem = !options.noSystem;
  choices.findings = findingChoices(options);
  choices.exclusions = namedExclusions(options, resolver);
  choices.usesOwnRules = !options.noConfig;
  choices.rulesFiles = listedPaths(options.rulesFiles, resolver);
  choices.disabledRules = options.disabledRules;
  choices.oneFileSystem = options.oneFileSystem;
  choices.workers = options.threads;
  return choices;
}

}  // namespace

void requireKnownExclusions(const std::optional<std::string>& home, const Environment& environment) {
  requireKnownExclusions(makeResolver(home, environment), &writeDamage);
}

TimePoint currentTime() { return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()); }

TypedExclusion typedExclusion(const std::string& given, const TidraPathResolver& resolver) {
  const auto folder = realPath(".");
  return TypedExclusion::read(given, resolver, folder ? std::optional(*folder) : std::nullopt);
}

FindingChoices findingChoices(const ScanOptions& options) {
  return {.ecosystems = options.ecosystems,
          .categories = options.categories,
          .tiers = options.tiers,
          .minimumSize = options.minSize,
          .olderThan = options.olderThan};
}

void addJsonLinesOption(CLI::App& command, ScanOptions& options) {
  command.add_flag("--json-lines", options.jsonLines, "Print what happens as it happens, one JSON object a line");
}

void addRuleOptions(CLI::App& command, ScanOptions& options) {
  addPathList(command, "--exclude", options.exclude, "PATTERN", "Exclude a folder or a pattern, e.g. '*/vendor/*'");
  addPathList(command, "--rules", options.rulesFiles, "FILE", "Overlay the built-in rules with those of a file");
  addList(command, "--disable-rule", options.disabledRules, "ID", "Switch rules off by id");
  addPathList(command, "--unskip", options.unskip, "PATH", "Walk a folder that scans skip, e.g. /opt");
  command.add_flag("--no-config", options.noConfig, "Ignore the settings of tidra config; exclusions still apply");
  command.add_option("--threads", options.threads, "Workers that read folders; 0 chooses")
      ->type_name("N")
      ->check(CLI::Range(0, 256));
}

void addSizeOption(CLI::App& command, ScanOptions& options) {
  command.add_flag("--apparent-size", options.apparentSize, "Show logical sizes instead of what removing frees");
}

void addScanOptions(CLI::App& command, ScanOptions& options, const std::string& listed) {
  command
      .add_option("ROOT", options.roots,
                  "Folders to scan, and nothing outside them; the home folder when none is given")
      ->type_name("");
  command.add_option("--home", options.home, "Use DIR as the home folder")->type_name("DIR");
  command.add_flag("--system", options.system, "Also the caches outside ROOT, and what tools keep");
  command.add_flag("--no-system", options.noSystem, "Leave out what lies outside projects");
  command.add_flag("--no-projects", options.noProjects, "Leave out projects");
  addList(command, "--category", options.categories, "KEY",
          "Only these categories outside projects, e.g. docker; without ROOT, no projects");
  addList(command, "--ecosystem", options.ecosystems, "TAG", "Only these ecosystems, e.g. npm,rust");
  addRuleOptions(command, options);
  addList(command, "--tier", options.tiers, "TIER", "Only these tiers: safe, caution, warning");
  command.add_option("--min-size", options.minSize, "Leave out what is smaller, e.g. 10M")->type_name("SIZE");
  command.add_option("--older-than", options.olderThan, "Leave out what was worked on since, e.g. 6mo")
      ->type_name("AGE");
  command.add_flag("-x,--one-file-system", options.oneFileSystem, "Stay on the file system of each root");
  command.add_option("--sort", options.sort, "Order of the list: size (default), path or age")->type_name("ORDER");
  command.add_option("--limit", options.limit, listed + " to list; 0 lists all")->type_name("N");
  addSizeOption(command, options);
  command.add_option("-o,--output", options.output, "Write the result to FILE instead of standard output")
      ->type_name("FILE");
  command.add_flag("--json", options.json, "Print one JSON document");
}

void checkOutput(const ScanOptions& options) {
  if (!options.output) return;
  const std::string shown = escapedForTerminal(*options.output);
  if (const auto descriptor = descriptorNamed(*options.output)) {
    if (isOpenForWriting(*descriptor)) return;
    throw InputError(fmt::format("'{}' given with --output is not open for writing; name a file.", shown));
  }
  const std::string path = joinedPath(options.output->starts_with('/') ? "/" : currentFolder(), *options.output);
  if (const auto folder = openDirectory(parentPath(path)); !folder) {
    throw InputError(fmt::format("The folder of '{}', given with --output, cannot be opened: {}.", shown,
                                 folder.failure().message()));
  }
  const auto present = followedFacts(path);
  if (!present && pathFacts(path)) {
    throw InputError(fmt::format("'{}' given with --output is a link that leads nowhere; name a file.", shown));
  }
  if (present && present->type != EntryType::regularFile) {
    throw InputError(fmt::format("'{}' given with --output is not a file; name one, or leave the option out.", shown));
  }
}

void writeResult(const ScanOptions& options, std::string_view text) {
  if (!options.output) return writeOut(text);
  if (const auto descriptor = descriptorNamed(*options.output)) return writeToDescriptor(*descriptor, text);
  replaceFile(*options.output, text);
}

TidraPathResolver makeResolver(const std::optional<std::string>& given, const Environment& environment) {
  std::string home = given.value_or("");
  if (const auto variable = environment.find("HOME"); !given && variable != environment.end()) home = variable->second;
  if (!given && !home.empty() && !home.starts_with('/')) {
    throw InputError(fmt::format("'{}' that HOME names is not an absolute path; set HOME to one, or use --home.",
                                 escapedForTerminal(home)));
  }
  if (given && home.empty()) throw InputError("An empty text given with --home is not a folder; name one.");
  if (home.empty()) home = TidraHost::homeFolder().value_or("");
  if (home.empty()) throw InputError("The home folder is unknown; set HOME or use --home.");
  if (!home.starts_with('/')) home = joinedPath(currentFolder(), home);
  if (given && !openDirectory(home)) {
    throw InputError(
        fmt::format("'{}' given with --home is not a folder that can be opened.", escapedForTerminal(home)));
  }
  return {standardizedPath(home), environment};
}

ScanViewOptions chosenView(const ScanOptions& options, const Program& program) {
  ScanViewOptions view;
  view.terminal = terminalFacts(STDOUT_FILENO, program.options.color, program.environment);
  if (options.output && descriptorNamed(*options.output) != STDOUT_FILENO) view.terminal = TerminalFacts{};
  if (options.limit) view.limit = parseCount(*options.limit);
  view.apparentSize = options.apparentSize;
  if (!options.sort) return view;
  const auto sort = fromRawValue<ScanSort>(*options.sort);
  if (!sort) {
    throw InputError(
        fmt::format("Unknown order '{}'; known are {}.", escapedForTerminal(*options.sort), rawValueList<ScanSort>()));
  }
  view.sort = *sort;
  return view;
}

BuiltScanRequest builtScanRequest(const ScanOptions& options, const Environment& environment) {
  const TidraPathResolver resolver = makeResolver(options.home, environment);
  auto built = buildScanRequest(scanChoices(options, resolver), options.settings.app, resolver, currentTime());
  SkipList::unskip(built.request.catalog, listedPaths(options.unskip, resolver), built.request.platform, resolver,
                   "--unskip");
  return built;
}

ScanRequest makeScanRequest(const ScanOptions& options, const Environment& environment) {
  auto built = builtScanRequest(options, environment);
  for (const std::string& note : built.notes) writeNote(note);
  for (const std::string& warning : built.warnings) writeLoudNote(warning);  // also with --quiet
  return std::move(built.request);
}

ScanOutcome runScanForPerson(ScanRequest request, bool apparentSize, const Program& program) {
  const TerminalFacts facts = terminalFacts(STDERR_FILENO, program.options.color, program.environment);
  ProgressLine line(facts.movesCursor && !program.options.quiet, facts.columns);
  request.shouldCancel = &InterruptGuard::requested;
  request.onProgress = [&line, apparentSize, more = std::move(request.onProgress)](const ScanProgress& progress) {
    line.update(progress, apparentSize);
    if (more) more(progress);
  };
  ScanOutcome outcome = runScan(request);
  line.erase();
  if (!program.options.quiet) {
    for (const std::string& note : outcome.notes) writeNote(note);
    if (program.options.verbose) {
      for (const std::string& detail : outcome.details) writeNote(detail);
      writeNote(fmt::format("{} visited.", counted(outcome.entriesVisited, "entry", "entries")));
    }
  }
  return outcome;
}

void noteOutOfBounds(const ScanOutcome& outcome, const ScanOptions& options) {
  if (outcome.outOfBounds) writeNote(*outcome.outOfBounds);
  if (namesPlacesOnly(options) && !options.noProjects) {
    writeNote(
        "Projects were not looked at, because --category names other places; a folder, such as ~, includes them.");
  }
}

}  // namespace tidra
