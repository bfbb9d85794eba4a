#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "app/state/stored_scan.h"
#include "app/view/volume_figures.h"
#include "cli/adopted_settings.h"
#include "cli/interrupt.h"
#include "cli/json_lines.h"
#include "cli/left_out.h"
#include "cli/local_time.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/scan_view.h"
#include "cli/user_state.h"
#include "core/base/errors.h"
#include "core/base/json_writer.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/model/ecosystems.h"
#include "core/platform/host.h"
#include "core/platform/standard_streams.h"
#include "core/session/removal_guard.h"

namespace tidra {
namespace {

/// With --dry-run no file is replaced.
void writeUnlessDry(const ScanOptions& options, std::string_view text, const Program& program) {
  if (!program.options.dryRun || !options.output || descriptorNamed(*options.output)) return writeResult(options, text);
  writeOut(fmt::format("The result would be in {}.\n", escapedForTerminal(*options.output)));
}

/// `makePicture` is only called for a person.
template <class MakePicture>
void show(const ScanReport& report, MakePicture makePicture, const ScanOptions& options, const ScanViewOptions& view,
          const Program& program) {
  writeUnlessDry(options, options.json ? prettyJson(report) + "\n" : scanText(makePicture(), view), program);
}

ScanPicture pictureOf(const ScanReport& report, const ScanOutcome& outcome, const ScanRequest& request,
                      RemovalGuard& removalGuard, const ScanViewOptions& view) {
  return {.report = report,
          .sizes = ShownSizes(report, &outcome.findings, view.apparentSize),
          .marks = marksOf(report, outcome, request, removalGuard, &InterruptGuard::requested),
          .isUpperBound = isUpperBound(outcome.findings, request.mounts)};
}

/// Stores the results for "--last". Best effort: a failure is a note, the scan has succeeded.
void remember(const ScanReport& report, const std::vector<FoundArtifact>& findings, const TidraPathResolver& resolver) {
  try {
    storeScan(report, findings, resolver);
  } catch (const PreferencesError& error) {
    writeNote(escapedForTerminal(error.what()));
  }
}

std::string compact(double gigabytes) {
  constexpr double most = 8e9;  // largest value the formatter can take
  constexpr double bytesEach = 1024.0 * 1024.0 * 1024.0;
  return ByteFormatting::readable(static_cast<std::int64_t>(std::clamp(gigabytes, 0.0, most) * bytesEach));
}

/// Text of a last scan whose findings are lost.
std::string summaryText(const LastScan& last) {
  const ScanResultsSummary& summary = last.summary;
  std::string text;
  const auto line = [&](std::string_view name, double gigabytes) {
    text += fmt::format("{:>8}  {}\n", compact(gigabytes), escapedForTerminal(name));
  };
  for (const auto& ecosystem : summary.ecosystems) line(ecosystemName(ecosystem.key), ecosystem.gigabytes);
  if (!summary.ecosystems.empty()) text += '\n';
  for (const auto& segment : summary.ageSegments) line(legendText(segment.activity), segment.gigabytes);
  if (summary.systemCacheGB > 0) line("Outside projects", summary.systemCacheGB);
  if (!summary.ageSegments.empty() || summary.systemCacheGB > 0) text += '\n';
  text += fmt::format(
      "{} reclaimable: {} in {}.", compact(summary.totalRecoverableGB),
      counted(static_cast<std::uint64_t>(std::max<std::int64_t>(summary.projectCount, 0)), "group", "groups"),
      escapedForTerminal(summary.scannedPathLabel));
  if (last.end) text += fmt::format(" Scanned at {}.", localTime(*last.end));
  text += last.partial ? "\nThe scan was interrupted; this list is incomplete.\n" : "\n";
  return text;
}

int showLastScan(const ScanOptions& options, ScanViewOptions view, const Program& program) {
  view.isEarlierScan = true;
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const UserState state(resolver);
  const auto last = state.lastScan.load();
  if (!last) throw InputError("There is no last scan yet; tidra scan makes one.");
  const LastScanFilter filter = chosenOfLastScan(findingChoices(options), options.settings.app, *last, currentTime());
  view.filters = filterTexts(options, filter.leaveOut(*last));
  const auto report = reportOf(*last, resolver, TidraHost::name(program.environment), currentPlatform,
                               options.settings.app.thresholds(), filter);
  constexpr const char* lost = "The findings of the last scan cannot be read any more; tidra scan makes new ones.";
  if (!report && options.json) throw InputError(lost);
  if (report) {
    const auto picture = [&] {
      return ScanPicture{.report = *report,
                         .sizes = ShownSizes(*report, nullptr, view.apparentSize),
                         .marks = marksOf(*report, chosenTiers(findingChoices(options)))};
    };
    show(*report, picture, options, view, program);
  } else {
    writeUnlessDry(options, summaryText(*last), program);
    writeNote(lost);
  }
  return ExitStatus::done;
}

int runScanCommand(const ScanOptions& options, const Program& program) {
  ScanViewOptions view = chosenView(options, program);
  checkOutput(options);
  if (options.last) return showLastScan(options, view, program);
  ScanRequest request = makeScanRequest(options, program.environment);
  const auto lines =
      options.jsonLines ? startJsonLines("scan", request, std::nullopt, program.options.dryRun) : nullptr;
  RemovalGuard removalGuard(request.resolver, request.mounts);
  if (!options.json && !lines) removalGuard.prepare();
  ScanOutcome outcome = [&] {
    const InterruptGuard guard;
    return runScanForPerson(request, view.apparentSize, program);
  }();
  const ScanReport report = makeReport(outcome, request.resolver);
  view.filters = filterTexts(options, outcome.leftOut);
  if (lines) {
    lines->report(report);
  } else {
    show(
        report, [&] { return pictureOf(report, outcome, request, removalGuard, view); }, options, view, program);
  }
  if (!program.options.dryRun) remember(report, outcome.findings, request.resolver);
  noteOutOfBounds(outcome, options);
  return InterruptGuard::requested() ? ExitStatus::interrupted : ExitStatus::done;
}

}  // namespace

void addScanCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ScanOptions>();
  CLI::App* command = app.add_subcommand("scan", "Find what can be reclaimed, and show it");
  addScanOptions(*command, *options);
  addJsonLinesOption(*command, *options);
  command->add_flag("--last", options->last, "Show the last scan again, without scanning");
  command->footer(
      "Examples:\n"
      "  tidra scan ~/code --older-than 6mo    what projects untouched for half a year hold\n"
      "  tidra scan --json | jq .totalBytes    the whole report as JSON");
  command->callback([options, &program] {
    program.command = [options, &program] {
      adoptSettings(*options, program);
      return runScanCommand(*options, program);
    };
  });
}

}  // namespace tidra
