// What is asked before a removal, and what the user agreed to.
#pragma once

#include <optional>
#include <vector>

#include "cli/cleanup_options.h"
#include "cli/trash_emptying.h"
#include "cli/trash_view.h"

namespace tidra {

/// What is asked about, besides the items.
struct Trashes {
  WholeTrashes selected;                  // as findings
  std::optional<TrashEmptying> emptying;  // of all, afterwards
};

/// The answers of the user.
struct Agreement {
  std::vector<CleanupCandidate> candidates;  // includes refused ones, for the report
  bool toAnything = true;
  bool toOwn = true;              // removals by Tidra itself, emptying the trash included
  std::optional<bool> toUndated;  // absent when not asked
};

/// Asks once for each remover, and for undated entries of a trash to be emptied. A "no" drops only the items of that
/// question.
Agreement askFor(const std::vector<CleanupCandidate>& candidates, const CleanupPlan& plan, bool apparentSize,
                 const Trashes& trashes, const RemovalOptions& options, const Program& program);

}  // namespace tidra
