// Where the state lives on each platform.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app/state/preferences_store.h"
#include "core/platform/path_resolver.h"
#include "core/platform/platform.h"

namespace tidra {

/// Linux: the XDG base directories; macOS: Application Support.
StateFolders stateFolders(TidraPlatform platform, const TidraPathResolver& resolver);

/// The user's preferences on this platform. `onNote` is called with sentences for people, such as that a damaged file
/// was set aside.
std::unique_ptr<PreferencesStore> openPreferences(const TidraPathResolver& resolver,
                                                  std::function<void(const std::string&)> onNote);

}  // namespace tidra
