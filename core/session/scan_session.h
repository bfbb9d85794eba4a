// One scan from request to report. The terminal program, the desktop application and the unattended agent all run this.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/base/quantities.h"
#include "core/model/scan_aggregate.h"
#include "core/model/scan_report.h"
#include "core/platform/directory_reader.h"
#include "core/platform/mount_table.h"
#include "core/rules/rule_catalog.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/kept_inside.h"
#include "core/session/nested_findings.h"

namespace tidra {

/// What the person or the policy that asked for a scan sees of it meanwhile. Valid during the call that delivers it.
struct ScanProgress {
  std::string phaseLabel;
  std::uint64_t entriesVisited = 0;
  std::size_t projectsFound = 0;
  std::size_t artifactsFound = 0;
  std::uint64_t recoverableBytes = 0;
  std::string currentPathDisplay;
};

/// How far a scan looks outside projects.
enum class SystemReach {
  belowRoots,  // places only below the roots, what tools keep only in the categories that are named; everywhere when
               // there is no root or one is the home folder or holds it
  everywhere,
};

struct ScanRequest {
  std::vector<std::string> roots;  // absolute and standardised
  RuleCatalog catalog;
  TidraPathResolver resolver;  // the home folder and the environment
  TidraPlatform platform = currentPlatform;
  std::string host;
  std::vector<MountPoint> mounts;
  std::optional<std::string> git;  // the executable; absent: activity comes from folders alone

  bool scanProjects = true;
  bool scanSystem = true;  // what lies outside projects
  SystemReach systemReach = SystemReach::belowRoots;
  std::optional<std::set<std::string>> categories;  // of the latter, by key; absent: all
  TidraScanExclusionFilter exclusions;
  std::vector<std::string> quarantines;               // searched by no scan, besides the usual one; absolute
  std::optional<std::set<std::string>> ecosystems;    // absent: all
  std::optional<std::set<ArtifactSafetyTier>> tiers;  // absent: all
  std::uint64_t minimumBytes = 0;                     // smaller findings are left out
  std::optional<Age> olderThan;                       // findings worked on since, or of unknown age, are left out
  bool oneFileSystem = false;                         // each root stays on its own file system
  unsigned workers = 0;                               // 0: the default
  std::optional<std::set<std::string>> onlyPaths;     // just these entries of the roots and these places; absent: all
  ActivityThresholds thresholds;
  TimePoint now{};  // when the scan begins; ages count from its end, which is as many seconds later as it takes

  /// Polled in every phase, from any thread; once true, the scan ends promptly. Must not go back to false.
  std::function<bool()> shouldCancel;
  std::function<void(const ScanProgress&)> onProgress;  // called on the caller's thread
};

struct ScanOutcome {
  ScanReport report;
  ScanAggregate aggregate;
  std::vector<ScanArtifactFinding> findings;       // the report's items, in its order
  std::map<std::string, FileIdentity> identities;  // by path: what was measured; absent for a tool's own items
  std::vector<NestedFinding> nested;               // also with findings that the request left out
  std::map<std::string, KeptInside> withheld;      // findings left out because of what they hold, by path
  std::vector<std::string> notes;                  // for people: what could not be read and why
  std::vector<std::string> details;                // for people who want to know more: tools that did not answer
  std::optional<std::string> outOfBounds;          // for people: what the roots kept out; absent: nothing
  std::uint64_t entriesVisited = 0;
};

/// Runs a scan. A scan that was cancelled before its report was complete returns what it found until then, with
/// `partial` set in the report. Never throws for what the file system or a tool answers, but std::overflow_error, whose
/// what() names the largest findings, when sizes add up to more than 64 bits hold.
ScanOutcome runScan(const ScanRequest& request);

}  // namespace tidra
