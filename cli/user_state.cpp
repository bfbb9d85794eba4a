#include "cli/user_state.h"

#include "cli/terminal.h"
#include "core/base/text.h"

namespace tidra {

namespace {

void tell(const std::string& note) { writeNote(escapedForTerminal(note)); }

}  // namespace

UserState::UserState(const TidraPathResolver& resolver)
    : preferences(openPreferences(resolver, &tell)),
      settings(*preferences),
      exclusions(*preferences, &tell),
      lastScan(*preferences, stateFolders(currentPlatform, resolver).applicationData) {}

}  // namespace tidra
