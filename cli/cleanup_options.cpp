#include "cli/cleanup_options.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>

#include "app/state/state_folders.h"
#include "cli/confirmation.h"
#include "cli/interrupt.h"
#include "cli/progress_line.h"
#include "cli/trash_view.h"
#include "cli/user_state.h"
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
  setting.options = {.force = options.force, .allowAnyPath = options.allowAnyPath};
  setting.dryRun = program.options.dryRun;
  return setting;
}

/// `plan` holds the items of one remover.
Confirmation confirmationFor(const CleanupPlan& plan, Remover remover, const RemovalOptions& options) {
  CleanupPlan moved = plan;
  const auto trashed = takeTrash(moved.items);
  Confirmation confirmation;
  if (!trashed) {
    confirmation.question = planQuestion(plan, remover);
  } else if (moved.items.empty()) {
    confirmation.question = fmt::format("Empty the trash ({}) for good?", ByteFormatting::compact(*trashed));
  } else {
    confirmation.question = fmt::format("{} What is in the trash ({}) is deleted for good.",
                                        planQuestion(moved, remover), ByteFormatting::compact(*trashed));
  }
  if (options.emptyTrash && remover == Remover::tidra)
    confirmation.question += " The whole trash is emptied afterwards.";
  if (plan.highestTier() == ArtifactSafetyTier::warning) {
    confirmation.question += " Some of it cannot be made again.";
    confirmation.typedAnswer = fmt::format("remove {}", plan.items.size());
  }
  return confirmation;
}

/// What the person agreed to.
struct Agreement {
  std::vector<CleanupCandidate> candidates;  // those with a refusal are among them, to be reported
  bool toAnything = true;
  bool toOwn = true;  // what Tidra removes itself, the emptying of the trash included
};

/// Asks once for each remover. No to one keeps what the other removes in the plan.
Agreement askFor(const std::vector<CleanupCandidate>& candidates, const CleanupPlan& plan,
                 const RemovalOptions& options, const Program& program) {
  Agreement agreement{.candidates = candidates};
  std::size_t asked = 0;
  std::size_t declined = 0;
  for (const Remover remover : {Remover::tidra, Remover::tool}) {
    CleanupPlan part = plan;
    std::erase_if(part.items, [&](const CleanupPlan::Item& item) { return removerOf(item.path) != remover; });
    const bool emptiesTrash = options.emptyTrash && remover == Remover::tidra;
    if (part.items.empty() && !emptiesTrash) continue;
    ++asked;
    if (confirmed(confirmationFor(part, remover, options), program)) continue;
    ++declined;
    if (remover == Remover::tidra) agreement.toOwn = false;
    std::erase_if(agreement.candidates, [&](const CleanupCandidate& candidate) {
      return !candidate.refusal && removerOf(candidate.item.path) == remover;
    });
  }
  agreement.toAnything = asked == 0 || declined < asked;
  return agreement;
}

CleanupOutcome runWithProgress(const std::vector<CleanupCandidate>& candidates, CleanupSetting setting,
                               const Program& program) {
  const TerminalFacts facts = terminalFacts(STDERR_FILENO, program.options.color, program.environment);
  ProgressLine line(facts.movesCursor && !program.options.quiet, facts.columns);
  setting.onProgress = [&](const CleanupProgress& progress) { line.update(progress); };
  return runCleanup(candidates, setting);
}

/// What became of the items, and of the trash when that is one of them.
std::string wholeOutcomeText(CleanupOutcome outcome, DisposalMethod method, bool dryRun) {
  const auto emptied = takeTrash(outcome.disposal.receipts);
  if (!emptied) return outcomeText(outcome, method, dryRun);
  const std::string size = ByteFormatting::compact(*emptied);
  const std::string text = dryRun ? fmt::format("The trash with {} would be emptied.\n", size)
                                  : fmt::format("The trash is emptied, {} freed.\n", size);
  return outcome.disposal.receipts.empty() ? text : outcomeText(outcome, method, dryRun) + text;
}

