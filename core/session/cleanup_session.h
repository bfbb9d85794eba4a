// From a scan's outcome or a written plan to what becomes of each item. The terminal program, the desktop application
// and the unattended agent all run this.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/dispose/deletion_service.h"
#include "core/model/cleanup_plan.h"
#include "core/session/scan_session.h"

namespace tidra {

/// An item of a plan with what is known of it besides.
struct CleanupCandidate {
  CleanupPlan::Item item;
  std::optional<ScanReportItem> reported;  // absent for a path that no rule names
  std::optional<FileIdentity> identity;    // seen by the scan
  std::optional<std::string> project;      // the project's folder; absent outside projects
  std::optional<std::string> refusal;  // why it must not be removed, the rest of a sentence that begins with its path
};

struct CleanupOptions {
  bool force = false;          // also what a keep file or its use protects
  bool allowAnyPath = false;   // also paths that no rule names
  bool takesUnproven = false;  // also projects' findings that nothing shows a tool to have made

  /// From then on nothing more is looked at; what is returned is incomplete and no selection. Absent: never.
  std::function<bool()> shouldCancel = {};
};

/// Findings of a scan in the given order. Those that a keep file or their use protects carry a refusal.
std::vector<CleanupCandidate> candidatesOf(const std::vector<ScanReportItem>& items, const ScanOutcome& outcome,
                                           const TidraPathResolver& resolver, const CleanupOptions& options);

/// What a selection leaves to a person, because nothing shows that a tool made it.
struct UnprovenFindings {
  std::size_t count = 0;
  std::int64_t bytes = 0;
};
UnprovenFindings unprovenIn(const ScanReport& report);

/// Everything that a scan has found, the largest first, without what unprovenIn() counts unless the options take that,
/// and without what goes with something that holds it. Those that a keep file or their use protects, and those that
/// hold a finding that stays, carry a refusal.
std::vector<CleanupCandidate> selectForCleanup(const ScanOutcome& outcome, const TidraPathResolver& resolver,
                                               const CleanupOptions& options);

/// Settles what lies in what. A candidate gets a refusal when it holds a finding that stays: one of a higher tier that
/// is no candidate, one whose candidate carries a refusal, or one of `spared`, which has reasons by path (the rest of a
/// sentence that begins with that path). `going` are findings that need not be candidates to go. Returns the paths of
/// the candidates that go with one that holds them and need no removal of their own; that one takes the highest tier of
/// them.
std::set<std::string> settleNested(std::vector<CleanupCandidate>& candidates, const std::vector<NestedFinding>& nested,
                                   std::map<std::string, std::string> spared = {},
                                   const std::set<std::string>& going = {});

/// The plan of those candidates that carry no refusal.
CleanupPlan makeCleanupPlan(const std::vector<CleanupCandidate>& candidates, DisposalMethod method,
                            const ScanRequest& request, std::optional<std::string> reason = {});

struct CheckedPlan {
  std::vector<CleanupCandidate> candidates;  // in the order of the plan's items, without those inside another one
  std::vector<std::string> notes;            // for people: what could not be read and why
};

/// Looks at the items of a plan again: each must still be something that the rules name, and of no higher tier than the
/// plan says. `request` tells catalog, exclusions and circumstances; its roots and categories are replaced by what the
/// items need.
CheckedPlan checkPlan(const CleanupPlan& plan, ScanRequest request, const CleanupOptions& options);

struct CleanupProgress {
  std::size_t itemsDone = 0;
  std::size_t items = 0;
  std::int64_t bytesDone = 0;
  std::int64_t bytes = 0;   // both as the scan found them
  bool isEstimate = false;  // tools will remove some of it, which may free more or less
  std::string currentPath;
};

struct CleanupSetting {
  TidraDeletionService::Setting service;
  DisposalMethod method = DisposalMethod::trash;
  QuarantineConfig quarantine;
  CleanupOptions options;
  bool dryRun = false;
  std::function<void(const CleanupProgress&)> onProgress;  // before each item and at the end; on the caller's thread

  /// What became of each item, right after it, and the bytes that it counts for in every sum; 0 for a failure. What
  /// this or onProgress throws ends the removal there.
  std::function<void(const CleanupCandidate&, const TidraDeletionService::Result&, std::int64_t bytes)> onResult;
};

struct CleanupOutcome {
  DisposalOutcome disposal;                // refused candidates are among the failures
  std::vector<UnmeasuredSize> unmeasured;  // in the order of their receipts; in a dry run too
  std::vector<std::string> remainders;     // a sentence for each receipt of which something stays
  bool cancelled = false;                  // what was not begun by then is in neither list
};

/// Removes candidates one after another. What protects an item is asked again right before it is removed.
CleanupOutcome runCleanup(const std::vector<CleanupCandidate>& candidates, const CleanupSetting& setting);

}  // namespace tidra
