// A scan as a document: printed with --json, evaluated by policies, summarised in fleet reports.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/base/core_info.h"
#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/model/found_artifact.h"
#include "core/model/scan_activity_classification.h"
#include "core/model/scan_aggregate.h"
#include "core/model/scan_artifact_finding.h"
#include "core/model/scan_vocabulary.h"
#include "core/platform/path_resolver.h"
#include "core/platform/platform.h"
#include "core/platform/volume_space.h"

namespace tidra {

struct TidraReportSchema {
  static constexpr std::int64_t version = 1;
};

/// Returns the category of a finding from a file, which does not store it: a key as in ScanReportItem.
std::string categoryOf(const ScanArtifactFinding& finding);

struct ScanReportItem {
  std::string id;           // StableID of the path
  std::string path;         // of the finding
  std::string displayPath;  // for display: home folder as "~"
  std::string label;
  std::int64_t bytes = 0;  // saturating at 63 bits, like all sums
  ArtifactSafetyTier tier = ArtifactSafetyTier::safe;
  std::string ecosystem;
  std::string category;  // key of a system-scan category, "project" or "python"
  std::string group;     // a project root or a system group root
  ArtifactSource source = ArtifactSource::projectWalk;
  std::optional<std::string> ruleID;
  std::optional<std::string> restoreHint;
  std::optional<TimePoint> lastActivity;
  std::optional<std::int64_t> idleDays;        // whole days since lastActivity
  std::optional<ProjectActivity> activity;     // of the owning project
  std::optional<std::string> evidence = {};    // as in the finding
  std::optional<std::string> noEvidence = {};  // as in the finding
  std::optional<std::int64_t> diskBytes = {};
  std::optional<std::int64_t> freeableBytes = {};
  std::optional<SizeDifference> difference = {};

  /// The category is that of the finding's group root.
  static ScanReportItem make(const ScanArtifactFinding& finding, std::string group, const TidraPathResolver& resolver,
                             std::optional<std::int64_t> idleDays, std::optional<ProjectActivity> activity);

  /// Whether it is listed under a system group instead of a project.
  bool isInSystemGroup() const;

  bool operator==(const ScanReportItem&) const = default;
};

struct ScanReport {
  std::int64_t schemaVersion = TidraReportSchema::version;
  std::string tidraVersion;
  std::string catalogVersion;
  TimePoint generatedAt{};
  std::string host;
  TidraPlatform platform = TidraPlatform::linux;
  std::string scanRoot;  // several roots are joined with ", "
  std::string home;
  double durationSeconds = 0;
  bool partial = false;  // cancelled
  std::int64_t totalBytes = 0;
  std::optional<std::int64_t> diskBytes = {};      // of all findings together, as in CombinedUse; absent
  std::optional<std::int64_t> freeableBytes = {};  // in reports of older versions
  std::map<std::string, std::int64_t> bytesByTier;
  std::map<std::string, std::int64_t> bytesByCategory;
  std::map<std::string, std::int64_t> bytesByEcosystem;
  std::int64_t projectCount = 0;
  std::optional<TidraVolumeSpaceReader::Space> volume;  // of the scan root; absent if unreadable
  std::vector<ScanReportItem> items;

  /// Inputs of a report besides its findings.
  struct Circumstances {
    std::string catalogVersion;
    TimePoint generatedAt{};
    std::string host;
    TidraPlatform platform = TidraPlatform::linux;
    std::string scanRoot;
    double durationSeconds = 0;
    bool partial = false;
    std::optional<TidraVolumeSpaceReader::Space> volume;
    ActivityThresholds thresholds;
  };

  /// Returns a report with one item per finding, in the same order. `aggregate` is that of the findings.
  static ScanReport make(const std::vector<ScanArtifactFinding>& findings, const ScanAggregate& aggregate,
                         const TidraPathResolver& resolver, const Circumstances& circumstances);
  /// As above, of a scan's findings.
  static ScanReport make(const std::vector<FoundArtifact>& found, const TidraPathResolver& resolver,
                         const Circumstances& circumstances);

  bool operator==(const ScanReport&) const = default;
};

extern template struct RecordCodec<ScanReportItem>;
template <>
struct JsonCodec<ScanReportItem> : RecordCodec<ScanReportItem> {};

extern template struct RecordCodec<ScanReport>;
template <>
struct JsonCodec<ScanReport> : RecordCodec<ScanReport> {};

}  // namespace tidra
