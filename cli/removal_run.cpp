#include "cli/removal_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "app/state/user_cleanup.h"
#include "app/view/volume_figures.h"
#include "cli/interrupt.h"
#include "cli/progress_line.h"
#include "cli/removal_agreement.h"
#include "cli/removal_lines.h"
#include "cli/removal_recorder.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"

namespace tidra {
namespace {

CleanupSetting settingFor(const CleanupPlan& plan, const ScanRequest& request, const RemovalOptions& options,
                          const Program& program) {
  auto setting = cleanupSettingFor(request, plan.method, chosenQuarantine(options.quarantineFolder, request.resolver),
                                   &currentTime);
  setting.dryRun = program.options.dryRun;
  setting.options = {.force = options.force, .allowAnyPath = options.allowAnyPath};
  setting.refusalText = &refusalText;
  return setting;
}

CleanupOutcome runWithProgress(const std::vector<CleanupCandidate>& candidates, CleanupSetting setting,
                               const Trashes& trashes, const std::shared_ptr<JsonLines>& lines,
                               const Program& program) {
  const TerminalFacts facts = terminalFacts(STDERR_FILENO, program.options.color, program.environment);
  ProgressLine line(facts.movesCursor && !program.options.quiet, facts.columns);
  const TidraPathResolver resolver = setting.service.resolver;
  setting.onProgress = [&](const CleanupProgress& progress) {
    CleanupProgress asShown = progress;
    asShown.currentPath = resolver.displayPath(progress.currentPath);
    line.update(asShown);
    if (lines) lines->progress(progress);
  };
  if (lines) {
    setting.onResult = [&, former = std::move(setting.onResult)](const CleanupCandidate& candidate,
                                                                 const TidraDeletionService::Result& result,
                                                                 std::int64_t counted) {
      if (former) former(candidate, result, counted);
      if (!trashes.emptying || !waitsForEmptying(result)) lines->result(candidate, result);
    };
  }
  return runCleanup(candidates, setting);
}

/// Whether the trash is to be emptied after the removal of these candidates.
bool emptiesAfterwards(const std::vector<CleanupCandidate>& candidates, const CleanupPlan& plan,
                       const RemovalOptions& options) {
  if (options.emptyTrash) return true;
  return options.emptyTrashIfUsed && plan.method == DisposalMethod::trash &&
         std::any_of(candidates.begin(), candidates.end(), [](const CleanupCandidate& candidate) {
           return !candidate.refusal && removerOf(candidate.item.path) == Remover::tidra;
         });
}

/// Empties the trash if that is agreed to and, where only a setting asks for it, something was moved there.
std::optional<TrashEmptier::Result> emptyAfterwards(const Trashes& trashes, const Agreement& agreement,
                                                    const RemovalOptions& options, CleanupOutcome& outcome,
                                                    HistoryRecorder& recorder,
                                                    const TrashEmptier::OnDeleted& onDeleted) {
  if (!trashes.emptying || !agreement.toOwn || outcome.cancelled) return std::nullopt;
  const auto& receipts = outcome.disposal.receipts;
  const bool isUsed = std::any_of(receipts.begin(), receipts.end(),
                                  [](const DisposalReceipt& receipt) { return receipt.destination.has_value(); });
  if (!options.emptyTrash && !isUsed) return std::nullopt;
  return trashes.emptying->run(outcome, recorder, options.includesUndated || agreement.toUndated.value_or(false),
                               onDeleted);
}

struct [[nodiscard]] Removed {
  CleanupOutcome outcome;
  std::optional<TrashEmptier::Result> emptied;  // absent where the trash was not emptied afterwards
  bool isInHistory = true;
};

/// What stays, and why: to standard error.
void noteWhatStays(const Removed& removed, const std::string& home) {
  const CleanupOutcome& outcome = removed.outcome;
  const auto& emptied = removed.emptied;
  writeFailures(outcome.disposal.failures, home);
  for (const std::string& remainder : outcome.remainders) writeNote(remainder);
  for (const std::string& note : outcome.notes) writeNote(note);
  if (outcome.cancelled && !emptied) writeNote("Interrupted; items not begun were left in place.");
  if (!emptied) return;
  writeFailures(emptied->purged.failures, home);
  for (const std::string& note : emptied->purged.notes) writeNote(note);
  noteUndated(emptied->undated);
  if (emptied->later > 0) {
    writeNote(fmt::format("{} in the trash since you were asked.",
                          counted(emptied->later, "entry is new and stays", "entries are new and stay")));
  }
  if (!emptied->interruption.empty()) writeNote(emptied->interruption);
}

int statusOf(const Removed& removed) {
  const CleanupOutcome& outcome = removed.outcome;
  const auto& emptied = removed.emptied;
  if (outcome.cancelled) return ExitStatus::interrupted;
  const bool hasFailures = !outcome.disposal.failures.empty() || (emptied && !emptied->purged.failures.empty());
  return hasFailures ? ExitStatus::someFailed : ExitStatus::done;
}

/// Records the entries that went with a trash: one by one, with where they came from.
void recordEmptied(const WholeTrashes& emptied, const TidraPathResolver& resolver) {
  HistoryRecorder recorder(RemovalCommand::emptyTrash, DisposalMethod::delete_, resolver, currentTime());
  recordEmptiedTrashes(emptied, recorder);
  recorder.write();
  noteHistory(recorder);
}

/// Removes the candidates that are agreed to, and records that.
Removed removeAgreed(CleanupSetting setting, const Trashes& trashes, const Agreement& agreement,
                     const RemovalOptions& options, const Program& program) {
  const auto& candidates = agreement.candidates;
  const auto onDeleted = lineWriter(options.lines);
  if (setting.dryRun) {
    Removed removed{runWithProgress(candidates, std::move(setting), trashes, options.lines, program), std::nullopt};
    if (trashes.emptying && options.json) {
      removed.emptied = trashes.emptying->foresee(removed.outcome, candidates, onDeleted);
    }
    return removed;
  }
  const TidraPathResolver resolver = setting.service.resolver;
  HistoryRecorder recorder(options.command, setting.method, resolver, currentTime());
  CleanupOutcome outcome =
      runWithProgress(candidates, recorder.watching(std::move(setting)), trashes, options.lines, program);
  for (const PartialRemoval& partial : outcome.partial) recorder.addPartial(partial);
  recordEmptied(trashes.selected, resolver);
  const std::size_t failed = outcome.disposal.failures.size();
  auto emptied = emptyAfterwards(trashes, agreement, options, outcome, recorder, onDeleted);
  if (options.lines && trashes.emptying) writeLinesAfterEmptying(outcome, failed, emptied, *options.lines);
  recorder.write();
  noteHistory(recorder);
  return {std::move(outcome), std::move(emptied), recorder.isKept()};
}

/// Writes the result to standard output.
void showResult(const Removed& removed, const OutcomeContext& context, const Trashes& trashes,
                const RemovalOptions& options, const ScanViewOptions& view) {
  const CleanupOutcome& outcome = removed.outcome;
  const auto& emptied = removed.emptied;
  if (options.lines) return options.lines->finished(outcome, othersOf(emptied));
  if (options.json) {
    CountedOutcome counted{outcome.disposal, outcome.unmeasured, outcome.freedBytes, context.dryRun};
    if (emptied) counted.emptiedTrash = {signedBytes(emptied->others), emptied->othersBytes};
    return writeOut(prettyJson(counted) + "\n");
  }
  std::string text = context.candidates.empty() && trashes.emptying ? "" : outcomeText(outcome, context);
  if (removed.emptied) text += emptiedTrashText(*removed.emptied);
  if (context.dryRun && !options.scope.empty() && !outcome.disposal.receipts.empty()) {
    text += fmt::format("No folder was named: this is {}.\n", options.scope);
  }
  if (context.dryRun && trashes.emptying) text += trashes.emptying->dryText(view.apparentSize);
  writeOut(paragraphs(text, view.terminal));
}

/// Shows what is to go, before it is asked about.
void announce(const std::vector<CleanupCandidate>& candidates, const Trashes& trashes, const RemovalOptions& options,
              const CleanupViewOptions& listing) {
  if (options.lines) {
    for (const CleanupCandidate& candidate : candidates) {
      if (!candidate.refusal) options.lines->finding(candidate);
    }
  }
  if (options.json) return;
  const BlockingWait wait;
  writeOut(planText(candidates, listing) + emptyingText(trashes.selected, listing) +
           (trashes.emptying ? trashes.emptying->listText(listing) : ""));
}

int reportNothingRemoved(const RemovalOptions& options) {
  if (options.lines) options.lines->finished(CleanupOutcome{}, {});
  if (options.json && !options.lines) writeOut(prettyJson(DisposalOutcome{}) + "\n");
  writeNote("Nothing was removed.");
  return ExitStatus::done;
}

}  // namespace

CleanupViewOptions planView(const ScanViewOptions& view, const ScanRequest& request) {
  return {.terminal = view.terminal,
          .limit = view.limit,
          .home = request.resolver.home,
          .now = request.now,
          .apparentSize = view.apparentSize};
}

int carryOut(const std::vector<CleanupCandidate>& candidates, const CleanupPlan& plan, const ScanRequest& request,
             const RemovalOptions& options, const ScanViewOptions& view, const Program& program) {
  CleanupSetting setting = settingFor(plan, request, options, program);
  Trashes trashes{wholeTrashesAmong(candidates, currentTime(), request.now, options.includesUndated), std::nullopt};
  if (emptiesAfterwards(candidates, plan, options)) {
    trashes.emptying.emplace(request, options.includesUndated, trashes.selected);
  }
  announce(candidates, trashes, options, planView(view, request));
  const Agreement agreement = setting.dryRun ? Agreement{.candidates = candidates, .toUndated = std::nullopt}
                                             : askFor(candidates, plan, view.apparentSize, trashes, options, program);
  if (!agreement.toAnything) return reportNothingRemoved(options);
  InterruptGuard::requireNone("Interrupted; nothing was removed.");
  setting.service.includesUndated = options.includesUndated || agreement.toUndated.value_or(false);
  const VolumeFigures volumes(agreement.candidates, request.mounts);
  const Removed removed = removeAgreed(std::move(setting), trashes, agreement, options, program);
  // Standard output may be a broken pipe; failures go to standard error first.
  noteWhatStays(removed, request.resolver.home);
  showResult(removed,
             {.method = plan.method,
              .dryRun = program.options.dryRun,
              .apparentSize = view.apparentSize,
              .isUpperBound = volumes.isUpperBound(),
              .emptiesTrash = trashes.emptying.has_value(),
              .isInHistory = removed.isInHistory,
              .volumes = volumes.change(),
              .candidates = candidates},
             trashes, options, view);
  return statusOf(removed);
}

}  // namespace tidra
