// Trashes and quarantines at known paths.
#pragma once

#include <string>
#include <vector>

#include "core/platform/path_resolver.h"
#include "core/scan/stores.h"

namespace tidra {

/// Returns the home trash, the desktop trash, the default quarantine (or TIDRA_QUARANTINE_DIR) and `quarantines`.
/// Leaves out any that contains the home folder.
std::vector<Store> knownStores(const TidraPathResolver& resolver, const std::vector<std::string>& quarantines);

}  // namespace tidra
