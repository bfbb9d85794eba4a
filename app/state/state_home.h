// Whether the running user may keep state in a home folder.
#pragma once

#include "core/platform/path_resolver.h"

namespace tidra {

/// True when root runs with another user's home, as with `sudo -E`: that user could neither read nor change what root
/// creates there.
bool belongsToAnotherUser(const TidraPathResolver& resolver);

/// Throws PreferencesError when saving state would create the home folder, or files of root in another user's home.
void requireHomeForState(const TidraPathResolver& resolver);

}  // namespace tidra
