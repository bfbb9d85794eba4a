// The options that every command takes which begins with a scan, and the request that they make.
#pragma once

#include <optional>
#include <string>
#include <vector>

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
  bool last = false;
};

/// Declares the options on a command. `options` must outlive the parsing. `listed` says what --limit counts.
void addScanOptions(CLI::App& command, ScanOptions& options, const std::string& listed = "Projects");

/// Declares those that choose the rules and what is kept out, and the number of workers.
void addRuleOptions(CLI::App& command, ScanOptions& options);

/// The request for a scan. Throws InputError with one sentence for the first option that cannot be used.
ScanRequest makeScanRequest(const ScanOptions& options, const Environment& environment);

/// Called before anything is removed or planned. Throws PreferencesError when the user's exclusions cannot all be read.
void requireKnownExclusions(const std::optional<std::string>& home, const Environment& environment);

/// The home folder and the environment. Throws InputError.
TidraPathResolver makeResolver(const std::optional<std::string>& home, const Environment& environment);

/// Now, in whole seconds.
TimePoint currentTime();

/// An absolute spelling of a path given on the command line; "~" is expanded in case a shell has not done it. Throws
/// InputError for an empty text, which mostly is a variable that was not set and must not become the current folder.
std::string absolutePath(const std::string& given, const TidraPathResolver& resolver);

/// What a person typed to exclude, read from the current folder.
TypedExclusion typedExclusion(const std::string& given, const TidraPathResolver& resolver);

/// Writes a note for a pattern that is about names alone: inside what is found whole it keeps nothing.
void noteReach(const TypedExclusion& typed);

/// Writes a note when an exclusion names a variable that has no value, unless that is the name of something that
/// exists.
void noteUnknownVariable(const std::string& text, const TidraPathResolver& resolver);

/// Runs the scan with a live line, and writes its notes to standard error. An InterruptGuard must be alive.
ScanOutcome runScanForPerson(ScanRequest request, const Program& program);

/// The last line of a command that scanned: what the roots kept out, if anything.
void noteOutOfBounds(const ScanOutcome& outcome);

/// Throws InputError unless the result can go where it shall: to standard output, to another open descriptor that has a
/// name such as /dev/fd/3, or to a file that can be made or replaced.
void checkOutput(const ScanOptions& options);

/// Writes the result there. Throws std::system_error.
void writeResult(const ScanOptions& options, std::string_view text);

/// How a list is ordered and how long it is, for the terminal that standard output is. Throws InputError.
ScanViewOptions chosenView(const ScanOptions& options, const Program& program);

}  // namespace tidra
