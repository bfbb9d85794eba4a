#include "app/state/exclusions_store.h"

#include <algorithm>

#include "core/base/json_fields.h"
#include "core/base/uuid.h"

namespace tidra {
namespace {

constexpr const char* exclusionsKey = "tidra.exclusions.v1";

constexpr const char* setAsideKey = "tidra.exclusions.v1.damaged";

/// The stored array, empty when the key is absent; none when the value is not a JSON array.
std::optional<nlohmann::json> storedRows(const std::optional<PreferencesStore::Value>& value) {
  if (!value) return nlohmann::json::array();
  const auto* text = std::get_if<std::string>(&*value);
  if (text == nullptr) return std::nullopt;
  try {
    auto rows = parseJson(*text, "exclusions");
    requireArray(rows, "exclusions");
    return rows;
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

std::optional<ExclusionEntry> decodedRow(const nlohmann::json& row) {
  try {
    return JsonCodec<ExclusionEntry>::decode(row, "exclusion");
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

bool hasText(const nlohmann::json& row, const std::string& pathDisplay) {
  const auto entry = decodedRow(row);
  return entry && entry->pathDisplay == pathDisplay;
}

}  // namespace

std::vector<ExclusionEntry> ExclusionsStore::load() const {
  std::vector<ExclusionEntry> entries;
  const auto rows = storedRows(preferences_.value(exclusionsKey));
  if (!rows) return entries;
  for (const auto& row : *rows) {
    if (auto entry = decodedRow(row)) entries.push_back(std::move(*entry));
  }
  return entries;
}

void ExclusionsStore::requireComplete() const {
  const auto rows = storedRows(preferences_.value(exclusionsKey));
  if (preferences_.isDamaged()) {
    throw PreferencesError("The preferences are damaged, so it is unknown what is excluded.");
  }
  const bool isComplete =
      rows && std::all_of(rows->begin(), rows->end(), [](const auto& row) { return decodedRow(row).has_value(); });
  if (!isComplete) throw PreferencesError("The preferences hold exclusions that this version cannot read.");
}

bool ExclusionsStore::add(const std::string& pathDisplay, ExclusionRowKind kind, TimePoint now) {
  return change([&](nlohmann::json& rows) {
    for (const auto& row : rows) {
      if (hasText(row, pathDisplay)) return false;
    }
    rows.push_back(toJson(ExclusionEntry{makeUuid(), pathDisplay, kind, now}));
    return true;
  });
}

bool ExclusionsStore::remove(const std::string& pathDisplay) {
  return change([&](nlohmann::json& rows) {
    auto kept = nlohmann::json::array();
    for (const auto& row : rows) {
      if (!hasText(row, pathDisplay)) kept.push_back(row);
    }
    const bool changed = kept.size() < rows.size();
    rows = std::move(kept);
    return changed;
  });
}

bool ExclusionsStore::change(const std::function<bool(nlohmann::json&)>& edit) {
  bool changed = false;
  bool isSetAside = false;
  const auto prepare = [&]() -> PreferencesStore::Changes {
    const auto stored = preferences_.value(exclusionsKey);
    auto rows = storedRows(stored);
    isSetAside = !rows;
    if (!rows) rows = nlohmann::json::array();
    changed = edit(*rows);
    if (!changed) return {};
    PreferencesStore::Changes changes{{exclusionsKey, jsonText(*rows, false)}};
    if (isSetAside) changes.emplace(setAsideKey, stored);
    return changes;
  };
  preferences_.repair();
  preferences_.transact(prepare, [] {});
  if (changed && isSetAside && onNote_) {
    onNote_(
        fmt::format("The exclusions kept so far were no list; they are kept as {} in the preferences.", setAsideKey));
  }
  return changed;
}

}  // namespace tidra
