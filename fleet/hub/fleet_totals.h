// Running sums over all history points by day, and over the figures by key and the largest findings of the latest
// reports, updated with every report: reading ten million points and the maps of every host would make each summary
// slow.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
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
    WideSum freedBeyondDisposed;  // may be negative; most points add nothing
    WideSum failures;
    std::int64_t runs = 0;

    std::int64_t freedBytes() const;
    void add(const HubHistoryPoint& point);
    void remove(const HubHistoryPoint& point);
    void add(const Activity& other);
  };

  void add(const HubHistoryPoint& point);
  /// Subtracts a point added before.
  void remove(const HubHistoryPoint& point);

  /// Adds a host's latest report.
  void add(const HubHostReport& latest);
  /// Subtracts a report added before.
  void remove(const HubHostReport& latest);

  /// Returns the sum of all points on later days.
  Activity afterDayOf(TimePoint time) const;

  /// The days up to that of `now`, oldest first, including those without points.
  std::vector<HubSummary::DayPoint> trend(TimePoint now, int days) const;

  /// The sums of the latest reports, with the keys that some report has.
  std::map<std::string, std::int64_t> bytesByTier() const { return valuesOf(tiers_); }
  std::map<std::string, std::int64_t> bytesByCategory() const { return valuesOf(categories_); }

  /// At most `count`, most bytes first, ties by label.
  std::vector<HubSummary::RuleBytes> topRules(std::size_t count) const;

 private:
  struct RuleKey {
    std::string label;
    ArtifactSafetyTier tier;
    std::string category;

    bool operator<(const RuleKey& other) const {
      return std::tie(label, tier, category) < std::tie(other.label, other.tier, other.category);
    }
  };
  struct Sum {
    WideSum bytes;
    std::int64_t hosts = 0;  // whose reports have the key; a key without any is dropped
  };
  template <class Key>
  using Sums = std::map<Key, Sum>;

  template <class Key, class Bytes>
  static void addTo(Sums<Key>& sums, const std::map<Key, Bytes>& report);
  template <class Key, class Bytes>
  static void removeFrom(Sums<Key>& sums, const std::map<Key, Bytes>& report);
  static std::map<RuleKey, WideSum> grouped(const std::vector<HubTopItem>& items);
  static std::map<std::string, std::int64_t> valuesOf(const Sums<std::string>& sums);

  std::map<std::chrono::sys_days, Activity> days_;  // only days with points
  Sums<std::string> tiers_;
  Sums<std::string> categories_;
  Sums<RuleKey> rules_;
};

}  // namespace tidra
