// The preferences store of macOS: a domain of NSUserDefaults.
#pragma once

#include <memory>
#include <string>

#include "app/state/preferences_store.h"

namespace tidra {

/// Opens the store of a domain. Transactions hold the lock file, whose folder is created when missing; programs that do
/// not use the lock may write in between.
[[nodiscard]] std::unique_ptr<PreferencesStore> openUserDefaults(const std::string& domain,
                                                                 const std::string& lockPath);

}  // namespace tidra
