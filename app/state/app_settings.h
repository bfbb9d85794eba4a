// The user's settings.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/state/preferences_store.h"
#include "core/base/json_codec.h"
#include "core/model/scan_activity_classification.h"
#include "core/scan/scan_roots.h"

namespace tidra {

struct TidraAppSettings {
  TidraScanDefaultLocation defaultScanLocation = TidraScanDefaultLocation::home;
  std::string customScanPath;  // folder of the location "custom"
  bool askBeforeEachScan = false;
  std::map<std::string, bool> ecosystemsEnabled = everyEcosystem();
  int dormantThresholdYears = 2;
  int inactiveThresholdMonths = 6;
  bool moveToTrash = true;  // false: delete at once
  bool emptyTrashAfterDeletion = false;
  std::map<std::string, bool> systemScanEnabled = everyCategory();
  std::optional<std::vector<std::string>> rulePacks = {};  // names of the rule packs that are on; absent: none

  /// In months: dormant at least 12, inactive at least 1.
  ActivityThresholds thresholds() const;

  static std::map<std::string, bool> everyEcosystem();
  static std::map<std::string, bool> everyCategory();

  bool operator==(const TidraAppSettings&) const = default;
};

extern template struct RecordCodec<TidraAppSettings>;
/// A missing key decodes to its default.
template <>
struct JsonCodec<TidraAppSettings> : RecordCodec<TidraAppSettings> {};

class SettingsStore {
 public:
  /// The store must outlive this.
  explicit SettingsStore(PreferencesStore& preferences) : preferences_(preferences) {}

  /// Returns the defaults when nothing is stored or what is stored does not decode. Throws PreferencesError.
  TidraAppSettings load() const;
  void save(const TidraAppSettings& settings);

  /// Changes what is stored, in one transaction. Throws PreferencesError.
  void change(const std::function<void(TidraAppSettings&)>& edit);

 private:
  PreferencesStore& preferences_;
};

}  // namespace tidra
