// Sums over all points of history and all largest findings, kept up to date with every report, since walking ten
// million points takes longer than anybody should wait for a summary.
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

/// Not to be shared between threads without a lock.
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
  /// Takes back a point that was added.
  void remove(const HubHistoryPoint& point);

  void add(const std::vector<HubTopItem>& items);
  /// Takes back the items of one host that were added together.
  void remove(const std::vector<HubTopItem>& items);

  /// Of all points at `start` or later, to the second. None when `start` lies more than eight days before the newest
  /// point: only whole days are kept of that time.
  std::optional<Activity> since(TimePoint start) const;

  /// The days up to the one of `now`, oldest first, those without a point included.
  std::vector<HubSummary::DayPoint> trend(TimePoint now, int days) const;

  /// At most `count`, most bytes first, equal ones by label.
  std::vector<HubSummary::RuleBytes> topRules(std::size_t count) const;

 private:
  struct Day {
    Activity whole;
    std::vector<Activity> bySecond;  // empty for days that are long past
  };
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
  Day& dayOf(std::chrono::sys_days day);
  bool isRecent(std::chrono::sys_days day) const;

  std::map<std::chrono::sys_days, Day> days_;
  std::chrono::sys_days newest_{};
  std::map<RuleKey, Rule> rules_;
};

}  // namespace tidra
