#include "app/state/state_home.h"

#include <fmt/format.h>

#include "app/state/state_folders.h"
#include "core/platform/directory_reader.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"

namespace tidra {

bool belongsToAnotherUser(const TidraPathResolver& resolver) {
  const auto home = followedFacts(resolver.home);
  return runningUser() == 0 && home && home->owner != 0;
}

void requireHomeForState(const TidraPathResolver& resolver) {
  const StateFolders folders = stateFolders(currentPlatform, resolver);
  const bool isInHome =
      isSameOrInside(folders.preferences, resolver.home) || isSameOrInside(folders.applicationData, resolver.home);
  if (!isInHome) return;
  const auto home = followedFacts(resolver.home);
  if (!home && home.failure() == std::errc::no_such_file_or_directory) {
    throw PreferencesError(
        fmt::format("The home folder {} does not exist, so nothing was kept for the next time.", resolver.home));
  }
  if (belongsToAnotherUser(resolver)) {
    throw PreferencesError(
        fmt::format("The home folder {} belongs to another user, so nothing was kept there for the next time; run "
                    "tidra as that user, or use --home.",
                    resolver.home));
  }
}

}  // namespace tidra
