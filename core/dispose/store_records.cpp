#include "core/dispose/store_records.h"

#include <fmt/format.h>

#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/platform/files.h"
#include "core/platform/folder_entries.h"

namespace tidra {

std::string StoreRecords::fileOf(std::string_view item) const { return fmt::format("{}{}", item, suffix); }

std::optional<std::string> StoreRecords::itemOf(std::string_view file) const {
  if (!file.ends_with(suffix)) return std::nullopt;
  file.remove_suffix(suffix.size());
  return namesAnEntry(file) ? std::optional(std::string(file)) : std::nullopt;
}

void StoreRecords::drop(const StoreFolder& records, const std::string& item) const {
  static_cast<void>(removeFileEntry(records.descriptor(), fileOf(item).c_str()));
}

void StoreRecords::remove(const StoreFolder& records, const std::string& item, std::string_view done) const {
  const auto reason = removeFileEntry(records.descriptor(), fileOf(item).c_str());
  if (!reason || reason == std::errc::no_such_file_or_directory) return;
  throw DisposalError(fmt::format("{}, but {} stays {}: {}", done, name, place, reason.message()));
}

/// Returns false if there is a record of that name.
bool StoreRecords::write(const StoreFolder& records, const std::string& item, const std::string& record) const {
  const auto file = makeFileEntry(records.descriptor(), fileOf(item).c_str());
  auto reason = file.failure();
  if (!file && reason == std::errc::file_exists) return false;
  if (!reason) reason = writeDurably(*file, record);
  if (!reason) reason = flushEntries(records.descriptor());
  if (!reason) return true;
  if (file) drop(records, item);
  throw DisposalError(fmt::format("{} in {} cannot be written: {}", name, escapedForTerminal(records.folder.path),
                                  storeMessage(reason)));
}

std::string StoreRecords::moveIn(const HeldEntry& entry, const StoreFolder& items, const StoreFolder& records,
                                 const std::string& prefix, const std::string& record, Numbers& nextNumbers) const {
  constexpr std::size_t numberLength = 10;
  const std::string stem = prefix + shortenedName(entry.name, prefix.size() + suffix.size() + numberLength);
  int& number = nextNumbers.try_emplace(records.pathOf(stem), 1).first->second;
  for (;; ++number) {
    std::string item = number == 1 ? stem : fmt::format("{}.{}", stem, number);
    if (entryFacts(items.descriptor(), item.c_str()) || !write(records, item, record)) continue;
    try {
      if (!moveIntoStore(entry, items, item, deleteInstead)) return item;
    } catch (const StrayedError& error) {
      // The record stays, so that the moved file is listed and can be restored.
      throw DisposalError(fmt::format("{}; {} {} brings it back", error.what(), restoreCommand,
                                      escapedForTerminal(isRestoredByPath ? items.pathOf(item) : item)));
    } catch (...) {
      drop(records, item);
      throw;
    }
    drop(records, item);  // something without a record came to have the name
  }
}

}  // namespace tidra
