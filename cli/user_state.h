// The user's settings, exclusions and last scan.
#pragma once

#include <memory>
#include <string>

#include "app/state/app_settings.h"
#include "app/state/exclusions_store.h"
#include "app/state/last_scan_store.h"
#include "app/state/state_folders.h"

namespace tidra {

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

/// True when root runs with another user's home, as with `sudo -E`: that user could neither read nor change what root
/// creates there.
bool isHomeOfAnother(const TidraPathResolver& resolver);

}  // namespace tidra
