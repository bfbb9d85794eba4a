#include "cli/user_state.h"

#include "app/state/state_home.h"
#include "cli/terminal.h"

namespace tidra {

/// Also with --quiet: what was excluded may not be any more.
void writeDamage(const std::string& note) { writeLoudNote(shown(note)); }

UserState::UserState(const TidraPathResolver& resolver)
    : preferences(openPreferences(resolver, &writeDamage)),
      settings(*preferences),
      exclusions(*preferences, &writeDamage),
      lastScan(*preferences, stateFolders(currentPlatform, resolver).applicationData),
      resolver_(resolver) {}

void UserState::requireHome() const { requireHomeForState(resolver_); }

}  // namespace tidra
