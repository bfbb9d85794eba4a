// Where the state lives on each platform.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

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

/// Creates a folder of state with its missing parents, mode 0700; sets that mode on an existing one that others can
/// write to, where the file system has permissions. Throws PreferencesError when the folder, or a link on the way to
/// it, belongs to another user; std::system_error that names the path when it cannot be made.
void makeStateFolder(const std::string& path);

/// Whether a file in a folder of state may be believed: it belongs to the running user, to root or to the folder's
/// owner. Follows symbolic links; true if there is no file.
[[nodiscard]] bool isOwnState(const std::string& path);

/// Replaces a file of the running user, mode 0600. Calls `onNote` once, on creation, if others can read it all the same
/// because the file system ignores permissions. Throws std::system_error.
void replacePrivateFile(const std::string& path, std::string_view bytes,
                        const std::function<void(const std::string&)>& onNote);

}  // namespace tidra
