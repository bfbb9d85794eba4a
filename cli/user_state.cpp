#include "cli/user_state.h"

#include "cli/terminal.h"
#include "core/base/text.h"

namespace tidra {

UserState::UserState(const TidraPathResolver& resolver)
    : preferences(openPreferences(resolver, [](const std::string& note) { writeNote(escapedForTerminal(note)); })),
      settings(*preferences),
      exclusions(*preferences),
      lastScan(*preferences, stateFolders(currentPlatform, resolver).applicationData) {}

}  // namespace tidra
