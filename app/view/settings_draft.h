// The user's settings while they are edited.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/state/app_settings.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// What every face writes beside the settings.
struct SettingsWords {
  static constexpr std::string_view unavailable = "Settings unavailable during scan";
  static constexpr std::string_view whenEffective = "Changes take effect on next scan";
  static constexpr std::string_view askBeforeEachScan = "Ask me before each scan";
  static constexpr std::string_view askBeforeEachScanRemark = "Override the default location at scan time";
  static constexpr std::string_view dormant = "Mark as dormant after";
  static constexpr std::string_view dormantRemark =
      "Projects older than this are shown in red and recommended for deletion";
  static constexpr std::string_view inactive = "Mark as inactive after";
  static constexpr std::string_view inactiveRemark = "Projects in this range are shown in amber";
  static constexpr std::string_view moveToTrash = "Move to Trash (default and recommended)";
  static constexpr std::string_view deleteAtOnce = "Permanently delete";
  static constexpr std::string_view deleteAtOnceRemark = "This cannot be undone. Files will not go to Trash.";
  static constexpr std::string_view emptyTrash = "Empty Trash after deletion";
  static constexpr std::string_view emptyTrashRemark = "Immediately empties Trash after Tidra moves files to it";
};

class SettingsDraft {
 public:
  explicit SettingsDraft(UserSettings stored) : values(std::move(stored)), stored_(values) {}

  UserSettings values;  // for the face to edit

  bool isChanged() const { return values != stored_; }
  void reset() { values = stored_; }

  /// A value that cannot be used.
  struct Problem {
    std::string key;       // of the setting, as tidra config names it
    std::string sentence;  // for people

    bool operator==(const Problem&) const = default;
  };
  /// Looks at the disk for the folder of the location "custom". Empty if the draft can be saved.
  std::vector<Problem> problems(const TidraPathResolver& resolver) const;

  /// Stores the values that were changed; those that another process has changed meanwhile stay as it left them. Throws
  /// InputError with the first problem, and PreferencesError.
  void save(SettingsStore& store, const TidraPathResolver& resolver);

 private:
  UserSettings stored_;  // as the draft found it
};

}  // namespace tidra
