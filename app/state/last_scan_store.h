// Stores the results of the last scan, to show them again without scanning.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/state/preferences_store.h"
#include "core/base/json_codec.h"
#include "core/model/scan_aggregate.h"
#include "core/model/scan_report.h"
#include "core/session/scan_session.h"

namespace tidra {

/// What a welcome screen shows of the last scan. Sizes are in GiB (1024³ bytes).
struct ScanResultsSummary {
  struct Ecosystem {
    std::string key;
    double gigabytes = 0;

    bool operator==(const Ecosystem&) const = default;
  };
  struct AgeSegment {
    ProjectActivity activity = ProjectActivity::active;
    double gigabytes = 0;

    bool operator==(const AgeSegment&) const = default;
  };

  double totalRecoverableGB = 0;
  std::int64_t projectCount = 0;
  std::string scannedPathLabel;
  std::vector<Ecosystem> ecosystems;    // largest first
  std::vector<AgeSegment> ageSegments;  // freshest first, only those with findings
  double systemCacheGB = 0;             // of findings outside projects

  static ScanResultsSummary make(const ScanReport& report);

  bool operator==(const ScanResultsSummary&) const = default;
};

extern template struct RecordCodec<ScanResultsSummary>;
template <>
struct JsonCodec<ScanResultsSummary> : RecordCodec<ScanResultsSummary> {};

struct LastScan {
  ScanResultsSummary summary;
  bool partial = false;
  std::optional<ScanAggregate> aggregate;  // absent when not stored or unreadable
  std::optional<TimePoint> end;            // time of the scan

  bool operator==(const LastScan&) const = default;
};

/// Which findings of a last scan are of interest. Absent: all.
struct LastScanFilter {
  std::optional<std::set<ArtifactSafetyTier>> tiers;
  std::optional<std::set<std::string>> ecosystems;
  std::optional<std::set<std::string>> categories;
  std::uint64_t minimumBytes = 0;
  std::optional<Age> olderThan;  // counted from `now`; leaves out what has no date
  TimePoint now{};

  bool admits(const ScanArtifactFinding& finding) const;
  LeftOutFindings leaveOut(const LastScan& last) const;

 private:
  bool isOldEnough(const ScanArtifactFinding& finding) const;
};

/// Rebuilds the report of a last scan from its aggregate: findings in order, time and totals. `catalogVersion` is
/// empty. None when there is no aggregate.
std::optional<ScanReport> reportOf(const LastScan& last, const TidraPathResolver& resolver, const std::string& host,
                                   TidraPlatform platform, const ActivityThresholds& thresholds,
                                   const LastScanFilter& filter = {});

class LastScanStore {
 public:
  /// Aggregates with more encoded bytes go to a file.
  static constexpr std::size_t largestInPreferences = 480000;

  /// `folder` holds the file of a large aggregate. It is written under a temporary name, then published after the
  /// preferences name it: a crash or a concurrent scan leaves one complete scan or the other. The store must outlive
  /// this.
  LastScanStore(PreferencesStore& preferences, std::string folder)
      : preferences_(preferences), folder_(std::move(folder)) {}

  /// Throws PreferencesError when nothing was saved; the previous scan is kept.
  void save(const ScanResultsSummary& summary, bool partial, const std::optional<ScanAggregate>& aggregate,
            TimePoint end);

  /// None when there is no last scan. Throws PreferencesError when the store cannot be read.
  std::optional<LastScan> load() const;

 private:
  std::string aggregateFile() const;
  void writeNext(const std::string& encoded) const;
  void publish(bool isLarge) const;
  LastScan loadOnce(ScanResultsSummary summary) const;
  std::optional<ScanAggregate> loadAggregate() const;
  std::optional<std::string> readAggregateFile(const char* version) const;
  std::optional<ScanAggregate> aggregateOf(const char* version) const;

  PreferencesStore& preferences_;
  std::string folder_;
};

}  // namespace tidra
