#include "cli/user_state.h"

#include <fmt/format.h>

#include "cli/terminal.h"
#include "core/platform/directory_reader.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"

namespace tidra {

namespace {

/// Also with --quiet: what was excluded may not be any more.
void writeDamage(const std::string& note) { writeLoudNote(shown(note)); }

}  // namespace

UserState::UserState(const TidraPathResolver& resolver)
    : preferences(openPreferences(resolver, &writeDamage)),
      settings(*preferences),
      exclusions(*preferences, &writeDamage),
      lastScan(*preferences, stateFolders(currentPlatform, resolver).applicationData),
      resolver_(resolver) {}

void UserState::requireHome() const {
  const StateFolders folders = stateFolders(currentPlatform, resolver_);
  const bool isInHome =
      isSameOrInside(folders.preferences, resolver_.home) || isSameOrInside(folders.applicationData, resolver_.home);
  const auto home = followedFacts(resolver_.home);
  if (isInHome && !home && home.failure() == std::errc::no_such_file_or_directory) {
    throw PreferencesError(
        fmt::format("The home folder {} does not exist, so nothing was kept for the next time.", resolver_.home));
  }
  if (isInHome && isHomeOfAnother(resolver_)) {
    throw PreferencesError(
        fmt::format("The home folder {} belongs to another user, so nothing was kept there for the next time; run "
                    "tidra as that user, or use --home.",
                    resolver_.home));
  }
}

bool isHomeOfAnother(const TidraPathResolver& resolver) {
  const auto home = followedFacts(resolver.home);
  return runningUser() == 0 && home && home->owner != 0;
}

}  // namespace tidra
