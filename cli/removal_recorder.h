// Writes what a command removes into the history of removals.
#pragma once

#include <string>

#include "app/state/removal_history.h"
#include "core/platform/path_resolver.h"
#include "core/session/cleanup_session.h"

namespace tidra {

/// The user's history; a damaged file that is set aside is noted on standard error.
RemovalHistory removalHistory(const TidraPathResolver& resolver);

/// Collects the items of one command.
class RemovalRecorder {
 public:
  RemovalRecorder(RemovalCommand command, DisposalMethod method, const TidraPathResolver& resolver, TimePoint at);

  /// Returns the setting with every result collected as well. The recorder must outlive the removal.
  CleanupSetting watching(CleanupSetting setting);

  /// Adds an item that was deleted from a store. Its path is where it came from, or where it lay if that is not known.
  void addPurged(const std::string& path, std::optional<std::int64_t> bytes, std::int64_t freedBytes);
  void addFailures(const std::vector<TidraDeletionFailure>& failures);

  /// Writes the run, unless nothing was removed. A history that cannot be written is a note: the removal is done.
  void write();

 private:
  void add(RemovedItem item);

  TidraPathResolver resolver_;
  RemovalRun run_;
};

}  // namespace tidra
