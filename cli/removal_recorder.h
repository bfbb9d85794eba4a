// Writes what a command removes into the history of removals, while it removes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "app/state/removal_history.h"
#include "app/state/removal_journal.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/dispose/quarantine.h"
#include "core/platform/path_resolver.h"
#include "core/session/cleanup_session.h"

namespace tidra {

/// The user's history; a damaged file that is set aside is noted on standard error.
RemovalHistory removalHistory(const TidraPathResolver& resolver);

/// Marks in the history what was moved back from trash or quarantine, so that an undo goes on to the removal before. A
/// history that cannot be written is a note.
void recordRestored(const std::vector<MovedBack>& items, const TidraPathResolver& resolver);

/// Records one command. Each item is in the run's journal before the next one goes, so that the history also knows
/// what a killed command removed. A history that cannot be written is a note, once: the removal goes on.
class RemovalRecorder {
 public:
  RemovalRecorder(RemovalCommand command, DisposalMethod method, const TidraPathResolver& resolver, TimePoint at);

  /// Returns the setting with this as a further listener of the removal. Must not outlive this.
  CleanupSetting watching(CleanupSetting setting);

  /// The removal of what is at this path begins, for commands that are not watched.
  void begin(const std::string& path, std::int64_t freeableBytes);
  /// Adds a deletion that was cut short. Its failure is known by then.
  void addPartial(const PartialRemoval& partial);
  /// Adds an item that was deleted from the trash or the quarantine, measured.
  void addPurged(const FreedesktopTrash::Entry& entry);
  void addPurged(const QuarantineDisposer::Entry& entry);
  void addPurged(const std::string& path, std::optional<std::int64_t> bytes, std::int64_t freedBytes);
  void addFailures(const std::vector<TidraDeletionFailure>& failures);
  /// What was moved to this place in the trash is deleted since, or a part of it.
  void setDeleted(const std::string& destination, std::int64_t freedBytes, bool isPartial = false);

  /// Writes the run, unless nothing was removed.
  void write();

  /// Whether all that was written is in the history, so that an undo knows it.
  bool isKept() const { return isKept_; }

 private:
  void openJournal();
  void add(RemovedItem item);
  void add(const TidraDeletionFailure& failure);

  TidraPathResolver resolver_;
  RemovalRun run_;
  std::unique_ptr<RemovalJournal> journal_;  // null before the first item, and when it cannot be written
  bool isBegun_ = false;
  bool isKept_ = true;
};

}  // namespace tidra
