#include "cli/cleanup_options.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

#include "app/state/state_folders.h"
#include "cli/confirmation.h"
#include "cli/interrupt.h"
#include "cli/progress_line.h"
#include "cli/removal_recorder.h"
#include "cli/shown_sizes.h"
#include "cli/trash_view.h"
#include "cli/user_state.h"
#include "cli/volume_figures.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/host.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

CleanupSetting settingFor(const CleanupPlan& plan, const ScanRequest& request, const RemovalOptions& options,
                          const Program& program) {
  const StateFolders folders = stateFolders(request.platform, request.resolver);
  CleanupSetting setting;
  setting.service = {.resolver = request.resolver,
                     .host = request.host,
                     .mounts = request.mounts,
                     .protectedFolders = {folders.preferences, folders.applicationData},
                     .workers = request.workers,
                     .clock = &currentTime,
                     .shouldCancel = &InterruptGuard::requested,
                     .seenAt = request.now};
  setting.method = plan.method;
  setting.quarantine = chosenQuarantine(options.quarantineFolder, request.resolver);
  setting.options = {.force = options.force, .allowAnyPath = options.allowAnyPath, .keptHint = keptHint};
  setting.dryRun = program.options.dryRun;
  setting.git = request.git;
  return setting;
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

/// `plan` holds the items of one remover only.
Confirmation confirmationFor(const CleanupPlan& plan, const std::vector<CleanupCandidate>& candidates,
                             bool apparentSize, Remover remover, const TrashChoices& trashes,
                             const RemovalOptions& options) {
  CleanupPlan moved = plan;
  const auto trashed = takeTrash(moved.items, trashes, apparentSize);
  Confirmation confirmation;
  const bool emptiesAfterwards = options.emptyTrash && remover == Remover::tidra;
  if (emptiesAfterwards && moved.items.empty()) {
    confirmation.question = "Empty the trash for good?";
  } else if (trashed && moved.items.empty()) {
    confirmation.question = fmt::format("Empty the trash ({}) for good?", ByteFormatting::readable(*trashed));
  } else {
    confirmation.question = questionAbout(moved, candidates, apparentSize, remover);
    if (!options.scope.empty()) {
      confirmation.question += fmt::format(" No folder was named: this is {}.", options.scope);
    }
    if (trashed) {
      confirmation.question +=
          fmt::format(" What is in the trash ({}) is deleted for good.", ByteFormatting::readable(*trashed));
    }
  }
  if (emptiesAfterwards && !moved.items.empty()) confirmation.question += " The trash is emptied afterwards.";
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
  bool toOwn = true;               // removals by Tidra itself, emptying the trash included
  std::optional<bool> toUnlisted;  // absent when not asked
};

/// True for a trash with nothing due: not worth a question; the removal reports why.
bool goesNothingOf(const std::string& path, const TrashChoices& trashes) {
  const auto trash = trashes.find(path);
  return trash != trashes.end() && trash->second.due.empty();
}

/// Entries without a valid date in the trashes to be emptied.
std::vector<FreedesktopTrash::Entry> unlistedIn(const TrashChoices& trashes) {
  std::vector<FreedesktopTrash::Entry> unlisted;
  for (const auto& [path, choice] : trashes) {
    unlisted.insert(unlisted.end(), choice.unlisted.begin(), choice.unlisted.end());
  }
  return unlisted;
}

/// Asks once for each remover, and for undated entries of a trash to be emptied. A "no" drops only the items of that
/// question.
Agreement askFor(const std::vector<CleanupCandidate>& candidates, const CleanupPlan& plan, bool apparentSize,
                 const TrashChoices& trashes, const RemovalOptions& options, const Program& program) {
  Agreement agreement{.candidates = candidates, .toUnlisted = std::nullopt};
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
      return removerOf(item.path) != remover || goesNothingOf(item.path, trashes);
    });
    const bool emptiesTrash = options.emptyTrash && remover == Remover::tidra;
    if (part.items.empty() && !emptiesTrash) continue;
    ++asked;
    if (confirmed(confirmationFor(part, candidates, apparentSize, remover, trashes, options), program)) continue;
    if (remover == Remover::tidra) agreement.toOwn = false;
    decline([&](const std::string& path) { return removerOf(path) == remover; });
  }
  const auto unlisted = unlistedIn(trashes);
  if (!unlisted.empty() && agreement.toOwn) agreement.toUnlisted = agreesToUnlisted(unlisted, program);
  if (agreement.toUnlisted) ++asked;
  if (agreement.toUnlisted == false) decline([&](const std::string& path) { return goesNothingOf(path, trashes); });
  agreement.toAnything = asked == 0 || declined < asked;
  return agreement;
}

