// Finds the items of the history in trash and quarantine: by place, origin and date, since another program may have put
// something else into the same place.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/state/removal_history.h"
#include "cli/stored_entries.h"
#include "core/base/json_codec.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/dispose/quarantine.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// Purges end what earlier removals moved away; they are no removals to undo by themselves.
bool isPurge(const RemovalRun& run);

/// Returns the index of the entry that the item is; absent when the store does not hold it.
std::optional<std::size_t> entryOf(const RemovedItem& item, const std::vector<StoredEntry>& entries);

/// Whether another entry lies where the item went.
bool isTakenByOther(const RemovedItem& item, const std::vector<StoredEntry>& entries);

/// Writes a note if another entry lies where the item went.
void noteTakenByOther(const RemovedItem& item, const std::vector<StoredEntry>& entries,
                      const TidraPathResolver& resolver);

/// Returns the index of each entry that the newest removal moved there by `method` and that is still there; none if
/// that removal moved nothing there. A note names each other entry in the place of one. Throws PreferencesError.
std::vector<std::size_t> entriesOfLastRemoval(const std::vector<StoredEntry>& entries, DisposalMethod method,
                                              const TidraPathResolver& resolver);

/// What a purge deleted, in its JSON.
struct PurgedEntry {
  std::string path;                         // in the store
  std::optional<std::string> originalPath;  // as far as it is known
};

template <>
struct JsonCodec<PurgedEntry> {
  static void write(JsonWriter& out, const PurgedEntry& entry);
};

std::vector<StoredEntry> namesOf(const std::vector<FreedesktopTrash::Entry>& entries);
std::vector<StoredEntry> namesOf(const std::vector<QuarantineDisposer::Entry>& entries);

/// What the stores hold by now of what the history names; reads each store once.
class StoredRemovals {
 public:
  explicit StoredRemovals(TidraPathResolver resolver) : resolver_(std::move(resolver)) {}

  /// Whether the item has left its store. A store that cannot be seen, as on a volume that is not there, counts as
  /// holding it.
  bool isGone(const RemovedItem& item);

 private:
  const std::vector<StoredEntry>& entriesIn(const std::string& folder, DisposalMethod method);

  TidraPathResolver resolver_;
  std::map<std::string, std::vector<StoredEntry>> entries_;  // by the folder that holds them
};

}  // namespace tidra
