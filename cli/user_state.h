// The state that the terminal program shares with the desktop application.
#pragma once

#include <memory>
#include <string>

#include "app/state/app_settings.h"
#include "app/state/exclusions_store.h"
#include "app/state/last_scan_store.h"
#include "app/state/state_folders.h"

namespace tidra {

/// The user's stores. Notes about damaged files go to standard error.
struct UserState {
  std::unique_ptr<PreferencesStore> preferences;
  SettingsStore settings;
  ExclusionsStore exclusions;
  LastScanStore lastScan;

  explicit UserState(const TidraPathResolver& resolver);

  /// Before anything is kept: throws PreferencesError when that would make the home folder itself, or root's files in
  /// the home folder of somebody else.
  void requireHome() const;

 private:
  TidraPathResolver resolver_;
};

/// True when root runs with the home folder of another user, as under a sudo that keeps HOME. What root makes there,
/// that user could neither read nor change afterwards.
bool isHomeOfAnother(const TidraPathResolver& resolver);

}  // namespace tidra