/// True when nothing stayed in the trash.
bool emptyTrash(const ScanRequest& request, const RemovalOptions& options, const Program& program) {
  if (program.options.dryRun) {
    if (!options.json) writeOut("The whole trash would be emptied.\n");
    return true;
  }
  const BlockingWait wait;  // nobody polls here
  TrashDisposer trash(request.resolver, request.mounts);
  auto emptied = trash.emptyTrash(currentTime(), options.includesUnlisted);
  if (!emptied.unlisted.empty() && asksForUnlisted(emptied.unlisted, program)) {
    emptied.failures = FreedesktopTrash::remove(emptied.unlisted).failures;
    emptied.unlisted.clear();
  }
  writeFailures(emptied.failures);
  for (const std::string& note : emptied.notes) writeNote(note);
  noteUnlisted(emptied.unlisted);
  const bool isEmpty = emptied.failures.empty() && emptied.unlisted.empty() && emptied.notes.empty();
  if (isEmpty && !options.json) writeOut("The trash is empty.\n");
  return emptied.failures.empty();
}

}  // namespace

void addRemovalOptions(CLI::App& command, RemovalOptions& options) {
  command.add_option("--method", options.method, "Where things go: trash, quarantine or delete")->type_name("METHOD");
  command.add_option("--quarantine-dir", options.quarantineFolder, "The quarantine folder to use")->type_name("DIR");
  command.add_flag("--force", options.force, "Also what .tidra-keep protects and what is in use");
  command.add_flag("--empty-trash", options.emptyTrash, "Empty the whole trash afterwards");
  command.add_flag("--include-unlisted", options.includesUnlisted,
                   "With --empty-trash, also what has no info file, or no date that makes sense");
}

DisposalMethod parseMethod(const std::string& text) {
  if (const auto method = fromRawValue<DisposalMethod>(text)) return *method;
  throw InputError(
      fmt::format("'{}' is no method; known are {}.", escapedForTerminal(text), rawValueList<DisposalMethod>()));
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
  return {.terminal = view.terminal, .limit = view.limit, .home = request.resolver.home, .now = request.now};
}

int carryOut(const std::vector<CleanupCandidate>& candidates, const CleanupPlan& plan, const ScanRequest& request,
             const RemovalOptions& options, const ScanViewOptions& view, const Program& program) {
  CleanupSetting setting = settingFor(plan, request, options, program);
  if (!options.json) {
    const BlockingWait wait;
    writeOut(planText(candidates, planView(view, request)) +
             emptyingText(candidates, request.now, planView(view, request)));
  }
  const Agreement agreement = setting.dryRun ? Agreement{candidates} : askFor(candidates, plan, options, program);
  if (!agreement.toAnything) {
    if (options.json) writeOut(jsonText(JsonCodec<DisposalOutcome>::encode({}), true) + "\n");
    writeNote("Nothing was removed.");
    return ExitStatus::done;
  }
  InterruptGuard::requireNone("Interrupted; nothing was removed.");
  const CleanupOutcome outcome = runWithProgress(agreement.candidates, std::move(setting), program);
  // Standard output may be a pipe that nobody reads any more; what failed is told all the same.
  writeFailures(outcome.disposal.failures);
  writeOut(options.json ? jsonText(outcomeJson(outcome.disposal, outcome.unmeasured), true) + "\n"
                        : wholeOutcomeText(outcome, plan.method, program.options.dryRun));
  if (outcome.cancelled) {
    writeNote("Interrupted; what was not begun stays where it is.");
    return ExitStatus::interrupted;
  }
  const bool emptied = !options.emptyTrash || !agreement.toOwn || emptyTrash(request, options, program);
  return outcome.disposal.failures.empty() && emptied ? ExitStatus::done : ExitStatus::someFailed;
}

}  // namespace tidra
