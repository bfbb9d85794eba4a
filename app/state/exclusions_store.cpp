#include "app/state/exclusions_store.h"

#include <algorithm>
#include <random>

#include "core/base/json_fields.h"

namespace tidra {
namespace {

constexpr const char* exclusionsKey = "tidra.exclusions.v1";

using Entries = std::vector<ExclusionEntry>;

Entries decodedEntries(const std::optional<PreferencesStore::Value>& value) {
  const auto* text = value ? std::get_if<std::string>(&*value) : nullptr;
  if (text == nullptr) return {};
  try {
    return JsonCodec<Entries>::decode(parseJson(*text, "exclusions"), "exclusions");
  } catch (const DecodingError&) {
    return {};
  }
}

}  // namespace

std::string makeUuid() {
  std::random_device random;
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string uuid = "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
  for (char& c : uuid) {
    if (c == 'x') c = digits[random() % 16U];
    if (c == 'y') c = digits[8U + random() % 4U];
  }
  return uuid;
}

Entries ExclusionsStore::load() const { return decodedEntries(preferences_.value(exclusionsKey)); }

bool ExclusionsStore::add(const std::string& pathDisplay, ExclusionRowKind kind, TimePoint now) {
  return change([&](Entries& entries) {
    const auto isSame = [&](const ExclusionEntry& entry) { return entry.pathDisplay == pathDisplay; };
    if (std::any_of(entries.begin(), entries.end(), isSame)) return false;
    entries.push_back({makeUuid(), pathDisplay, kind, now});
    return true;
  });
}

bool ExclusionsStore::remove(const std::string& pathDisplay) {
  return change([&](Entries& entries) {
    return std::erase_if(entries, [&](const auto& entry) { return entry.pathDisplay == pathDisplay; }) > 0;
  });
}

bool ExclusionsStore::change(const std::function<bool(std::vector<ExclusionEntry>&)>& edit) {
  bool changed = false;
  preferences_.update(exclusionsKey, [&](const auto& value) -> std::optional<PreferencesStore::Value> {
    Entries entries = decodedEntries(value);
    changed = edit(entries);
    if (!changed) return std::nullopt;
    return jsonText(JsonCodec<Entries>::encode(entries), false);
  });
  return changed;
}

}  // namespace tidra
