#include "app/state/app_settings.h"

#include <algorithm>

#include "core/base/json_fields.h"
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

nlohmann::json JsonCodec<TidraAppSettings>::encode(const TidraAppSettings& settings) {
  nlohmann::json object{
      {"defaultScanLocation", rawValue(settings.defaultScanLocation)},
      {"askBeforeEachScan", settings.askBeforeEachScan},
      {"ecosystemsEnabled", settings.ecosystemsEnabled},
      {"dormantThresholdYears", settings.dormantThresholdYears},
      {"inactiveThresholdMonths", settings.inactiveThresholdMonths},
      {"moveToTrash", settings.moveToTrash},
      {"emptyTrashAfterDeletion", settings.emptyTrashAfterDeletion},
      {"systemScanEnabled", settings.systemScanEnabled},
  };
  putBytes(object, "customScanPath", settings.customScanPath);
  return object;
}

TidraAppSettings JsonCodec<TidraAppSettings>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  const TidraAppSettings defaults;
  return {.defaultScanLocation = object.valueOr("defaultScanLocation", defaults.defaultScanLocation),
          .customScanPath = object.optionalBytes("customScanPath").value_or(""),
          .askBeforeEachScan = object.valueOr("askBeforeEachScan", defaults.askBeforeEachScan),
          .ecosystemsEnabled = object.valueOr("ecosystemsEnabled", defaults.ecosystemsEnabled),
          .dormantThresholdYears = object.valueOr("dormantThresholdYears", defaults.dormantThresholdYears),
          .inactiveThresholdMonths = object.valueOr("inactiveThresholdMonths", defaults.inactiveThresholdMonths),
          .moveToTrash = object.valueOr("moveToTrash", defaults.moveToTrash),
          .emptyTrashAfterDeletion = object.valueOr("emptyTrashAfterDeletion", defaults.emptyTrashAfterDeletion),
          .systemScanEnabled = object.valueOr("systemScanEnabled", defaults.systemScanEnabled)};
}

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
  preferences_.apply({{settingsKey, jsonText(JsonCodec<TidraAppSettings>::encode(settings), false)}});
}

}  // namespace tidra
