// The results of the last scan, shown again without scanning.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "app/state/last_scan_store.h"
#include "app/view/result_row.h"
#include "core/model/cleanup_plan.h"
#include "core/platform/platform.h"

namespace tidra {

/// Where and by whom a stored scan is shown.
struct LastScanPlace {
  TidraPathResolver resolver;
  std::string host;
  TidraPlatform platform = currentPlatform;
  ActivityThresholds thresholds;
  TimePoint now{};
};

struct LastScanView {
  static constexpr std::string_view title = "View last scan from";
  static constexpr std::string_view partialBanner =
      "Partial scan — results may be incomplete. Re-scan for full results.";

  ScanReport report;
  std::vector<ResultRow> rows;   // of its items, in their order; those of a partial scan cannot be marked
  std::optional<TimePoint> end;  // when it was made

  /// None if only its summary is stored.
  static std::optional<LastScanView> of(const LastScan& last, const LastScanPlace& place);

  /// Empty for a complete scan.
  std::string_view banner() const { return report.partial ? partialBanner : std::string_view(); }

  /// Returns the plan of the items with these paths that may be marked. The files may have changed since: checkPlan()
  /// looks at each again.
  CleanupPlan planOf(const std::set<std::string>& paths, DisposalMethod method) const;
};

/// Stores the last scan without what was removed, unless another scan has been stored since. Returns whether it did.
/// Throws PreferencesError.
bool storeWithoutRemoved(LastScanStore& store, const LastScanView& view, const std::vector<DisposalReceipt>& removed,
                         const LastScanPlace& place);

}  // namespace tidra
