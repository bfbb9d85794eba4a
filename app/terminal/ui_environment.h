// What the screens need from outside.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "app/state/preferences_store.h"
#include "app/view/last_scan_view.h"
#include "app/view/review.h"
#include "core/base/time_point.h"
#include "core/session/scan_session.h"

namespace tidra {

struct UiEnvironment {
  /// Makes the request of a scan with the settings and exclusions of now; `everything`: not only of the named roots.
  /// Throws InputError.
  std::function<ScanRequest(bool everything)> newRequest;
  std::function<TimePoint()> clock;

  TidraPathResolver resolver;
  std::optional<std::string> git;  // the executable; absent if there is none
  std::string place;               // what is scanned, for the header: "~/code"
  bool isStored = true;            // a finished scan becomes the last one
  bool isReadOnly = false;
  /// Stores the earlier scan again without what was removed; may throw PreferencesError. Absent without one.
  std::function<void(const std::vector<DisposalReceipt>&)> removedFromLast;
  std::optional<LastScanView> last;  // shown instead of a scan
  /// What reviews begin with, by the settings of now: read for each scan. Absent: the trash.
  std::function<ReviewChoice()> usualRemoval;
  PreferencesStore* preferences = nullptr;  // outlives the screens; null: exclusions and settings are not offered
};

/// What the screens ask of the terminal.
struct UiHost {
  std::function<void()> wake;  // thread-safe: news are there
  std::function<void()> suspend;
  std::function<void()> redraw;  // the whole screen
  std::function<void(const std::string&)> copy;
};

}  // namespace tidra
