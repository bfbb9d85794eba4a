// The settings that tidra config shows and changes: one table.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/state/app_settings.h"
#include "core/platform/path_resolver.h"

namespace tidra {

struct KnownSetting {
  std::string_view key;
  std::string_view what;    // for people
  std::string_view values;  // what set() accepts
  std::string (*text)(const UserSettings&, const TidraPathResolver&);
  void (*set)(UserSettings&, const std::string& value, const TidraPathResolver&);  // throws InputError
  void (*copy)(UserSettings& to, const UserSettings& from);
};

/// Every setting, in the order of display.
const std::vector<KnownSetting>& knownSettings();

/// Throws InputError, which names every key, for an unknown one.
const KnownSetting& knownSetting(const std::string& key);

}  // namespace tidra
