#include "app/state/file_preferences_store.h"

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/file_lock.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr unsigned ownerOnly = 0600;
constexpr std::size_t longestFile = 64 * 1024 * 1024;

/// Bytes are an object with "text" or, where they are no text, "base64"; dates an object with "date".
nlohmann::json encodeValue(const PreferencesStore::Value& value) {
  if (const bool* boolean = std::get_if<bool>(&value)) return *boolean;
  if (const TimePoint* date = std::get_if<TimePoint>(&value)) return {{"date", iso8601(*date)}};
  const auto& bytes = std::get<std::string>(value);
  if (isValidUtf8(bytes)) return {{"text", bytes}};
  return {{"base64", base64Encoded(bytes)}};
}

/// Absent for a value of a kind that this build does not know.
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

}  // namespace

FilePreferencesStore::FilePreferencesStore(std::string path, std::function<void(const std::string&)> onNote)
    : path_(std::move(path)), onNote_(std::move(onNote)) {}

nlohmann::json FilePreferencesStore::load(bool mayRepair) const {
  const auto text = readRegularFile(path_, longestFile);
  if (!text && text.failure() == std::errc::no_such_file_or_directory) return nlohmann::json::object();
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
    if (mayRepair) {
      const std::string kept = setAside(path_, ".damaged");
      onNote_(fmt::format("The preferences {} were damaged; they are kept as {} and begun anew.", path_, kept));
    }
    return nlohmann::json::object();
  }
}

std::optional<PreferencesStore::Value> FilePreferencesStore::value(const std::string& key) const {
  return valueIn(load(false), key);
}

void FilePreferencesStore::apply(const Changes& changes) {
  rewrite([&](nlohmann::json& document) {
    for (const auto& [key, value] : changes) {
      if (value) {
        document[key] = encodeValue(*value);
      } else {
        document.erase(key);
      }
    }
    return true;
  });
}

void FilePreferencesStore::update(const std::string& key,
                                  const std::function<std::optional<Value>(const std::optional<Value>&)>& change) {
  rewrite([&](nlohmann::json& document) {
    const auto value = change(valueIn(document, key));
    if (value) document[key] = encodeValue(*value);
    return value.has_value();
  });
}

/// Reads the file, lets `change` work on it and, when that says so, writes it; all under the lock.
void FilePreferencesStore::rewrite(const std::function<bool(nlohmann::json&)>& change) {
  try {
    makePrivateFolders(parentPath(path_));
    const FileLock lock(path_ + ".lock");
    auto document = load(true);
    if (change(document)) replaceFile(path_, jsonText(document, true) + "\n", ownerOnly);
  } catch (const std::system_error& error) {
    throw PreferencesError(fmt::format("The preferences were not saved: {}.", error.what()));
  }
}

}  // namespace tidra
