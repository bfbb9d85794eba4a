#include "app/state/rule_sources.h"

#include <algorithm>

#include "app/state/app_settings.h"
#include "app/state/state_folders.h"
#include "core/platform/path_text.h"

namespace tidra {

std::string addedRulesFolder(const TidraPathResolver& resolver) {
  return joinedPath(stateFolders(currentPlatform, resolver).preferences, "rules.d");
}

RuleSources personalRules(const TidraPathResolver& resolver) {
  RuleSources sources;
  sources.addedFolder = addedRulesFolder(resolver);
  try {
    const auto preferences = openPreferences(resolver, [](const std::string&) {});
    const TidraAppSettings settings = SettingsStore(*preferences).load();
    sources.packs = settings.rulePacks.value_or(std::vector<std::string>{});
    sources.disabledRules = settings.disabledRules.value_or(std::vector<std::string>{});
  } catch (const PreferencesError&) {
    // No packs, fewer findings; and all rules.
  }
  return sources;
}

std::vector<const RulePack*> packsBeside(const std::vector<std::string>& names) {
  std::vector<const RulePack*> packs;
  for (const RulePack& pack : RulePack::all()) {
    if (std::find(names.begin(), names.end(), pack.name) == names.end()) packs.push_back(&pack);
  }
  return packs;
}

}  // namespace tidra
