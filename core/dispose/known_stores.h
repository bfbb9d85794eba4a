// The trashes and quarantines that are known by their places before anything is looked at.
#pragma once

#include <string>
#include <vector>

#include "core/platform/path_resolver.h"
#include "core/scan/stores.h"

namespace tidra {

/// The trash of the home folder, that of the desktop, the usual quarantine or the one of TIDRA_QUARANTINE_DIR, and
/// those given. None of them holds the home folder; one that does is left out.
std::vector<Store> knownStores(const TidraPathResolver& resolver, const std::vector<std::string>& quarantines);

}  // namespace tidra
