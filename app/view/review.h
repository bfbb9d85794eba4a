// What a removal would do, before anything goes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/view/removal_question.h"
#include "app/view/result_row.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/dispose/quarantine.h"
#include "core/model/disposal.h"
#include "core/session/cleanup_session.h"

namespace tidra {

struct ReviewChoice {
  DisposalMethod method = DisposalMethod::trash;
  bool emptiesTrash = false;          // afterwards
  bool includesIrreversible = false;  // the user has typed Review::typedAnswer

  bool operator==(const ReviewChoice&) const = default;
};

/// Texts as they were found: a face escapes them.
struct ReviewItem {
  RowID id = 0;
  std::string path;
  std::string place;  // for display: its folder if the label is its name, else its path
  std::string label;
  ArtifactSafetyTier tier = ArtifactSafetyTier::safe;
  std::int64_t freeableBytes = 0;  // of it alone
  std::string hint;                // "to get it back: npm install"; empty: none
  std::string command;             // of the tool that removes it; empty: Tidra does
  bool isHeldBack = false;         // irreversible, and not agreed to

  bool operator==(const ReviewItem&) const = default;
};

/// The items of one tier that Tidra itself removes, in their order.
struct ReviewPart {
  ArtifactSafetyTier tier = ArtifactSafetyTier::safe;
  std::string_view title;  // "Safe", "Review" or "Irreversible"
  std::vector<ReviewItem> items;
  std::int64_t freeableBytes = 0;  // together

  bool operator==(const ReviewPart&) const = default;
};

struct RefusedItem {
  RowID id = 0;
  std::string path;
  std::string place;  // for display: its folder if the label is its name, else its path
  std::string label;
  std::string reason;  // the rest of a sentence after "it"
  bool canBeForced = false;

  bool operator==(const RefusedItem&) const = default;
};

/// A yes answers it; no is the default.
struct ReviewQuestion {
  Remover remover = Remover::tidra;
  std::string text;
  std::size_t items = 0;

  bool operator==(const ReviewQuestion&) const = default;
};

struct Review {
  ReviewChoice choice;
  std::vector<ReviewPart> parts;  // safe first; none is empty
  std::vector<ReviewItem> byTools;
  std::vector<RefusedItem> refused;
  std::string typedAnswer;                // "remove 2" includes the two that are held back; empty: none is
  std::vector<ReviewQuestion> questions;  // one for each remover of something; empty: nothing goes
  std::int64_t freedNow = 0;              // by what goes; without what else is in the trash
  std::int64_t freedLater = 0;            // once the trash is emptied, or the quarantine purged
  std::string effect;  // "5 items go to the trash and free 4.9 GB once it is emptied."; empty: nothing
  std::optional<TrashContents> besides;  // what emptying the trash deletes for good besides; absent: it stays

  /// Of candidates in the order of selectForCleanup(). `inTrash` is what is in the trash now.
  static Review of(const std::vector<CleanupCandidate>& candidates, const ReviewChoice& choice,
                   const TrashContents& inTrash, const TidraPathResolver& resolver);

  /// The candidates without a refusal that are not held back.
  static std::vector<CleanupCandidate> goingOf(const std::vector<CleanupCandidate>& candidates,
                                               const ReviewChoice& choice);

  bool operator==(const Review&) const = default;
};

/// What emptying deletes, of measured entries.
TrashContents contentsOf(const FreedesktopTrash::Choice& choice);

struct MethodChoice {
  DisposalMethod method = DisposalMethod::trash;
  std::string_view title;
  std::string_view remark;
  std::string obstacle;  // why it is not possible, a sentence; empty: it is

  bool operator==(const MethodChoice&) const = default;
};

/// Every method. Reads the folders of the stores.
std::vector<MethodChoice> methodChoices(const QuarantineDisposer& quarantine, const TidraPathResolver& resolver);

}  // namespace tidra
