// Emptying the trash after a removal (--empty-trash): what goes with it is counted before the question, and nothing
// that came into the trash after that is deleted, but for what the removal itself has moved there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/view/trash_emptier.h"
#include "cli/trash_view.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/session/cleanup_session.h"
#include "core/session/scan_session.h"

namespace tidra {

class TrashEmptying {
 public:
  /// Reads what is in the trashes now, without those in `selected`, which go as findings.
  TrashEmptying(const ScanRequest& request, bool includesUndated, const WholeTrashes& selected);

  /// Lists the entries that go, largest first. Empty when none go.
  std::string listText(const CleanupViewOptions& options) const;

  /// The question when nothing else goes but `selectedBytes` of selected trashes.
  std::string question(std::int64_t selectedBytes, bool apparentSize) const;

  /// What is added to the question about `moved` items that go to the trash; 0: they go elsewhere.
  std::string remark(std::size_t moved, bool apparentSize) const;

  /// "The trash would be emptied: …", as a line.
  std::string dryText(bool apparentSize) const;

  /// Entries of which nothing says when they were trashed, and that do not go unless the user agrees.
  const std::vector<FreedesktopTrash::Entry>& undated() const { return emptier_.seen().undated; }

  /// Empties the trash; see TrashEmptier::run().
  TrashEmptier::Result run(CleanupOutcome& outcome, HistoryRecorder& recorder, bool includesUndated,
                           const TrashEmptier::OnDeleted& onDeleted) const;

  /// The same of a dry run, by the sizes that are known before: what would be moved to the trash would be deleted.
  TrashEmptier::Result foresee(CleanupOutcome& outcome, const std::vector<CleanupCandidate>& candidates,
                               const TrashEmptier::OnDeleted& onDeleted) const;

 private:
  std::string others(bool apparentSize) const;

  TidraPathResolver resolver_;
  TrashEmptier emptier_;
};

/// "1 other entry deleted from the trash, 8 KB freed.\nThe trash is empty.\n"
std::string emptiedTrashText(const TrashEmptier::Result& result);

}  // namespace tidra
