#include "cli/known_settings.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/adopted_settings.h"
#include "cli/scan_options.h"
#include "core/base/nearest_word.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/directory_reader.h"

namespace tidra {
namespace {

using SettingSwitches = std::map<std::string, bool>;

[[noreturn]] void refuseValue(std::string_view key, const std::string& value, std::string_view known) {
  throw InputError(fmt::format("{} cannot be '{}'; write {}.", key, escapedForTerminal(value), known));
}

std::string settingText(bool value) { return value ? "true" : "false"; }

bool booleanOf(std::string_view key, const std::string& value) {
  if (value == "true" || value == "yes" || value == "on") return true;
  if (value == "false" || value == "no" || value == "off") return false;
  refuseValue(key, value, "true or false");
}

std::string settingText(const SettingSwitches& switches) {
  std::vector<std::string> on;
  std::vector<std::string> off{"all"};
  for (const auto& [key, isOn] : switches) {
    if (isOn) on.push_back(key);
    if (!isOn) off.push_back("-" + key);
  }
  return joined(off.size() <= on.size() ? off : on, ",");
}

template <auto field>
std::string sharedText(const UserSettings& settings, const TidraPathResolver&) {
  return settingText(settings.app.*field);
}

template <auto field>
void copyShared(UserSettings& to, const UserSettings& from) {
  to.app.*field = from.app.*field;
}

template <auto field>
void copyTerminal(UserSettings& to, const UserSettings& from) {
  to.terminal.*field = from.terminal.*field;
}

/// "npm,rust" switches these on and all others off; "all,-npm" all but npm.
SettingSwitches switchesOf(std::string_view key, const std::string& value, const SettingSwitches& every) {
  SettingSwitches switches = every;
  const auto words = splitNonEmpty(value, ',');
  const bool isSubtraction = !words.empty() && (words.front() == "all" || words.front().starts_with('-'));
  for (auto& [name, isOn] : switches) isOn = isSubtraction;
  for (std::string_view word : words) {
    if (word == "all" && word.data() == words.front().data()) continue;
    const bool isOn = !word.starts_with('-');
    if (!isOn) word.remove_prefix(1);
    const auto found = switches.find(std::string(word));
    if (found == switches.end() || isOn == isSubtraction) {
      std::vector<std::string> known;
      for (const auto& [name, unused] : every) known.push_back(name);
      refuseValue(key, value, fmt::format("all, some of {}, or all,-{}", joined(known, ", "), known.back()));
    }
    found->second = isOn;
  }
  const bool isEmpty = std::none_of(switches.begin(), switches.end(), [](const auto& each) { return each.second; });
  if (isEmpty) refuseValue(key, value, "at least one, or all");
  return switches;
}

std::string locationText(const UserSettings& settings, const TidraPathResolver& resolver) {
  switch (settings.app.defaultScanLocation) {
    case TidraScanDefaultLocation::entireMac:
      return "/";
    case TidraScanDefaultLocation::custom:
      return resolver.displayPath(settings.app.customScanPath);
    case TidraScanDefaultLocation::home:
      break;
  }
  return "home";
}

void setLocation(UserSettings& settings, const std::string& value, const TidraPathResolver& resolver) {
  settings.app.defaultScanLocation = TidraScanDefaultLocation::home;
  if (value == "home" || value == "~") return;
  const std::string path = absolutePath(value, resolver);
  if (!openDirectory(path)) refuseValue("location", value, "home, or a folder that can be opened");
  settings.app.defaultScanLocation =
      path == "/" ? TidraScanDefaultLocation::entireMac : TidraScanDefaultLocation::custom;
  settings.app.customScanPath = path;
}

Age thresholdOf(std::string_view key, const std::string& value, std::string_view known) {
  try {
    return parseAge(value);
  } catch (const InputError&) {
    refuseValue(key, value, known);
  }
}

void setInactive(UserSettings& settings, const std::string& value, const TidraPathResolver&) {
  constexpr std::string_view known = "months or years, such as 6mo";
  const Age given = thresholdOf("inactive-after", value, known);
  if (given.months < 1 || given.days.count() != 0) refuseValue("inactive-after", value, known);
  settings.app.inactiveThresholdMonths = given.months;
}

void setDormant(UserSettings& settings, const std::string& value, const TidraPathResolver&) {
  constexpr std::string_view known = "whole years, such as 2y";
  constexpr int monthsPerYear = 12;
  const Age given = thresholdOf("dormant-after", value, known);
  if (given.months < 1 || given.days.count() != 0 || given.months % monthsPerYear != 0) {
    refuseValue("dormant-after", value, known);
  }
  settings.app.dormantThresholdYears = given.months / monthsPerYear;
}

std::string methodText(const UserSettings& settings, const TidraPathResolver&) {
  return std::string(rawValue(defaultMethod(settings)));
}

void setMethod(UserSettings& settings, const std::string& value, const TidraPathResolver&) {
  settings.terminal.method = fromRawValue<DisposalMethod>(value);
  if (!settings.terminal.method) refuseValue("method", value, rawValueList<DisposalMethod>());
}

std::string tiersText(const UserSettings& settings, const TidraPathResolver&) {
  if (!settings.terminal.tiers) return "";
  std::vector<std::string> texts;
  for (const ArtifactSafetyTier tier : *settings.terminal.tiers) texts.emplace_back(rawValue(tier));
  return joined(texts, ",");
}

void setTiers(UserSettings& settings, const std::string& value, const TidraPathResolver&) {
  std::set<ArtifactSafetyTier> tiers;
  for (const auto word : splitNonEmpty(value, ',')) {
    const auto tier = fromRawValue<ArtifactSafetyTier>(word);
    if (!tier) refuseValue("tier", value, "some of " + rawValueList<ArtifactSafetyTier>());
    tiers.insert(*tier);
  }
  if (tiers.empty()) refuseValue("tier", value, "some of " + rawValueList<ArtifactSafetyTier>());
  settings.terminal.tiers = std::move(tiers);
}

void setMinimum(UserSettings& settings, const std::string& value, const TidraPathResolver&) {
  try {
    if (parseSize(value) < 0) refuseValue("min-size", value, "a size, such as 10M");
  } catch (const InputError&) {
    refuseValue("min-size", value, "a size, such as 10M");
  }
  settings.terminal.minimumSize = value;
}

void setOlderThan(UserSettings& settings, const std::string& value, const TidraPathResolver&) {
  thresholdOf("older-than", value, "an age, such as 6mo");
  settings.terminal.olderThan = value;
}

void setColor(UserSettings& settings, const std::string& value, const TidraPathResolver&) {
  if (value != "auto" && value != "always" && value != "never") refuseValue("color", value, "auto, always or never");
  settings.terminal.color = value;
}

std::vector<KnownSetting> makeSettingsTable() {
  return {
      {"location", "The folder that is scanned when none is named", "home or a folder", &locationText, &setLocation,
       [](UserSettings& to, const UserSettings& from) {
         to.app.defaultScanLocation = from.app.defaultScanLocation;
         to.app.customScanPath = from.app.customScanPath;
       }},
      {"ecosystem", "The ecosystems that are looked for", "all, a list, or all,-KEY",
       &sharedText<&TidraAppSettings::ecosystemsEnabled>,
       [](UserSettings& settings, const std::string& value, const TidraPathResolver&) {
         settings.app.ecosystemsEnabled = switchesOf("ecosystem", value, TidraAppSettings::everyEcosystem());
       },
       &copyShared<&TidraAppSettings::ecosystemsEnabled>},
      {"category", "The categories that are looked at outside projects", "all, a list, or all,-KEY",
       &sharedText<&TidraAppSettings::systemScanEnabled>,
       [](UserSettings& settings, const std::string& value, const TidraPathResolver&) {
         settings.app.systemScanEnabled = switchesOf("category", value, TidraAppSettings::everyCategory());
       },
       &copyShared<&TidraAppSettings::systemScanEnabled>},
      {"inactive-after", "Rest after which a project counts as inactive", "months, such as 6mo",
       [](const UserSettings& settings, const TidraPathResolver&) {
         return fmt::format("{}mo", settings.app.inactiveThresholdMonths);
       },
       &setInactive, &copyShared<&TidraAppSettings::inactiveThresholdMonths>},
      {"dormant-after", "Rest after which a project counts as dormant", "years, such as 2y",
       [](const UserSettings& settings, const TidraPathResolver&) {
         return fmt::format("{}y", settings.app.dormantThresholdYears);
       },
       &setDormant, &copyShared<&TidraAppSettings::dormantThresholdYears>},
      {"move-to-trash", "Removing means the trash; false: deleting at once", "true or false",
       &sharedText<&TidraAppSettings::moveToTrash>,
       [](UserSettings& settings, const std::string& value, const TidraPathResolver&) {
         settings.app.moveToTrash = booleanOf("move-to-trash", value);
       },
       &copyShared<&TidraAppSettings::moveToTrash>},
      {"empty-trash", "The trash is emptied after things were moved to it", "true or false",
       &sharedText<&TidraAppSettings::emptyTrashAfterDeletion>,
       [](UserSettings& settings, const std::string& value, const TidraPathResolver&) {
         settings.app.emptyTrashAfterDeletion = booleanOf("empty-trash", value);
       },
       &copyShared<&TidraAppSettings::emptyTrashAfterDeletion>},
      {"ask-before-scan", "The desktop application asks for the folder before every scan", "true or false",
       &sharedText<&TidraAppSettings::askBeforeEachScan>,
       [](UserSettings& settings, const std::string& value, const TidraPathResolver&) {
         settings.app.askBeforeEachScan = booleanOf("ask-before-scan", value);
       },
       &copyShared<&TidraAppSettings::askBeforeEachScan>},
      {"method", "How clean and plan remove things; overrides move-to-trash", "trash, quarantine or delete",
       &methodText, &setMethod, &copyTerminal<&TerminalDefaults::method>},
      {"tier", "The tiers that scan, clean and plan take; unset: all for scan, safe for the others", "a list",
       &tiersText, &setTiers, &copyTerminal<&TerminalDefaults::tiers>},
      {"min-size", "Smaller findings are left out", "a size, such as 10M",
       [](const UserSettings& settings, const TidraPathResolver&) {
         return settings.terminal.minimumSize.value_or("0");
       },
       &setMinimum, &copyTerminal<&TerminalDefaults::minimumSize>},
      {"older-than", "What was worked on since is left out", "an age, such as 6mo",
       [](const UserSettings& settings, const TidraPathResolver&) { return settings.terminal.olderThan.value_or(""); },
       &setOlderThan, &copyTerminal<&TerminalDefaults::olderThan>},
      {"color", "Colours in the output of the commands that scan", "auto, always or never",
       [](const UserSettings& settings, const TidraPathResolver&) { return settings.terminal.color.value_or("auto"); },
       &setColor, &copyTerminal<&TerminalDefaults::color>},
  };
}

}  // namespace

const std::vector<KnownSetting>& knownSettings() {
  static const std::vector<KnownSetting> table = makeSettingsTable();
  return table;
}

const KnownSetting& knownSetting(const std::string& key) {
  std::vector<std::string> keys;
  for (const KnownSetting& setting : knownSettings()) {
    if (setting.key == key) return setting;
    keys.emplace_back(setting.key);
  }
  throw InputError(fmt::format("Unknown setting '{}'; {}", escapedForTerminal(key), knownWordsText(key, keys)));
}

}  // namespace tidra
