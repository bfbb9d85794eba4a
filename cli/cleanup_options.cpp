#include "cli/cleanup_options.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

#include "app/state/user_cleanup.h"
#include "app/view/volume_figures.h"
#include "cli/confirmation.h"
#include "cli/interrupt.h"
#include "cli/progress_line.h"
#include "cli/removal_lines.h"
#include "cli/removal_recorder.h"
#include "cli/shown_sizes.h"
#include "cli/trash_emptying.h"
#include "cli/trash_view.h"
#include "cli/user_state.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/directory_reader.h"
#include "core/platform/host.h"
#include "core/platform/path_text.h"

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

/// Throws InputError when the quarantine folder named by the option or the environment is unusable. The default one is
/// checked item by item: items of other volumes do not use it.
void checkNamedQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver) {
  const auto quarantine = openQuarantine(folder, resolver);
  const auto variable = resolver.environment.find("TIDRA_QUARANTINE_DIR");
  if (!folder && (variable == resolver.environment.end() || variable->second.empty())) return;
  try {
    quarantine.checkFolder();
  } catch (const std::runtime_error& error) {
    throw InputError(fmt::format("The quarantine cannot be used: {}.", error.what()));
  }
}

/// Throws InputError when root would move items into a home folder whose owner could not restore them.
void requireOwnStores(DisposalMethod method, const RemovalOptions& options, const TidraPathResolver& resolver) {
  if (!movesToHomeOfAnother(method, chosenQuarantine(options.quarantineFolder, resolver), resolver)) return;
  throw InputError(fmt::format(
      "The home folder {} belongs to another user, who could not get back what root moves there; run tidra as that "
      "user, or give --home, --quarantine-dir or --method delete.",
      escapedForTerminal(resolver.home)));
}

/// The question about items, with their size as the list shows it.
std::string questionAbout(const CleanupPlan& plan, const std::vector<CleanupCandidate>& candidates, bool apparentSize,
                          Remover remover) {
  std::vector<std::string_view> paths;
  for (const CleanupPlan::Item& item : plan.items) paths.push_back(item.path);
  const std::set<std::string_view> meant(paths.begin(), paths.end());
  const ShownSizes sizes(candidates, apparentSize);
  const std::int64_t bytes = sizes.ofThose([&](std::size_t i) { return meant.contains(candidates[i].item.path); });
  return planQuestion(paths, bytes, plan.method, remover);
}

/// What is asked about, besides the items.
struct Trashes {
  WholeTrashes selected;                  // as findings
  std::optional<TrashEmptying> emptying;  // of all, afterwards
};

/// The question about what Tidra removes itself.
std::string ownQuestion(const CleanupPlan& plan, const std::vector<CleanupCandidate>& candidates, bool apparentSize,
                        const Trashes& trashes, const RemovalOptions& options) {
  CleanupPlan moved = plan;
  const auto trashed = takeTrash(moved.items, trashes.selected, apparentSize);
  if (moved.items.empty()) {
    if (trashes.emptying) return trashes.emptying->question(trashed.value_or(0), apparentSize);
    return fmt::format("Empty the trash ({}) for good?", ByteFormatting::readable(trashed.value_or(0)));
  }
  const bool isForGood = trashes.emptying && plan.method == DisposalMethod::trash;
  if (isForGood) moved.method = DisposalMethod::delete_;
  std::string question = questionAbout(moved, candidates, apparentSize, Remover::tidra);
  if (!options.scope.empty()) question += fmt::format(" No folder was named: this is {}.", options.scope);
  if (trashed) {
    question += fmt::format(" What is in the trash ({}) is deleted for good.", ByteFormatting::readable(*trashed));
  }
  if (trashes.emptying) question += trashes.emptying->remark(isForGood ? moved.items.size() : 0, apparentSize);
  return question;
}

/// `plan` holds the items of one remover only.
Confirmation confirmationFor(const CleanupPlan& plan, const std::vector<CleanupCandidate>& candidates,
                             bool apparentSize, Remover remover, const Trashes& trashes,
                             const RemovalOptions& options) {
  Confirmation confirmation;
  confirmation.question = remover == Remover::tidra ? ownQuestion(plan, candidates, apparentSize, trashes, options)
                                                    : questionAbout(plan, candidates, apparentSize, remover);
  if (plan.highestTier() == ArtifactSafetyTier::warning) {
    confirmation.question += " Some of it cannot be made again.";
    confirmation.typedAnswer = fmt::format("remove {}", plan.items.size());
  }
  return confirmation;
}

/// The answers of the user.
struct Agreement {
  std::vector<CleanupCandidate> candidates;  // includes refused ones, for the report
  bool toAnything = true;
  bool toOwn = true;              // removals by Tidra itself, emptying the trash included
  std::optional<bool> toUndated;  // absent when not asked
};

/// True for a trash with nothing due: not worth a question; the removal reports why.
bool goesNothingOf(const std::string& path, const WholeTrashes& trashes) {
  const auto trash = trashes.find(path);
  return trash != trashes.end() && trash->second.due.empty();
}

/// Entries without a valid date in the trashes to be emptied.
std::vector<FreedesktopTrash::Entry> undatedIn(const Trashes& trashes) {
  std::vector<FreedesktopTrash::Entry> undated;
  if (trashes.emptying) undated = trashes.emptying->undated();
  for (const auto& [path, choice] : trashes.selected) {
    undated.insert(undated.end(), choice.undated.begin(), choice.undated.end());
  }
  return undated;
}

