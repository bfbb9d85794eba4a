// The report of a host to the hub, and the hub's acknowledgement.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/model/scan_vocabulary.h"
#include "core/platform/platform.h"

namespace tidra {

struct HubSchema {
  /// Of reports; also assumed when a document has none.
  static constexpr std::int64_t version = 1;
};

/// One of the largest findings of a run.
struct HubTopItem {
  std::string path;  // absolute; any bytes
  std::string label;
  std::int64_t bytes = 0;
  ArtifactSafetyTier tier = ArtifactSafetyTier::warning;
  std::string category;
  std::optional<std::string> ruleID;     // absent: no rule of the catalog matched
  std::optional<std::int64_t> idleDays;  // days since work on the project; absent: unknown

  bool operator==(const HubTopItem&) const = default;
};

/// Totals are since the audit log began. Untrusted: a host may claim any figure.
struct HubHostReport {
  std::int64_t schemaVersion = HubSchema::version;
  std::string host;
  TidraPlatform platform = currentPlatform;
  std::string tidraVersion;
  std::string catalogVersion;
  std::string policyName;
  std::map<std::string, std::string> tags;
  std::string runID;
  TimePoint startedAt{};
  double durationSeconds = 0;
  bool dryRun = false;
  bool succeeded = false;                       // the run completed and no disposal failed
  std::optional<std::int64_t> intervalSeconds;  // between runs; absent: the agent schedules none
  std::int64_t findings = 0;
  std::int64_t reclaimableBytes = 0;
  std::map<std::string, std::int64_t> bytesByTier;  // the key is a tier's raw value
  std::map<std::string, std::int64_t> bytesByCategory;
  std::int64_t plannedItems = 0;
  std::int64_t plannedBytes = 0;
  std::int64_t disposedItems = 0;
  std::int64_t disposedBytes = 0;          // 0 in a dry run
  std::optional<std::int64_t> freedBytes;  // that the volumes gained, purges included; absent: an older agent
  std::int64_t failures = 0;
  std::int64_t purgedItems = 0;
  std::int64_t purgedBytes = 0;
  std::map<std::string, std::int64_t> skippedByReason;
  std::int64_t disposedBytesTotal = 0;
  std::int64_t disposedItemsTotal = 0;
  std::optional<std::int64_t> freedBytesTotal;  // as freedBytes
  std::int64_t failuresTotal = 0;
  std::int64_t runsTotal = 0;
  std::int64_t quarantineBytes = 0;
  std::int64_t quarantineItems = 0;
  std::optional<std::int64_t> volumeTotalBytes;  // these two: of the volume of the scan root
  std::optional<std::int64_t> volumeAvailableBytes;
  std::int64_t auditSeq = 0;                 // of the last record of the audit log
  std::optional<std::string> auditHeadHash;  // absent: the log is empty
  std::vector<HubTopItem> topItems;

  bool operator==(const HubHostReport&) const = default;
};

struct HubAck {
  bool accepted = false;  // the report was stored
  std::string host;       // as stored by the hub
  std::int64_t hostsKnown = 0;
  std::string message;  // for the agent's operator

  bool operator==(const HubAck&) const = default;
};

extern template struct RecordCodec<HubTopItem>;
/// Decoding needs a path's item to name its tier; everything else may be missing and is then 0, "" or absent.
template <>
struct JsonCodec<HubTopItem> : RecordCodec<HubTopItem> {};

extern template struct RecordCodec<HubHostReport>;
/// Decoding needs only `host`. Without `startedAt` a run began just now, without `platform` it is this program's own.
template <>
struct JsonCodec<HubHostReport> : RecordCodec<HubHostReport> {
  static HubHostReport decode(const nlohmann::json& value, const std::string& where);
};

/// A report but for `topItems`, which are most of it. Refers to the report.
struct ReportWithoutTopItems {
  const HubHostReport& report;
};

template <>
struct JsonCodec<ReportWithoutTopItems> {
  static void write(JsonWriter& out, const ReportWithoutTopItems& brief);
};

extern template struct RecordCodec<HubAck>;
template <>
struct JsonCodec<HubAck> : RecordCodec<HubAck> {};

}  // namespace tidra
