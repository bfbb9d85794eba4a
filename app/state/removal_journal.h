// A removal that is under way: what a process has removed so far, for the case that it is killed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/state/removal_history.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/file_lock.h"

namespace tidra {

/// A journal that no process holds any more.
struct LeftJournal {
  std::string path;
  RemovalRun run;          // as far as it came, within the bounds of the history; without items if nothing was removed
  bool isDamaged = false;  // part of it cannot be read, or it is no regular file of the user
};

/// The file of one run: a line of JSON for the run, and one for each step, appended as it happens. The process holds a
/// lock on it while it lives; an unlocked one belongs to a process that ended early, and the history takes it over.
/// Not flushed to disk: it survives the process, not necessarily a power cut. Best effort: after a failed write nothing
/// more is appended. docs/state.md describes it.
class RemovalJournal {
 public:
  /// Creates the file in the folder of the history, whose lock the caller holds. Throws std::system_error.
  RemovalJournal(const std::string& folder, const RemovalRun& run);

  /// Records that the removal of an item begins. `freeableBytes`: what it would free.
  void begin(const std::string& path, std::optional<std::int64_t> freeableBytes = {});
  void add(const RemovedItem& item);
  void add(const TidraDeletionFailure& failure);

  const std::string& path() const { return path_; }

  /// Returns the journals in the folder that no process holds any more, oldest first.
  static std::vector<LeftJournal> leftIn(const std::string& folder);

 private:
  void append(const std::string& line);

  std::string path_;
  FileLock lock_;
  FileDescriptor file_;
};

}  // namespace tidra
