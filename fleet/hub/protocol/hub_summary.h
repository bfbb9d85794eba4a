// The fleet's summary.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {

/// Sums saturate. Those of freed bytes count disposed ones for reports without freed ones.
struct HubSummary {
  struct HostBytes {
    std::string host;
    std::int64_t bytes = 0;
    bool operator==(const HostBytes&) const = default;
  };

  struct HostDisk {
    std::string host;
    std::int64_t availableBytes = 0;
    std::int64_t totalBytes = 0;
    double freeFraction = 0;  // 0 to 1
    bool operator==(const HostDisk&) const = default;
  };

  struct RuleBytes {
    std::string label;
    ArtifactSafetyTier tier = ArtifactSafetyTier::warning;
    std::string category;
    std::int64_t bytes = 0;
    std::int64_t hosts = 0;
    bool operator==(const RuleBytes&) const = default;
  };

  struct RecentRun {
    std::string host;
    TimePoint startedAt{};
    std::int64_t disposedBytes = 0;
    std::int64_t disposedItems = 0;
    std::int64_t failures = 0;
    bool succeeded = false;
    bool dryRun = false;
    std::int64_t reclaimableBytes = 0;
    std::optional<std::int64_t> freedBytes = {};  // absent: not reported
    bool operator==(const RecentRun&) const = default;
  };

  struct DayPoint {
    std::string day;  // as "2026-03-14", in UTC
    std::int64_t disposedBytes = 0;
    std::int64_t runs = 0;
    std::int64_t failures = 0;
    std::int64_t freedBytes = 0;
    bool operator==(const DayPoint&) const = default;
  };

  TimePoint generatedAt{};
  std::string title;
  std::int64_t hosts = 0;
  std::map<std::string, std::int64_t> hostsByStatus;  // every status, 0 included
  std::map<std::string, std::int64_t> hostsByPlatform;
  std::map<std::string, std::int64_t> hostsByPolicy;
  std::map<std::string, std::int64_t> hostsByVersion;
  std::int64_t hostsDryRun = 0;  // whose latest report is of a dry run
  std::int64_t reclaimableBytes = 0;
  std::map<std::string, std::int64_t> bytesByTier;
  std::map<std::string, std::int64_t> bytesByCategory;
  std::int64_t plannedBytes = 0;
  std::int64_t disposedBytesTotal = 0;
  std::int64_t disposedItemsTotal = 0;
  std::int64_t disposedBytesLast24h = 0;
  std::int64_t disposedBytesLast7d = 0;
  std::int64_t freedBytesTotal = 0;
  std::int64_t freedBytesLast24h = 0;
  std::int64_t freedBytesLast7d = 0;
  std::int64_t hostsWithoutFreed = 0;  // whose latest report has no freed bytes
  std::int64_t runsTotal = 0;
  std::int64_t failuresTotal = 0;
  std::int64_t failuresLast24h = 0;
  std::int64_t quarantineBytes = 0;
  std::int64_t volumeTotalBytes = 0;  // these two: over hosts that report both
  std::int64_t volumeAvailableBytes = 0;
  std::int64_t hostsLowDisk = 0;          // less than 10 % of the volume free
  std::vector<HostBytes> topReclaimable;  // most first; no hosts without any
  std::vector<HostBytes> topFreed;        // by freed bytes since the audit log began; most first
  std::vector<HostDisk> lowestDisk;       // the smallest free fraction first
  std::vector<RuleBytes> topRules;        // most bytes first
  std::vector<RecentRun> recentRuns;      // newest first, one per host
  std::vector<DayPoint> trend;            // oldest first, ending today; empty without hosts
  std::int64_t staleAfterSeconds = 0;

  bool operator==(const HubSummary&) const = default;
};

extern template struct RecordCodec<HubSummary::HostBytes>;
template <>
struct JsonCodec<HubSummary::HostBytes> : RecordCodec<HubSummary::HostBytes> {};
extern template struct RecordCodec<HubSummary::HostDisk>;
template <>
struct JsonCodec<HubSummary::HostDisk> : RecordCodec<HubSummary::HostDisk> {};
extern template struct RecordCodec<HubSummary::RuleBytes>;
template <>
struct JsonCodec<HubSummary::RuleBytes> : RecordCodec<HubSummary::RuleBytes> {};
extern template struct RecordCodec<HubSummary::RecentRun>;
template <>
struct JsonCodec<HubSummary::RecentRun> : RecordCodec<HubSummary::RecentRun> {};
extern template struct RecordCodec<HubSummary::DayPoint>;
template <>
struct JsonCodec<HubSummary::DayPoint> : RecordCodec<HubSummary::DayPoint> {};
extern template struct RecordCodec<HubSummary>;
template <>
struct JsonCodec<HubSummary> : RecordCodec<HubSummary> {};

}  // namespace tidra
