#include "app/state/app_settings.h"

#include <algorithm>

#include "core/base/record_fields.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"

namespace tidra {
namespace {

constexpr const char* settingsKey = "tidra.appSettings.v1";
constexpr const char* terminalKey = "tidra.terminalDefaults.v1";

using Switches = std::map<std::string, bool>;

/// Returns the defaults when nothing is stored or what is stored does not decode.
template <class Record>
Record stored(const PreferencesStore& preferences, const char* key) {
  const auto text = preferences.bytes(key);
  if (!text) return {};
  try {
    return JsonCodec<Record>::decode(parseJson(*text, "settings"), "settings");
  } catch (const DecodingError&) {
    return {};
  }
}

/// Returns the record as JSON, with the members of the stored object that this version does not know.
template <class Record>
std::string merged(const PreferencesStore& preferences, const char* key, const Record& before, const Record& record) {
  auto document = nlohmann::json::object();
  try {
    const auto kept = parseJson(preferences.bytes(key).value_or("{}"), "settings");
    if (kept.is_object()) document = kept;
  } catch (const DecodingError&) {
    // Replaced: what does not decode counts as nothing stored.
  }
  const auto replaced = toJson(before);
  for (const auto& [name, value] : replaced.items()) document.erase(name);
  document.update(toJson(record));
  return jsonText(document, false);
}

}  // namespace

Switches TidraAppSettings::everyEcosystem() {
  Switches switches;
  for (const auto& ecosystem : ecosystemTable) switches.emplace(ecosystem.key, true);
  return switches;
}

Switches TidraAppSettings::everyCategory() {
  Switches switches;
  for (const auto& category : systemScanCategoryTable) switches.emplace(category.key, true);
  return switches;
}

ActivityThresholds TidraAppSettings::thresholds() const {
  constexpr int monthsPerYear = 12;
  constexpr int mostYears = 1000000;
  return {std::clamp(dormantThresholdYears, 1, mostYears) * monthsPerYear, std::max(inactiveThresholdMonths, 1)};
}

template <>
constexpr auto fieldsOf<TidraAppSettings> = recordFields(
    fieldOrDefault("defaultScanLocation", &TidraAppSettings::defaultScanLocation),
    bytesFieldOrDefault("customScanPath", &TidraAppSettings::customScanPath),
    fieldOrDefault("askBeforeEachScan", &TidraAppSettings::askBeforeEachScan),
    fieldOrDefault("ecosystemsEnabled", &TidraAppSettings::ecosystemsEnabled),
    fieldOrDefault("dormantThresholdYears", &TidraAppSettings::dormantThresholdYears),
    fieldOrDefault("inactiveThresholdMonths", &TidraAppSettings::inactiveThresholdMonths),
    fieldOrDefault("moveToTrash", &TidraAppSettings::moveToTrash),
    fieldOrDefault("emptyTrashAfterDeletion", &TidraAppSettings::emptyTrashAfterDeletion),
    fieldOrDefault("systemScanEnabled", &TidraAppSettings::systemScanEnabled),
    field("rulePacks", &TidraAppSettings::rulePacks), field("disabledRules", &TidraAppSettings::disabledRules));

template struct RecordCodec<TidraAppSettings>;

template <>
constexpr auto fieldsOf<TerminalDefaults> = recordFields(field("color", &TerminalDefaults::color),
                                                         field("method", &TerminalDefaults::method),
                                                         field("minimumSize", &TerminalDefaults::minimumSize),
                                                         field("olderThan", &TerminalDefaults::olderThan),
                                                         field("tiers", &TerminalDefaults::tiers));

template struct RecordCodec<TerminalDefaults>;

TidraAppSettings SettingsStore::load() const { return stored<TidraAppSettings>(preferences_, settingsKey); }

void SettingsStore::save(const TidraAppSettings& settings) {
  preferences_.apply({{settingsKey, compactJson(settings)}});
}

UserSettings SettingsStore::loadAll() const { return {load(), stored<TerminalDefaults>(preferences_, terminalKey)}; }

void SettingsStore::change(const std::function<void(UserSettings&)>& edit) {
  const auto changes = [&]() -> PreferencesStore::Changes {
    const UserSettings before = loadAll();
    UserSettings after = before;
    edit(after);
    PreferencesStore::Changes made;
    if (after.app != before.app) made[settingsKey] = merged(preferences_, settingsKey, before.app, after.app);
    if (after.terminal != before.terminal) {
      made[terminalKey] = merged(preferences_, terminalKey, before.terminal, after.terminal);
    }
    return made;
  };
  preferences_.transact(changes, [] {});
}

}  // namespace tidra
