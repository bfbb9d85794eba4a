// One scan from request to report. Shared by the terminal program and the agent.
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

/// What a scan is doing. The checks ask git, date projects and look for what must stay.
enum class ScanPhase { projects, system, checks };

/// Progress; valid only during the callback.
struct ScanProgress {
  ScanPhase phase = ScanPhase::projects;
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
  belowRoots,  // places at or below a root; tools only in the categories named; unbounded without roots, or when a
               // root equals or contains the home folder
  everywhere,
};

struct ScanRequest {
  std::vector<std::string> roots;  // absolute and standardised
  RuleCatalog catalog;
  std::optional<RuleCatalog> wholeCatalog;  // `catalog` before rules were switched off: they find nothing, but still
                                            // rank what lies in a finding; absent: none was switched off
  std::vector<const RulePack*> offPacks;    // packs that a note names where they would find something; at most 64
  TidraPathResolver resolver;               // home folder and environment
  TidraPlatform platform = currentPlatform;
  std::string host;
  std::vector<MountPoint> mounts;
  std::optional<std::string> git;  // executable; absent: the date of `.git` stands for the last commit, and findings
                                   // with a repository around or inside are at least caution

  bool scanProjects = true;
  bool scanSystem = true;  // scan outside projects
  SystemReach systemReach = SystemReach::belowRoots;
  std::optional<std::set<std::string>> categories;  // categories outside projects, by key; absent: all
  std::set<std::string> categoriesOff;              // left out while `categories` is absent
  TidraScanExclusionFilter exclusions;
  std::vector<std::string> quarantines;               // never scanned, in addition to the default one; absolute
  std::optional<std::set<std::string>> ecosystems;    // absent: all
  std::optional<std::set<ArtifactSafetyTier>> tiers;  // absent: all
  std::uint64_t minimumBytes = 0;                     // omit smaller findings
  std::optional<Age> olderThan;                       // omit findings with later or unknown activity
  std::optional<Age> provenAge;  // age limit of a removal: projects that seem this old are dated again from more files
  bool oneFileSystem = false;    // each root stays on its file system
  unsigned workers = 0;          // 0: default
  std::optional<std::set<std::string>>
      onlyPaths;  // a recheck of these entries of roots and system paths; absent: a search
  ActivityThresholds thresholds;
  TimePoint now{};  // start of the scan; ages count from generatedAt

  /// Polled in every phase from any thread; once true, the scan ends promptly. Must stay true.
  std::function<bool()> shouldCancel;
  std::function<void(const ScanProgress&)> onProgress;  // called on the caller's thread
  /// Called on the caller's thread with what was measured since the last call: at most about ten times a second, and
  /// once more before the checks begin. Dates, git's answers and the checks are missing; some findings are left out
  /// later, and an artefact below two roots is in two batches. The outcome replaces them all.
  std::function<void(std::vector<FoundArtifact>)> onFindings;

  /// Whether this is no search, but checks the items of a plan.
  bool isRecheck() const { return onlyPaths.has_value(); }
  bool asksFor(const std::string& path) const { return !isRecheck() || onlyPaths->contains(path); }
  /// The rules with those that were switched off.
  const RuleCatalog& rulesOfAll() const { return wholeCatalog ? *wholeCatalog : catalog; }
};

/// How many findings each filter of a request leaves out; one that several leave out counts for each.
struct LeftOutFindings {
  std::size_t ofEcosystem = 0;
  std::size_t ofCategory = 0;  // of an earlier scan only: a search does not look there
  std::size_t ofTier = 0;
  std::size_t ofSize = 0;
  std::size_t ofAge = 0;

  bool operator==(const LeftOutFindings&) const = default;
};

/// Holds each finding once; makeReport() and ScanAggregate::of() derive the views.
struct [[nodiscard]] ScanOutcome {
  std::vector<FoundArtifact> findings;         // what the request asked for, in the order of the report
  ScanReport::Circumstances circumstances;     // of the report
  std::vector<NestedFinding> nested;           // including findings that the request filtered out
  std::map<std::string, KeptInside> withheld;  // findings left out because of their contents, by path
  LeftOutFindings leftOut;
  RaisedFindings raised;                   // left out only because a check raised them above the tiers asked for
  std::vector<std::string> notes;          // for display: what could not be read and why
  std::vector<std::string> details;        // for verbose output: tools that did not answer
  std::optional<std::string> outOfBounds;  // for display: what the roots excluded; absent: nothing
  std::uint64_t entriesVisited = 0;
};

/// Runs a scan. A cancelled scan returns its findings so far, with `partial` set in the circumstances. Failures of the
/// file system and tools become notes; throws std::overflow_error, naming the largest findings, when sizes exceed 64
/// bits.
[[nodiscard]] ScanOutcome runScan(const ScanRequest& request);

/// Builds the report of a scan, anew at each call. `resolver` is the request's.
[[nodiscard]] ScanReport makeReport(const ScanOutcome& outcome, const TidraPathResolver& resolver);

}  // namespace tidra
