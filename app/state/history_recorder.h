// Writes what is removed into the history of removals, while it is removed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/state/removal_history.h"
#include "app/state/removal_journal.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/dispose/quarantine.h"
#include "core/platform/path_resolver.h"
#include "core/session/cleanup_session.h"

namespace tidra {

/// Records one run. Each item is in the run's journal before the next one goes, so that the history also knows what a
/// killed process removed. A history that cannot be written is a note, once: the removal goes on.
class HistoryRecorder {
 public:
  HistoryRecorder(RemovalCommand command, DisposalMethod method, TidraPathResolver resolver, TimePoint at);

  /// Returns the setting with this as a further listener of the removal. Must not outlive this.
  CleanupSetting watching(CleanupSetting setting);

  /// The removal of what is at this path begins, which would free so many bytes; for removals that are not watched.
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

  /// Writes the run, unless nothing was removed, and returns the bytes that it freed.
  std::int64_t write();

  /// Whether all that was written is in the history, so that an undo knows it.
  bool isKept() const { return isKept_; }

  /// Sentences: a damaged history was set aside, or the run could not be written.
  const std::set<std::string>& notes() const { return notes_; }
  /// Whether a note is about damage, so that an undo may not reach all that the history held.
  bool isAboutDamage(const std::string& note) const { return damage_.contains(note); }

 private:
  RemovalHistory history();
  void openJournal();
  void add(RemovedItem item);
  void add(const TidraDeletionFailure& failure);

  TidraPathResolver resolver_;
  RemovalRun run_;
  std::unique_ptr<RemovalJournal> journal_;  // null before the first item, and when it cannot be written
  bool isBegun_ = false;
  bool isKept_ = true;
  std::set<std::string> notes_;
  std::set<std::string> damage_;  // of the notes
};

}  // namespace tidra
