// One scan from request to report. Shared by terminal program, desktop application and agent.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/base/quantities.h"
#include "core/model/found_artifact.h"
#include "core/model/scan_report.h"
#include "core/platform/mount_table.h"
#include "core/rules/rule_catalog.h"
#include "core/rules/rule_packs.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/kept_inside.h"
#include "core/session/nested_findings.h"
#include "core/session/raised_findings.h"

namespace tidra {

/// Progress; valid only during the callback.
struct ScanProgress {
  std::string phaseLabel;
  std::uint64_t entriesVisited = 0;
  std::size_t projectsFound = 0;
  std::size_t artifactsFound = 0;
  std::uint64_t recoverableBytes = 0;
  std::uint64_t freeableBytes = 0;  // of each finding by itself
  std::string currentPathDisplay;
};

/// Extent of a scan outside projects.
enum class SystemReach {
  belowRoots,  // places only below the roots, what tools keep only in the categories that are named; everywhere when
               // there is no root or one is the home folder or holds it
  everywhere,
};

struct ScanRequest {
  std::vector<std::string> roots;  // absolute and standardised
  RuleCatalog catalog;
  std::optional<RuleCatalog> wholeCatalog;  // with the rules that were switched off, which still rank what lies in a
                                            // finding; absent: none was
  std::vector<const RulePack*> offPacks;    // packs that a note names where they would find something; at most 64
  TidraPathResolver resolver;               // home folder and environment
  TidraPlatform platform = currentPlatform;
  std::string host;
  std::vector<MountPoint> mounts;
  std::optional<std::string> git;  // executable; absent: activity from folders only

  bool scanProjects = true;
  bool scanSystem = true;  // scan outside projects
  SystemReach systemReach = SystemReach::belowRoots;
  std::optional<std::set<std::string>> categories;  // categories outside projects, by key; absent: all
  std::set<std::string> categoriesOff;              // of these, where no category is named
  TidraScanExclusionFilter exclusions;
  std::vector<std::string> quarantines;               // never scanned, in addition to the default one; absolute
  std::optional<std::set<std::string>> ecosystems;    // absent: all
  std::optional<std::set<ArtifactSafetyTier>> tiers;  // absent: all
  std::uint64_t minimumBytes = 0;                     // omit smaller findings
  std::optional<Age> olderThan;                       // omit findings with later or unknown activity
  std::optional<Age> provenAge;                       // an age that removals rely on: dates projects with larger limits
  bool oneFileSystem = false;                         // each root stays on its file system
  unsigned workers = 0;                               // 0: default
  std::optional<std::set<std::string>> onlyPaths;     // only these entries of roots and system paths; absent: all
  ActivityThresholds thresholds;
  TimePoint now{};  // start of the scan; ages count from its end

  /// Polled in every phase from any thread; once true, the scan ends promptly. Must stay true.
  std::function<bool()> shouldCancel;
  std::function<void(const ScanProgress&)> onProgress;  // called on the caller's thread
};

/// Each finding is here once. makeReport and ScanAggregate::of build what is shown and stored.
struct [[nodiscard]] ScanOutcome {
  std::vector<FoundArtifact> findings;         // what the request asked for, in the order of the report
  ScanReport::Circumstances circumstances;     // of the report
  std::vector<NestedFinding> nested;           // including findings that the request filtered out
  std::map<std::string, KeptInside> withheld;  // findings left out because of their contents, by path
  RaisedFindings raised;                       // findings that only the request's tiers left out, if it names some
  std::vector<std::string> notes;              // for display: what could not be read and why
  std::vector<std::string> details;            // for verbose output: tools that did not answer
  std::optional<std::string> outOfBounds;      // for display: what the roots excluded; absent: nothing
  std::uint64_t entriesVisited = 0;
};

/// Runs a scan. A cancelled scan returns its findings so far, with `partial` set in the circumstances. Failures of the
/// file system and tools become notes; throws std::overflow_error, naming the largest findings, when sizes exceed 64
/// bits.
[[nodiscard]] ScanOutcome runScan(const ScanRequest& request);

/// Builds the report of a scan, anew at each call. `resolver` is the request's.
[[nodiscard]] ScanReport makeReport(const ScanOutcome& outcome, const TidraPathResolver& resolver);

}  // namespace tidra
