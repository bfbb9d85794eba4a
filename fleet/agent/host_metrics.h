// The host's Prometheus metrics, described in docs/metrics.md.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "core/base/time_point.h"

namespace tidra {

/// The figures after one run.
struct FleetMetricsSnapshot {
  std::string host;
  std::string version;  // of the program
  std::string catalogVersion;
  std::string policyName;
  std::map<std::string, std::uint64_t> reclaimableBytesByTier;  // the key is a tier's raw value
  std::map<std::string, std::uint64_t> reclaimableBytesByCategory;
  std::int64_t reclaimableItems = 0;
  std::uint64_t plannedBytes = 0;
  std::int64_t plannedItems = 0;
  std::uint64_t disposedBytesThisRun = 0;
  std::int64_t disposedItemsThisRun = 0;
  std::int64_t failuresThisRun = 0;
  std::uint64_t disposedBytesTotal = 0;  // this and the other totals: since the audit log began
  std::int64_t disposedItemsTotal = 0;
  std::int64_t failuresTotal = 0;
  std::uint64_t purgedBytesTotal = 0;
  std::int64_t runsTotal = 0;
  TimePoint lastRunStart{};
  double lastRunDurationSeconds = 0;
  bool lastRunSucceeded = false;  // no disposal failed
  bool dryRun = false;
  std::uint64_t quarantineBytes = 0;
  std::int64_t quarantineItems = 0;
  std::optional<std::uint64_t> volumeTotalBytes;  // these two: of the volume of the scan root
  std::optional<std::uint64_t> volumeAvailableBytes;
  std::optional<std::uint64_t> freedBytesThisRun;  // these two: that the volumes gained, purges included
  std::optional<std::uint64_t> freedBytesTotal;

  bool operator==(const FleetMetricsSnapshot&) const = default;
};

struct PrometheusRenderer {
  /// Returns the text exposition format 0.0.4: the same families in the same order, without those of absent figures.
  /// Categories are sorted; those that become equal when invalid UTF-8 is replaced are summed, since a duplicate series
  /// invalidates the whole exposition.
  static std::string render(const FleetMetricsSnapshot& snapshot);
};

}  // namespace tidra
