// Emptying the trash after a removal (--empty-trash): what goes with it is counted before the question, and nothing
// that came into the trash after that is deleted, but for what the removal itself has moved there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/removal_recorder.h"
#include "cli/trash_view.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/session/cleanup_session.h"
#include "core/session/scan_session.h"

namespace tidra {

class TrashEmptying {
 public:
  /// Reads what is in the trashes now, without those in `selected`, which go as findings.
  TrashEmptying(const ScanRequest& request, bool includesUndated, const TrashChoices& selected);

  /// Lists the entries that go, largest first. Empty when none go.
  std::string listText(const CleanupViewOptions& options) const;

  /// The question when nothing else goes but `selectedBytes` of selected trashes.
  std::string question(std::int64_t selectedBytes, bool apparentSize) const;

  /// What is added to the question about `moved` items that go to the trash; 0: they go elsewhere.
  std::string remark(std::size_t moved, bool apparentSize) const;

  /// "The trash would be emptied: …", as a line.
  std::string dryText(bool apparentSize) const;

  /// Entries of which nothing says when they were trashed, and that do not go unless the user agrees.
  const std::vector<FreedesktopTrash::Entry>& undated() const { return seen_.undated; }

  /// Called for each deleted entry. Of this removal: with the item's new receipt. Of any other: with a receipt that has
  /// its path in the trash, and with `originalPath`.
  using OnDeleted = std::function<void(const DisposalReceipt&, std::int64_t bytes, std::int64_t freedBytes,
                                       const std::optional<std::string>& originalPath)>;

  struct [[nodiscard]] Result {
    FreedesktopTrash::Purged purged;
    std::size_t others = 0;                        // deleted, besides what the outcome's removal moved
    std::int64_t othersBytes = 0;                  // freed by deleting those
    std::int64_t othersSize = 0;                   // logical size of those, in bytes
    std::vector<FreedesktopTrash::Entry> undated;  // kept
    std::size_t later = 0;                         // kept: came into the trash since it was read
    std::vector<PartialRemoval> othersInPart;      // deletions that were cut short, besides those of the outcome
    std::string interruption;                      // a sentence; empty if the emptying was not interrupted

    void addOther(const FreedesktopTrash::Entry& entry, const OnDeleted& onDeleted);

    /// "1 other entry deleted from the trash, 8 KB freed.\nThe trash is empty.\n"
    std::string text() const;
  };

  /// Empties the trash. In `outcome` and in the history, what was moved there becomes deleted, in part where that was
  /// cut short; an interruption is one of the outcome. The other entries are a run of their own. Writes both, so that
  /// nothing may be added to `recorder` afterwards.
  Result run(CleanupOutcome& outcome, RemovalRecorder& recorder, bool includesUndated,
             const OnDeleted& onDeleted) const;

  /// The same of a dry run, by the sizes that are known before: what would be moved to the trash would be deleted.
  Result foresee(CleanupOutcome& outcome, const std::vector<CleanupCandidate>& candidates,
                 const OnDeleted& onDeleted) const;

 private:
  bool isMeant(const FreedesktopTrash::Entry& entry, const CleanupOutcome& outcome) const;
  std::string others(bool apparentSize) const;

  const ScanRequest& request_;
  FreedesktopTrash::Choice seen_;
};

}  // namespace tidra
