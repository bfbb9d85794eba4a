#include "app/state/state_folders.h"

#include <fmt/format.h>

#ifdef __APPLE__
#include "app/state/user_defaults_store_macos.h"
#else
#include "app/state/file_preferences_store.h"
#endif
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/folder_entries.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// XDG: a value that is not absolute is ignored.
std::string xdgFolder(const TidraPathResolver& resolver, const char* variable, const char* fallback) {
  const auto given = resolver.environment.find(variable);
  if (given != resolver.environment.end() && given->second.starts_with('/')) return standardizedPath(given->second);
  return joinedPath(resolver.home, fallback);
}

HeldFolder heldStateFolder(const std::string& path) {
  try {
    return holdFolder(path);
  } catch (const UnsafePathError& error) {
    throw PreferencesError(fmt::format("The folder {} for what Tidra keeps is not used: {}.", path, error.what()));
  }
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

void makeStateFolder(const std::string& path) {
  makePrivateFolders(path);
  const HeldFolder folder = heldStateFolder(path);
  const auto facts = descriptorFacts(folder.descriptor.get());
  if (!facts) throw std::system_error(facts.failure(), path);
  const std::uint32_t user = runningUser();
  if (user != 0 && facts->owner != user && facts->owner != 0) {
    throw PreferencesError(
        fmt::format("The folder {} for what Tidra keeps belongs to another user, so it is not used.", path));
  }
  constexpr std::uint32_t writableByOthers = 0022;
  constexpr std::uint32_t ofOwner = 0700;
  if ((facts->permissions & writableByOthers) == 0) return;
  // Without effect on a volume without permissions, where all that lies on it is as open.
  static_cast<void>(setPermissions(folder.descriptor.get(), facts->permissions & ofOwner));
}

bool isOwnState(const std::string& path) {
  const auto file = followedFacts(path);
  const auto folder = followedFacts(parentPath(path));
  return !file || !folder || isByDecider(*file, *folder);
}

void replacePrivateFile(const std::string& path, std::string_view bytes,
                        const std::function<void(const std::string&)>& onNote) {
  constexpr unsigned ownerOnly = 0600;
  constexpr std::uint32_t others = 0077;
  const bool isNew = !pathExists(path);
  replaceFile(path, bytes, ownerOnly);
  const auto written = isNew ? followedFacts(path) : Outcome<EntryFacts>(EntryFacts{});
  if (!written || (written->permissions & others) == 0) return;
  onNote(fmt::format("{} can be read by whoever may use its volume, whose file system has no permissions.",
                     escapedForTerminal(path)));
}

}  // namespace tidra