CleanupOutcome runWithProgress(const std::vector<CleanupCandidate>& candidates, CleanupSetting setting,
                               const std::shared_ptr<JsonLines>& lines, const Program& program) {
  const TerminalFacts facts = terminalFacts(STDERR_FILENO, program.options.color, program.environment);
  ProgressLine line(facts.movesCursor && !program.options.quiet, facts.columns);
  setting.onProgress = [&](const CleanupProgress& progress) {
    line.update(progress);
    if (lines) lines->progress(progress);
  };
  if (lines) {
    setting.onResult = [&](const CleanupCandidate& candidate, const TidraDeletionService::Result& result,
                           std::int64_t) { lines->result(candidate, result); };
  }
  return runCleanup(candidates, setting);
}

/// Returns the exit status.
int emptyTrash(const ScanRequest& request, const RemovalOptions& options, const Agreement& agreement,
               const Program& program) {
  if (program.options.dryRun) {
    if (!options.json) {
      writeOut(options.includesUnlisted ? "The whole trash would be emptied.\n"
                                        : "The trash would be emptied, but for what nothing dates.\n");
    }
    return ExitStatus::done;
  }
  TrashDisposer trash(request.resolver, request.mounts);
  const bool includesUnlisted = options.includesUnlisted || agreement.toUnlisted.value_or(false);
  auto [purged, due, unlisted] = trash.emptyTrash(currentTime(), includesUnlisted, &InterruptGuard::requested);
  if (!InterruptGuard::requested() && !unlisted.empty() && !agreement.toUnlisted &&
      agreesToUnlisted(unlisted, program).value_or(false)) {
    FreedesktopTrash::measure(unlisted);
    purged += FreedesktopTrash::remove(unlisted, &InterruptGuard::requested);
    due.insert(due.end(), unlisted.begin(), unlisted.end());
    unlisted.clear();
  }
  const auto gone = goneEntries(purged, std::move(due));
  RemovalRecorder recorder(RemovalCommand::emptyTrash, DisposalMethod::delete_, request.resolver, currentTime());
  for (const FreedesktopTrash::Entry& entry : gone) recorder.addPurged(entry);
  recorder.addFailures(purged.failures);
  const std::int64_t freed = recorder.write();
  writeFailures(purged.failures);
  for (const std::string& note : purged.notes) writeNote(note);
  noteUnlisted(unlisted);
  if (purged.notBegun > 0) {
    writeNote(interruptedText(purged));
    return ExitStatus::interrupted;
  }
  const bool isEmpty = purged.failures.empty() && unlisted.empty() && purged.notes.empty();
  if (!options.json) {
    const std::string deleted = fmt::format("{} deleted from the trash, {} freed.\n",
                                            counted(gone.size(), "entry", "entries"), ByteFormatting::readable(freed));
    writeOut((gone.empty() && isEmpty ? "" : deleted) + (isEmpty ? "The trash is empty.\n" : ""));
  }
  return purged.failures.empty() ? ExitStatus::done : ExitStatus::someFailed;
}

}  // namespace

