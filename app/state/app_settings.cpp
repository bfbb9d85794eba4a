#include "app/state/app_settings.h"

#include <algorithm>

#include "core/base/record_fields.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"

namespace tidra {
namespace {

constexpr const char* settingsKey = "tidra.appSettings.v1";

using Switches = std::map<std::string, bool>;

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
constexpr auto fieldsOf<TidraAppSettings> =
    recordFields(fieldOrDefault("defaultScanLocation", &TidraAppSettings::defaultScanLocation),
                 bytesFieldOrDefault("customScanPath", &TidraAppSettings::customScanPath),
                 fieldOrDefault("askBeforeEachScan", &TidraAppSettings::askBeforeEachScan),
                 fieldOrDefault("ecosystemsEnabled", &TidraAppSettings::ecosystemsEnabled),
                 fieldOrDefault("dormantThresholdYears", &TidraAppSettings::dormantThresholdYears),
                 fieldOrDefault("inactiveThresholdMonths", &TidraAppSettings::inactiveThresholdMonths),
                 fieldOrDefault("moveToTrash", &TidraAppSettings::moveToTrash),
                 fieldOrDefault("emptyTrashAfterDeletion", &TidraAppSettings::emptyTrashAfterDeletion),
                 fieldOrDefault("systemScanEnabled", &TidraAppSettings::systemScanEnabled),
                 field("rulePacks", &TidraAppSettings::rulePacks));

template struct RecordCodec<TidraAppSettings>;

TidraAppSettings SettingsStore::load() const {
  const auto text = preferences_.bytes(settingsKey);
  if (!text) return {};
  try {
    return JsonCodec<TidraAppSettings>::decode(parseJson(*text, "settings"), "settings");
  } catch (const DecodingError&) {
    return {};
  }
}

void SettingsStore::save(const TidraAppSettings& settings) {
  preferences_.apply({{settingsKey, compactJson(settings)}});
}

void SettingsStore::change(const std::function<void(TidraAppSettings&)>& edit) {
  preferences_.transact(
      [&] {
        TidraAppSettings settings = load();
        edit(settings);
        return PreferencesStore::Changes{{settingsKey, compactJson(settings)}};
      },
      [] {});
}

}  // namespace tidra