/// Asks once for each remover, and for undated entries of a trash to be emptied. A "no" drops only the items of that
/// question.
Agreement askFor(const std::vector<CleanupCandidate>& candidates, const CleanupPlan& plan, bool apparentSize,
                 const Trashes& trashes, const RemovalOptions& options, const Program& program) {
  Agreement agreement{.candidates = candidates, .toUndated = std::nullopt};
  std::size_t asked = 0;
  std::size_t declined = 0;
  const auto decline = [&](const auto& isMeant) {
    ++declined;
    std::erase_if(agreement.candidates, [&](const CleanupCandidate& candidate) {
      return !candidate.refusal && isMeant(candidate.item.path);
    });
  };
  for (const Remover remover : {Remover::tidra, Remover::tool}) {
    CleanupPlan part = plan;
    std::erase_if(part.items, [&](const CleanupPlan::Item& item) {
      return removerOf(item.path) != remover || goesNothingOf(item.path, trashes.selected);
    });
    const bool emptiesTrash = trashes.emptying && remover == Remover::tidra;
    if (part.items.empty() && !emptiesTrash) continue;
    ++asked;
    if (confirmed(confirmationFor(part, candidates, apparentSize, remover, trashes, options), program)) continue;
    if (remover == Remover::tidra) agreement.toOwn = false;
    decline([&](const std::string& path) { return removerOf(path) == remover; });
  }
  const auto undated = undatedIn(trashes);
  if (!undated.empty() && agreement.toOwn) agreement.toUndated = agreesToUndated(undated, program);
  if (agreement.toUndated) ++asked;
  if (agreement.toUndated == false)
    decline([&](const std::string& path) { return goesNothingOf(path, trashes.selected); });
  agreement.toAnything = asked == 0 || declined < asked;
  return agreement;
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

}  // namespace

std::string refusalText(const Refusal& refusal) {
  if (refusal.canBeForced()) return refusal.text + "; --force removes it anyway";
  return refusal.text + (refusal.canBeAllowed() ? "; --allow-any-path removes it anyway" : "");
}

void addRemovalOptions(CLI::App& command, RemovalOptions& options) {
  command.add_option("--method", options.method, "Where things go: trash, quarantine or delete")->type_name("METHOD");
  command.add_option("--quarantine-dir", options.quarantineFolder, "The quarantine folder to use")->type_name("DIR");
  command.add_flag("--force", options.force, "Also what .tidra-keep protects and what is in use");
  command.add_flag("--empty-trash", options.emptyTrash, "Empty the trash afterwards");
  command.add_flag("--include-unlisted", options.includesUndated,
                   "Of the trash, also what has no info file, or no date that makes sense");
}

DisposalMethod parseMethod(const std::string& text) {
  if (const auto method = fromRawValue<DisposalMethod>(text)) return *method;
  throw InputError(
      fmt::format("Unknown method '{}'; known are {}.", escapedForTerminal(text), rawValueList<DisposalMethod>()));
}

QuarantineConfig chosenQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver) {
  if (!folder) return QuarantineConfig::makeDefault(resolver);
  if (folder->empty()) throw InputError("An empty text is not a quarantine folder; name one.");
  return {.directory = absolutePath(*folder, resolver)};
}

void prepareRemoval(RemovalOptions& options, const ScanOptions& scan, DisposalMethod method, ScanRequest& request,
                    const Program& program) {
  options.json = scan.json || scan.jsonLines;
  options.emptyTrashIfUsed = scan.settings.app.emptyTrashAfterDeletion;
  request.quarantines = {chosenQuarantine(options.quarantineFolder, request.resolver).directory};
  request.shouldCancel = &InterruptGuard::requested;
  requireOwnStores(method, options, request.resolver);
  if (method == DisposalMethod::quarantine) checkNamedQuarantine(options.quarantineFolder, request.resolver);
  if (scan.jsonLines) {
    options.lines = startJsonLines(rawValue(options.command), request, method, program.options.dryRun);
  }
}

QuarantineDisposer openQuarantine(const std::optional<std::string>& folder, const TidraPathResolver& resolver) {
  return {chosenQuarantine(folder, resolver), resolver, TidraHost::name(resolver.environment), mountPoints()};
}

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
  if (options.lines) {
    for (const CleanupCandidate& candidate : candidates) {
      if (!candidate.refusal) options.lines->finding(candidate);
    }
  }
  if (!options.json) {
    const BlockingWait wait;
    const CleanupViewOptions listing = planView(view, request);
    writeOut(planText(candidates, listing) + emptyingText(trashes.selected, listing) +
             (trashes.emptying ? trashes.emptying->listText(listing) : ""));
  }
  const Agreement agreement = setting.dryRun ? Agreement{.candidates = candidates, .toUndated = std::nullopt}
                                             : askFor(candidates, plan, view.apparentSize, trashes, options, program);
  if (!agreement.toAnything) {
    if (options.lines) options.lines->finished(CleanupOutcome{}, {});
    if (options.json && !options.lines) writeOut(prettyJson(DisposalOutcome{}) + "\n");
    writeNote("Nothing was removed.");
    return ExitStatus::done;
  }
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