void addRemovalOptions(CLI::App& command, RemovalOptions& options) {
  command.add_option("--method", options.method, "Where things go: trash, quarantine or delete")->type_name("METHOD");
  command.add_option("--quarantine-dir", options.quarantineFolder, "The quarantine folder to use")->type_name("DIR");
  command.add_flag("--force", options.force, "Also what .tidra-keep protects and what is in use");
  command.add_flag("--empty-trash", options.emptyTrash, "Empty the trash afterwards");
  command.add_flag("--include-unlisted", options.includesUnlisted,
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

void requireOwnStores(DisposalMethod method, const RemovalOptions& options, const TidraPathResolver& resolver) {
  const bool isInHome = method == DisposalMethod::trash ||
                        (method == DisposalMethod::quarantine &&
                         isSameOrInside(chosenQuarantine(options.quarantineFolder, resolver).directory, resolver.home));
  if (!isInHome || !isHomeOfAnother(resolver)) return;
  throw InputError(fmt::format(
      "The home folder {} belongs to another user, who could not get back what root moves there; run tidra as that "
      "user, or give --home, --quarantine-dir or --method delete.",
      escapedForTerminal(resolver.home)));
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
  const TrashChoices trashes = trashChoices(candidates, request.now, options.includesUnlisted);
  if (options.lines) {
    for (const CleanupCandidate& candidate : candidates) {
      if (!candidate.refusal) options.lines->finding(candidate);
    }
  }
  if (!options.json) {
    const BlockingWait wait;
    writeOut(planText(candidates, planView(view, request)) + emptyingText(trashes, planView(view, request)));
  }
  const Agreement agreement = setting.dryRun ? Agreement{.candidates = candidates, .toUnlisted = std::nullopt}
                                             : askFor(candidates, plan, view.apparentSize, trashes, options, program);
  if (!agreement.toAnything) {
    if (options.lines) options.lines->finished(CleanupOutcome{});
    if (options.json && !options.lines) writeOut(prettyJson(DisposalOutcome{}) + "\n");
    writeNote("Nothing was removed.");
    return ExitStatus::done;
  }
  InterruptGuard::requireNone("Interrupted; nothing was removed.");
  setting.service.includesUnlisted = options.includesUnlisted || agreement.toUnlisted.value_or(false);
  RemovalRecorder recorder(options.command, plan.method, request.resolver, currentTime());
  const VolumeFigures volumes(agreement.candidates, request.mounts);
  const CleanupOutcome outcome = runWithProgress(agreement.candidates, std::move(setting), options.lines, program);
  recorder.add(outcome, agreement.candidates);
  if (!program.options.dryRun) recorder.write();
  // Standard output may be a broken pipe; failures go to standard error first.
  writeFailures(outcome.disposal.failures);
  for (const std::string& remainder : outcome.remainders) writeNote(remainder);
  for (const std::string& note : outcome.notes) writeNote(note);
  if (options.lines) {
    options.lines->finished(outcome);
  } else if (options.json) {
    writeOut(prettyJson(CountedOutcome{outcome.disposal, outcome.unmeasured, outcome.freedBytes}) + "\n");
  } else if (!candidates.empty() || !options.emptyTrash) {
    writeOut(paragraphs(outcomeText(outcome, {.method = plan.method,
                                              .dryRun = program.options.dryRun,
                                              .apparentSize = view.apparentSize,
                                              .isUpperBound = volumes.isUpperBound(),
                                              .volumes = volumes.change(),
                                              .candidates = candidates}),
                        view.terminal));
  }
  if (outcome.cancelled) {
    writeNote("Interrupted; what was not begun stays where it is.");
    return ExitStatus::interrupted;
  }
  const int status = outcome.disposal.failures.empty() ? ExitStatus::done : ExitStatus::someFailed;
  if (!options.emptyTrash || !agreement.toOwn) return status;
  return std::max(status, emptyTrash(request, options, agreement, program));
}

}  // namespace tidra
