#include "app/view/review.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "app/state/user_cleanup.h"
#include "app/view/item_hint.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/tool_targets.h"
#include "core/model/byte_formatting.h"
#include "core/model/stable_id.h"
#include "core/platform/path_text.h"
#include "core/scan/stores.h"

namespace tidra {
namespace {

using Candidates = std::vector<const CleanupCandidate*>;

/// What removing them together frees: hard links between them count once.
std::int64_t freeableTogether(const Candidates& candidates) {
  std::vector<const FoundArtifact*> found;
  std::int64_t unmatched = 0;
  for (const CleanupCandidate* candidate : candidates) {
    if (candidate->found == nullptr) {
      unmatched = saturatedSum(unmatched, candidate->item.bytes);
    } else {
      found.push_back(candidate->found);
    }
  }
  return saturatedSum(unmatched, signedBytes(CombinedUse(found).freeableBytes()));
}

bool isIrreversible(const CleanupCandidate& candidate) { return !isReversible(candidate.item.tier); }

bool isHeldBack(const CleanupCandidate& candidate, const ReviewChoice& choice) {
  return isIrreversible(candidate) && !choice.includesIrreversible;
}

std::string shownHint(const CleanupCandidate& candidate) {
  const std::string& path = candidate.item.path;
  const auto hint = hintOf(
      candidate.item, candidate.found != nullptr ? candidate.found->finding.restoreHint : std::optional<std::string>());
  const bool isLost = isToolBackedTarget(path) && !ToolTargets::canBeUndone(path);
  if (!isLost) return hint ? hint->sentence() : "";
  return hint ? "cannot be undone; " + hint->text : "cannot be undone";
}

/// Without its own name where the label is that.
std::string folderOf(const CleanupPlan::Item& item, const TidraPathResolver& resolver) {
  const bool isNamed = !isToolBackedTarget(item.path) && lastPathComponent(item.path) == item.label;
  return resolver.displayPath(isNamed ? parentPath(item.path) : item.path);
}

ReviewItem itemOf(const CleanupCandidate& candidate, const ReviewChoice& choice, const TidraPathResolver& resolver) {
  const CleanupPlan::Item& item = candidate.item;
  return {.id = StableID::number(item.path),
          .path = item.path,
          .place = folderOf(item, resolver),
          .label = item.label,
          .tier = item.tier,
          .freeableBytes = candidate.freeableBytes(),
          .hint = shownHint(candidate),
          .command = isToolBackedTarget(item.path) ? ToolTargets::commandLine(item.path) : std::string(),
          .isHeldBack = isHeldBack(candidate, choice)};
}

RefusedItem refusedOf(const CleanupCandidate& candidate, const TidraPathResolver& resolver) {
  const CleanupPlan::Item& item = candidate.item;
  return {.id = StableID::number(item.path),
          .path = item.path,
          .place = folderOf(item, resolver),
          .label = item.label,
          .reason = candidate.refusal->text,
          .canBeForced = candidate.refusal->canBeForced()};
}

/// What goes, by the way it goes.
struct Going {
  Candidates own;
  Candidates trashes;  // as findings, whose entries are deleted
  Candidates ofTools;

