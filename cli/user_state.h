// The user's settings, exclusions and last scan.
#pragma once

#include <memory>
#include <string>

#include "app/state/app_settings.h"
#include "app/state/exclusions_store.h"
#include "app/state/last_scan_store.h"
#include "app/state/state_folders.h"

namespace tidra {

/// Notes on standard error what is wrong with a store.
void writeDamage(const std::string& note);

/// The user's stores. Damaged files are noted on standard error.
struct UserState {
  std::unique_ptr<PreferencesStore> preferences;
  SettingsStore settings;
  ExclusionsStore exclusions;
  LastScanStore lastScan;

  explicit UserState(const TidraPathResolver& resolver);

  /// Throws PreferencesError when saving would create the home folder, or files of root in another user's home.
  void requireHome() const;

 private:
  TidraPathResolver resolver_;
};

}  // namespace tidra
