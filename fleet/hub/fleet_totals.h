// Running sums over all history points by day, and over all largest findings, updated with every report: scanning ten
// million points would make each summary slow.
#pragma once

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/base/time_point.h"
#include "fleet/hub/protocol/hub_records.h"
#include "fleet/hub/protocol/hub_summary.h"
#include "fleet/hub/wide_sum.h"

namespace tidra {

/// Not thread-safe.
class FleetTotals {
 public:
  struct Activity {
    WideSum disposedBytes;
    WideSum failures;
    std::int64_t runs = 0;

    void add(const HubHistoryPoint& point);
    void remove(const HubHistoryPoint& point);
    void add(const Activity& other);
  };

  void add(const HubHistoryPoint& point);
  /// Subtracts a point added before.
  void remove(const HubHistoryPoint& point);

  void add(const std::vector<HubTopItem>& items);
  /// Subtracts one host's items, as added together before.
  void remove(const std::vector<HubTopItem>& items);

  /// Returns the sum of all points on later days.
  Activity afterDayOf(TimePoint time) const;

  /// The days up to that of `now`, oldest first, including those without points.
  std::vector<HubSummary::DayPoint> trend(TimePoint now, int days) const;

  /// At most `count`, most bytes first, ties by label.
  std::vector<HubSummary::RuleBytes> topRules(std::size_t count) const;

 private:
  struct RuleKey {
    std::string label;
    ArtifactSafetyTier tier;
    std::string category;

    auto operator<=>(const RuleKey&) const = default;
  };
  struct Rule {
    WideSum bytes;
    std::int64_t hosts = 0;
  };

  static std::map<RuleKey, WideSum> grouped(const std::vector<HubTopItem>& items);

  std::map<std::chrono::sys_days, Activity> days_;  // only days with points
  std::map<RuleKey, Rule> rules_;
};

}  // namespace tidra