  Going(const std::vector<CleanupCandidate>& candidates, const ReviewChoice& choice) {
    for (const CleanupCandidate& candidate : candidates) {
      if (candidate.refusal || isHeldBack(candidate, choice)) continue;
      const bool isTool = removerOf(candidate.item.path) == Remover::tool;
      (isTool ? ofTools : StoreNames::isWholeTrash(candidate.item.path) ? trashes : own).push_back(&candidate);
    }
  }
};

std::vector<std::string_view> pathsOf(const Candidates& candidates) {
  std::vector<std::string_view> paths;
  for (const CleanupCandidate* candidate : candidates) paths.push_back(candidate->item.path);
  return paths;
}

std::string ownQuestionText(const Going& going, const Review& review) {
  const std::string trashed = ByteFormatting::readable(freeableTogether(going.trashes));
  if (going.own.empty()) return fmt::format("Empty the trash ({}) for good?", trashed);
  const bool isForGood = review.besides && review.choice.method == DisposalMethod::trash;
  std::string text = planQuestion(pathsOf(going.own), freeableTogether(going.own),
                                  isForGood ? DisposalMethod::delete_ : review.choice.method, Remover::tidra);
  if (!going.trashes.empty()) text += fmt::format(" What is in the trash ({}) is deleted for good.", trashed);
  if (review.besides) text += emptyingRemark(*review.besides, isForGood ? going.own.size() : 0);
  return text;
}

void addQuestions(Review& review, const Going& going) {
  const std::size_t own = going.own.size() + going.trashes.size();
  if (own > 0) review.questions.push_back({Remover::tidra, ownQuestionText(going, review), own});
  if (going.ofTools.empty()) return;
  review.questions.push_back(
      {Remover::tool,
       planQuestion(pathsOf(going.ofTools), freeableTogether(going.ofTools), review.choice.method, Remover::tool),
       going.ofTools.size()});
}

std::string effectText(const ReviewChoice& choice, std::size_t items, std::int64_t bytes) {
  if (items == 0) return {};
  const bool isOne = items == 1;
  const std::string what = counted(items, "item", "items");
  const std::string frees = fmt::format("{} {}", isOne ? "frees" : "free", ByteFormatting::readable(bytes));
  if (choice.method == DisposalMethod::quarantine) {
    return fmt::format("{} {} into quarantine and {} once {} purged.", what, isOne ? "goes" : "go", frees,
                       isOne ? "it is" : "they are");
  }
  if (choice.method == DisposalMethod::trash && !choice.emptiesTrash) {
    return fmt::format("{} {} to the trash and {} once it is emptied.", what, isOne ? "goes" : "go", frees);
  }
  return fmt::format("{} {} deleted for good and {}.", what, isOne ? "is" : "are", frees);
}

void addSums(Review& review, const Going& going) {
  const std::int64_t own = freeableTogether(going.own);
  const std::int64_t atOnce = saturatedSum(freeableTogether(going.trashes), freeableTogether(going.ofTools));
  const bool isMoved = review.choice.method == DisposalMethod::quarantine ||
                       (review.choice.method == DisposalMethod::trash && !review.choice.emptiesTrash);
  review.freedNow = isMoved ? atOnce : saturatedSum(own, atOnce);
  review.freedLater = isMoved ? own : 0;
  review.effect = effectText(review.choice, going.own.size(), own);
}

void addParts(Review& review, const std::vector<CleanupCandidate>& candidates, const TidraPathResolver& resolver) {
  for (const ArtifactSafetyTier tier : allCases<ArtifactSafetyTier>()) {
    ReviewPart part{.tier = tier, .title = displayTitle(tier), .items = {}};
    Candidates own;
    for (const CleanupCandidate& candidate : candidates) {
      const bool isOwn = removerOf(candidate.item.path) == Remover::tidra;
      if (candidate.refusal || candidate.item.tier != tier || !isOwn) continue;
      part.items.push_back(itemOf(candidate, review.choice, resolver));
      own.push_back(&candidate);
    }
    part.freeableBytes = freeableTogether(own);
    if (!own.empty()) review.parts.push_back(std::move(part));
  }
}

}  // namespace

Review Review::of(const std::vector<CleanupCandidate>& candidates, const ReviewChoice& choice,
                  const TrashContents& inTrash, const TidraPathResolver& resolver) {
  Review review;
  review.choice = choice;
  addParts(review, candidates, resolver);
  std::size_t heldBack = 0;
  for (const CleanupCandidate& candidate : candidates) {
    if (candidate.refusal) {
      review.refused.push_back(refusedOf(candidate, resolver));
    } else {
      if (isHeldBack(candidate, choice)) ++heldBack;
      if (removerOf(candidate.item.path) == Remover::tool) {
        review.byTools.push_back(itemOf(candidate, choice, resolver));
      }
    }
  }
  if (heldBack > 0) review.typedAnswer = fmt::format("remove {}", heldBack);
  if (choice.emptiesTrash) review.besides = inTrash;
  const Going going(candidates, choice);
  addSums(review, going);
  addQuestions(review, going);
  return review;
}

std::vector<CleanupCandidate> Review::goingOf(const std::vector<CleanupCandidate>& candidates,
                                              const ReviewChoice& choice) {
  std::vector<CleanupCandidate> going;
  for (const CleanupCandidate& candidate : candidates) {
    if (!candidate.refusal && !isHeldBack(candidate, choice)) going.push_back(candidate);
  }
  return going;
}

TrashContents contentsOf(const FreedesktopTrash::Choice& choice) {
  TrashContents contents;
  for (const FreedesktopTrash::Entry& entry : choice.due) {
    contents.bytes = saturatedSum(contents.bytes, entry.freeable);
    if (entry.identity) ++*contents.entries;
  }
  return contents;
}

std::vector<MethodChoice> methodChoices(const QuarantineDisposer& quarantine, const TidraPathResolver& resolver) {
  std::vector<MethodChoice> choices{
      {DisposalMethod::trash, "Move to Trash (default and recommended)", "", ""},
      {DisposalMethod::quarantine, "Move into quarantine", "It can be restored until it is purged.", ""},
      {DisposalMethod::delete_, "Permanently delete", "This cannot be undone. Files will not go to Trash.", ""}};
  try {
    quarantine.checkFolder();
  } catch (const std::runtime_error& error) {
    choices[1].obstacle = fmt::format("The quarantine cannot be used: {}.", error.what());
  }
  for (MethodChoice& choice : choices) {
    if (movesToHomeOfAnother(choice.method, quarantine.config(), resolver)) {
      choice.obstacle = "The home folder belongs to another user, who could not get back what root moves there.";
    }
  }
  return choices;
}

}  // namespace tidra
