// Emptying the trash after a removal: what goes with it is read before the question, and nothing that came into the
// trash after that is deleted, but for what the removal itself has moved there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/state/history_recorder.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/platform/mount_table.h"
#include "core/platform/platform.h"
#include "core/session/cleanup_session.h"

namespace tidra {

/// The trashes among the items of a removal, by their folders "files": what goes with each, measured.
using WholeTrashes = std::map<std::string, FreedesktopTrash::Choice>;

/// Reads the trashes among the candidates. Skips entries added after `seenAt` and unreadable trashes, whose removal
/// says why.
WholeTrashes wholeTrashesAmong(const std::vector<CleanupCandidate>& candidates, TimePoint now, TimePoint seenAt,
                               bool includesUndated);

/// "Interrupted; 3 entries of the trash are deleted, 1 is deleted in part, 5 that were to go are still in it."
std::string interruptedText(const FreedesktopTrash::Purged& purged);

/// Adds the entries that went with a trash, one by one.
void recordEmptiedTrashes(const WholeTrashes& emptied, HistoryRecorder& recorder);

class TrashEmptier {
 public:
  /// False where the desktop's trash cannot be read.
  static constexpr bool isReadable = currentPlatform != TidraPlatform::macOS;

  /// Reads what is in the trashes, without those with the folders `others`.
  TrashEmptier(const TidraPathResolver& resolver, const std::vector<MountPoint>& mounts, TimePoint now,
               bool includesUndated, const std::set<std::string>& others = {});

  /// What emptying deletes for good besides what is moved there meanwhile, measured; and what nothing dates, which
  /// stays unless the user agrees to it.
  const FreedesktopTrash::Choice& seen() const { return seen_; }

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

    void addOther(const FreedesktopTrash::Entry& entry, TimePoint now, const OnDeleted& onDeleted);
  };

  /// Empties the trash. In `outcome` and in the history, what was moved there becomes deleted, in part where that was
  /// cut short; an interruption is one of the outcome. The other entries are a run of their own, in `ofOthers`. Writes
  /// both, so that nothing may be added to them afterwards.
  Result run(CleanupOutcome& outcome, HistoryRecorder& recorder, HistoryRecorder& ofOthers, TimePoint now,
             bool includesUndated, const std::function<bool()>& shouldCancel, const OnDeleted& onDeleted = {}) const;

 private:
  bool isMeant(const FreedesktopTrash::Entry& entry, const CleanupOutcome& outcome) const;

  TidraPathResolver resolver_;
  std::vector<MountPoint> mounts_;
  FreedesktopTrash::Choice seen_;
};

}  // namespace tidra
