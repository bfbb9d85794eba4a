// Options shared by all scanning commands, and the request made from them.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/state/app_settings.h"
#include "app/state/finding_choices.h"
#include "app/state/scan_request_builder.h"
#include "cli/program.h"
#include "cli/scan_view.h"
#include "core/scan/exclusion_entry.h"
#include "core/session/scan_session.h"

namespace tidra {

struct ScanOptions {
  std::vector<std::string> roots;
  std::optional<std::string> home;
  bool noSystem = false;
  bool noProjects = false;
  bool system = false;
  std::vector<std::string> categories;
  std::vector<std::string> ecosystems;
  std::vector<std::string> exclude;
  std::vector<std::string> rulesFiles;
  std::vector<std::string> disabledRules;
  std::vector<std::string> unskip;
  std::vector<std::string> tiers;
  std::optional<std::string> minSize;
  std::optional<std::string> olderThan;
  bool oneFileSystem = false;
  std::optional<std::string> sort;
  std::optional<std::string> limit;
  std::optional<std::string> output;
  unsigned threads = 0;
  bool json = false;
  bool jsonLines = false;
  bool last = false;
  bool apparentSize = false;
  bool noConfig = false;
  UserSettings settings = {};          // the defaults with --no-config
  std::set<std::string> adopted = {};  // names of options whose values are those of the settings: "min-size"
  bool hasDefaultTier = false;         // the tier is the command's own choice
};

/// Declares the options on a command. `options` must outlive the parsing. `listed` is what --limit counts.
void addScanOptions(CLI::App& command, ScanOptions& options, const std::string& listed = "Projects");

/// Declares --apparent-size.
void addSizeOption(CLI::App& command, ScanOptions& options);

/// Declares --json-lines.
void addJsonLinesOption(CLI::App& command, ScanOptions& options);

/// Declares the options for rules, exclusions and the number of workers.
void addRuleOptions(CLI::App& command, ScanOptions& options);

/// Returns the request, with its notes as values. Throws InputError, one sentence, for the first unusable option.
BuiltScanRequest builtScanRequest(const ScanOptions& options, const Environment& environment);

/// The same; writes the notes to standard error.
ScanRequest makeScanRequest(const ScanOptions& options, const Environment& environment);

/// Call before removing or planning. Throws PreferencesError when not all stored exclusions can be read.
void requireKnownExclusions(const std::optional<std::string>& home, const Environment& environment);

/// The home folder and the environment. The home folder is `home`, else HOME, else that of the password database.
/// Throws InputError.
TidraPathResolver makeResolver(const std::optional<std::string>& home, const Environment& environment);

/// Now, truncated to seconds.
TimePoint currentTime();

/// Makes a command-line path absolute and expands "~". Throws InputError for an empty text: mostly an unset variable,
/// which must not mean the current folder.
std::string absolutePath(const std::string& given, const TidraPathResolver& resolver);

/// The same for commands that need the home folder only to expand "~".
std::string absolutePath(const std::string& given, const Environment& environment);

/// Parses an exclusion, relative to the current folder.
TypedExclusion typedExclusion(const std::string& given, const TidraPathResolver& resolver);

/// What the options say about the findings that are wanted.
FindingChoices findingChoices(const ScanOptions& options);

/// Scans with a live line and writes notes to standard error. The request's own onProgress is called too. Requires a
/// live InterruptGuard.
ScanOutcome runScanForPerson(ScanRequest request, bool apparentSize, const Program& program);

/// The last line of a scanning command: what was left out because of the roots, or for lack of one.
void noteOutOfBounds(const ScanOutcome& outcome, const ScanOptions& options);

/// Returns the values of a list option: a text that names a file or folder is that, commas included; any other is split
/// at its commas.
std::vector<std::string> listedPaths(const std::vector<std::string>& given, const TidraPathResolver& resolver);

/// Throws InputError unless the output is writable: standard output, an open descriptor such as /dev/fd/3, or a file
/// that can be created or replaced.
void checkOutput(const ScanOptions& options);

/// Writes the result to the chosen output. Throws std::system_error.
void writeResult(const ScanOptions& options, std::string_view text);

/// Order and length of a list, for the terminal of standard output. Throws InputError.
ScanViewOptions chosenView(const ScanOptions& options, const Program& program);

}  // namespace tidra
