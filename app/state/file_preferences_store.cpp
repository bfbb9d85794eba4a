#include "app/state/file_preferences_store.h"

#include <utility>
#include <vector>

#include "app/state/state_folders.h"
#include "core/base/byte_units.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/file_lock.h"
#include "core/platform/files.h"
#include "core/platform/folder_entries.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr std::size_t mostPreferencesBytes = 64_MiB;

/// Bytes are encoded as {"text": …}, as {"base64": …} when they are not UTF-8; dates as {"date": …}.
nlohmann::json encodeValue(const PreferencesStore::Value& value) {
  if (const bool* boolean = std::get_if<bool>(&value)) return *boolean;
  if (const TimePoint* date = std::get_if<TimePoint>(&value)) return {{"date", iso8601(*date)}};
  const auto& bytes = std::get<std::string>(value);
  if (isValidUtf8(bytes)) return {{"text", bytes}};
  return {{"base64", base64Encoded(bytes)}};
}

/// Absent for a kind of value that this version does not know.
std::optional<PreferencesStore::Value> decodeValue(const nlohmann::json& value) {
  if (value.is_boolean()) return value.get<bool>();
  if (!value.is_object() || value.size() != 1 || !value.begin()->is_string()) return std::nullopt;
  const auto& text = value.begin()->get_ref<const std::string&>();
  if (value.begin().key() == "text") return text;
  if (value.begin().key() == "base64") {
    if (auto bytes = base64Decoded(text)) return std::move(*bytes);
  }
  if (value.begin().key() == "date") {
    if (const auto date = fromIso8601(text)) return *date;
  }
  return std::nullopt;
}

std::optional<PreferencesStore::Value> valueIn(const nlohmann::json& document, const std::string& key) {
  const auto found = document.find(key);
  return found == document.end() ? std::nullopt : decodeValue(*found);
}

/// Whether a path ends at a symbolic link whose target is missing: a file may well exist there at other times.
bool endsAtDanglingLink(std::string path) {
  while (path != "/" && !pathFacts(path)) path = parentPath(path);
  return !followedFacts(path);
}

}  // namespace

FilePreferencesStore::FilePreferencesStore(std::string path, std::function<void(const std::string&)> onNote)
    : path_(std::move(path)), onNote_(std::move(onNote)) {}

/// None when the file is damaged.
std::optional<nlohmann::json> FilePreferencesStore::load() const {
  const auto text = readRegularFile(path_, mostPreferencesBytes);
  if (!text && text.failure() == std::errc::no_such_file_or_directory && !endsAtDanglingLink(path_)) {
    return nlohmann::json::object();
  }
  if (!text) {
    const bool noFile = text.failure() == std::errc::invalid_argument;
    throw PreferencesError(fmt::format("The preferences {} cannot be read: {}.", path_,
                                       noFile ? "not a regular file" : text.failure().message()));
  }
  try {
    auto document = parseJson(*text, path_);
    requireObject(document, path_);
    return document;
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

std::optional<PreferencesStore::Value> FilePreferencesStore::value(const std::string& key) const {
  const auto document = load();
  if (document) return valueIn(*document, key);
  if (!std::exchange(damageReported_, true)) {
    onNote_(fmt::format("The preferences {} are damaged, so exclusions kept there do not count.", path_));
  }
  return std::nullopt;
}

bool FilePreferencesStore::isDamaged() const { return !load(); }

/// Runs `act` under the lock.
void FilePreferencesStore::locked(const std::function<void()>& act) const {
  try {
    makeStateFolder(parentPath(path_));
    const FileLock lock(path_ + ".lock");
    removeLeftovers(path_);
    act();
  } catch (const std::system_error& error) {
    throw PreferencesError(fmt::format("The preferences were not saved: {}.", error.what()));
  }
}

void FilePreferencesStore::transact(const std::function<Changes()>& prepare, const std::function<void()>& finish) {
  locked([&] {
    if (!load()) {
      throw PreferencesError(
          fmt::format("The preferences {} are damaged and stay as they are, so nothing is saved there.", path_));
    }
    const Changes changes = prepare();
    auto document = load().value_or(nlohmann::json::object());
    for (const auto& [key, value] : changes) {
      if (value) {
        document[key] = encodeValue(*value);
      } else {
        document.erase(key);
      }
    }
    if (!changes.empty()) replacePrivateFile(path_, jsonText(document, true) + "\n", onNote_);
    finish();
  });
}

void FilePreferencesStore::repair() {
  if (load()) return;
  locked([&] {
    if (load()) return;
    const std::string kept = setAside(path_, ".damaged");
    onNote_(
        fmt::format("The preferences {} were damaged; they are kept as {} and replaced by new ones. What was excluded "
                    "there no longer is.",
                    path_, kept));
  });
}

void FilePreferencesStore::removeLeftovers(const std::string& path) {
  const auto real = realPath(path);
  const std::string target = real ? *real : path;
  const std::string start = fmt::format(".{}.", lastPathComponent(target));
  constexpr std::size_t randomPart = 6;
  const auto folder = openDirectory(parentPath(target));
  if (!folder) return;
  std::vector<std::string> leftovers;
  DirectoryReader reader;
  reader.start(folder->get());
  for (DirectoryEntry entry; reader.next(entry);) {
    const bool isLeftover = entry.type == EntryType::regularFile && entry.name.starts_with(start) &&
                            entry.name.size() == start.size() + randomPart;
    if (isLeftover) leftovers.emplace_back(entry.name);
  }
  // Best effort: the next write tries again.
  for (const std::string& name : leftovers) static_cast<void>(removeFileEntry(folder->get(), name.c_str()));
}

}  // namespace tidra
