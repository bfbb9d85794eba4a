#include "app/state/state_folders.h"

#ifdef __APPLE__
#include "app/state/user_defaults_store_macos.h"
#else
#include "app/state/file_preferences_store.h"
#endif
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// XDG: a value that is not absolute is ignored.
std::string xdgFolder(const TidraPathResolver& resolver, const char* variable, const char* fallback) {
  const auto given = resolver.environment.find(variable);
  if (given != resolver.environment.end() && given->second.starts_with('/')) return standardizedPath(given->second);
  return joinedPath(resolver.home, fallback);
}

}  // namespace

StateFolders stateFolders(TidraPlatform platform, const TidraPathResolver& resolver) {
  if (platform == TidraPlatform::macOS) {
    const std::string folder = joinedPath(resolver.home, "Library/Application Support/com.kavrin.Tidra");
    return {folder, folder};
  }
  return {joinedPath(xdgFolder(resolver, "XDG_CONFIG_HOME", ".config"), "tidra"),
          joinedPath(xdgFolder(resolver, "XDG_DATA_HOME", ".local/share"), "tidra")};
}

std::unique_ptr<PreferencesStore> openPreferences(const TidraPathResolver& resolver,
                                                  [[maybe_unused]] std::function<void(const std::string&)> onNote) {
  const std::string folder = stateFolders(currentPlatform, resolver).preferences;
#ifdef __APPLE__
  return openUserDefaults("com.kavrin.Tidra", joinedPath(folder, "preferences.lock"));
#else
  return std::make_unique<FilePreferencesStore>(joinedPath(folder, "preferences.json"), std::move(onNote));
#endif
}

}  // namespace tidra
