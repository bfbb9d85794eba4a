// What a trash and a quarantine have in common: a record for each item, which says where the item came from.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "core/dispose/volumes.h"
#include "core/platform/held_folder.h"

namespace tidra {

/// The records of one kind of store: files named after the items, beside them or in another folder. A record is written
/// and flushed before its item moves in, and removed after the item has left, so that a crash leaves a record without
/// an item, never an item without a record.
struct StoreRecords {
  /// The next number of each name: avoids probing taken ones again. By record folder and name.
  using Numbers = std::map<std::string, int>;

  std::string_view suffix;          // of a record's file name, after the item's
  std::string_view name;            // "its info file"
  std::string_view place;           // "in the trash"
  std::string_view restoreCommand;  // "tidra trash restore"
  bool isRestoredByPath = false;    // the command takes the item's path, else its name

  std::string fileOf(std::string_view item) const;
  /// Returns the item of a record's file; nullopt for other files.
  std::optional<std::string> itemOf(std::string_view file) const;

  /// Moves an item into `items`, under `prefix`, its own name, shortened to fit, and a number if that is taken. Returns
  /// that name. Throws DisposalError, UnsafePathError or std::system_error: nothing has moved then and the record is
  /// gone, except after a lost race, when what() names where the other file is and how to restore it.
  std::string moveIn(const HeldEntry& entry, const StoreFolder& items, const StoreFolder& records,
                     const std::string& prefix, const std::string& record, Numbers& nextNumbers) const;

  /// Best effort: a record without an item is removed by the next purge.
  void drop(const StoreFolder& records, const std::string& item) const;

  /// Removes the record of an item that "was restored" or "was deleted", as `done` says; it may be gone already. Throws
  /// DisposalError.
  void remove(const StoreFolder& records, const std::string& item, std::string_view done) const;

 private:
  bool write(const StoreFolder& records, const std::string& item, const std::string& record) const;
};

}  // namespace tidra
