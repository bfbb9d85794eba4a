// The user's settings: those that every face shares, and defaults of the terminal program.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/state/preferences_store.h"
#include "core/base/json_codec.h"
#include "core/model/disposal.h"
#include "core/model/scan_activity_classification.h"
#include "core/model/scan_vocabulary.h"
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
  std::optional<std::vector<std::string>> rulePacks = {};      // names of the rule packs that are on; absent: none
  std::optional<std::vector<std::string>> disabledRules = {};  // ids of rules that are off; absent: none

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

/// What the terminal program does where no option says otherwise. Absent: as without settings.
struct TerminalDefaults {
  std::optional<DisposalMethod> method;  // absent: as TidraAppSettings::moveToTrash says
  std::optional<std::set<ArtifactSafetyTier>> tiers;
  std::optional<std::string> minimumSize;  // as parseSize() reads it
  std::optional<std::string> olderThan;    // as parseAge() reads it
  std::optional<std::string> color;        // "auto", "always" or "never"

  bool operator==(const TerminalDefaults&) const = default;
};

extern template struct RecordCodec<TerminalDefaults>;
template <>
struct JsonCodec<TerminalDefaults> : RecordCodec<TerminalDefaults> {};

/// Everything that a user sets.
struct UserSettings {
  TidraAppSettings app;
  TerminalDefaults terminal;

  bool operator==(const UserSettings&) const = default;
};

class SettingsStore {
 public:
  /// The store must outlive this.
  explicit SettingsStore(PreferencesStore& preferences) : preferences_(preferences) {}

  /// Returns the defaults when nothing is stored or what is stored does not decode. Throws PreferencesError.
  TidraAppSettings load() const;
  void save(const TidraAppSettings& settings);

  /// As load(), with the defaults of the terminal.
  UserSettings loadAll() const;

  /// Edits both under the store's lock. Fields of other versions are kept. Throws PreferencesError, and what `edit`
  /// throws.
  void change(const std::function<void(UserSettings&)>& edit);

 private:
  PreferencesStore& preferences_;
};

}  // namespace tidra
