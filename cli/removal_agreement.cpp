#include "cli/removal_agreement.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "cli/confirmation.h"
#include "cli/shown_sizes.h"
#include "core/model/byte_formatting.h"

namespace tidra {
namespace {

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

}  // namespace

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

}  // namespace tidra
