// Writes what a command removes into the history of removals.
#pragma once

#include <string>

#include "app/state/removal_history.h"
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

/// Collects the items of one command.
class RemovalRecorder {
 public:
  RemovalRecorder(RemovalCommand command, DisposalMethod method, const TidraPathResolver& resolver, TimePoint at);

  /// `candidates` are those that the outcome is of.
  void add(const CleanupOutcome& outcome, const std::vector<CleanupCandidate>& candidates);
  /// Adds an item that was deleted from the trash or the quarantine, measured.
  void addPurged(const FreedesktopTrash::Entry& entry);
  void addPurged(const QuarantineDisposer::Entry& entry);
  void addFailures(const std::vector<TidraDeletionFailure>& failures);

  /// Writes the run, unless nothing was removed, and returns the bytes that it freed. A history that cannot be written
  /// is a note: the removal is done.
  std::int64_t write();

 private:
  void add(RemovedItem item);
  void addPurged(const std::string& path, std::optional<std::int64_t> bytes, std::int64_t freedBytes);

  TidraPathResolver resolver_;
  RemovalRun run_;
};

}  // namespace tidra
