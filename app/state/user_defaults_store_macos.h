// The preferences store of macOS: a domain of the user's defaults.
#pragma once

#include <memory>
#include <string>

#include "app/state/preferences_store.h"

namespace tidra {

/// The store in the domain of that name. Transactions hold the lock file, whose folder is made when it is missing;
/// programs that know nothing of the lock may still write in between.
[[nodiscard]] std::unique_ptr<PreferencesStore> openUserDefaults(const std::string& domain,
                                                                 const std::string& lockPath);

}  // namespace tidra
