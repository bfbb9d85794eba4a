// From a scan's outcome or a plan to the removal of each item. Shared by the terminal program and the agent.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/dispose/deletion_service.h"
#include "core/model/cleanup_plan.h"
#include "core/platform/path_text.h"
#include "core/session/refusal.h"
#include "core/session/removal_guard.h"
#include "core/session/scan_session.h"

namespace tidra {

/// An item of a plan, and what a scan found at its path. Both are kept apart: a plan may be older than the scan.
struct CleanupCandidate {
  CleanupPlan::Item item;                // as planned
  const FoundArtifact* found = nullptr;  // in the findings of a ScanOutcome; null for a path that no rule matches
  std::optional<Refusal> refusal;        // why it must stay

  /// Returns what removing it alone frees, as the scan measured it; its planned size for a path that no rule matches.
  std::int64_t freeableBytes() const;
  /// From the scan; nullopt for a path that no rule matches.
  std::optional<FileIdentity> identity() const { return found == nullptr ? std::nullopt : found->identity; }
  /// The project folder; for a path without a rule, the parent of an artefact. Absent outside projects.
  std::optional<std::string> project() const {
    if (found != nullptr) return found->project();
    return item.source == ArtifactSource::projectWalk ? std::optional(parentPath(item.path)) : std::nullopt;
  }
};

struct CleanupOptions {
  bool force = false;                                      // ignore keep files and use by processes
  bool allowAnyPath = false;                               // include paths that no rule matches; never excluded ones
  bool takesUnproven = false;                              // include findings of projects without evidence
  std::optional<std::set<ArtifactSafetyTier>> tiers = {};  // of findings to select; absent: all
  std::function<bool(const FoundArtifact&)> isSelectable = {};  // further condition; absent: none

  /// Polled; once true, the result is incomplete and must not be used as a selection. Absent: never.
  std::function<bool()> shouldCancel = {};
};

/// Findings without evidence, which a selection leaves to the user.
struct UnprovenFindings {
  std::size_t count = 0;
  std::int64_t bytes = 0;
  std::int64_t freeableBytes = 0;  // together
};
UnprovenFindings unprovenIn(const ScanOutcome& outcome);

/// Returns the findings of a scan, largest first, without those of unprovenIn() (unless selected by option) and those
/// inside another one. Findings that the guard keeps, and those that contain a finding that stays, have a refusal. The
/// candidates refer to the findings of `outcome`, which must outlive them.
std::vector<CleanupCandidate> selectForCleanup(const ScanOutcome& outcome, RemovalGuard& guard,
                                               const CleanupOptions& options);
std::vector<CleanupCandidate> selectForCleanup(ScanOutcome&&, RemovalGuard&, const CleanupOptions&) = delete;

/// Returns the items of the candidates without a refusal.
std::vector<CleanupPlan::Item> itemsToRemove(const std::vector<CleanupCandidate>& candidates);

/// Returns the plan of the candidates without a refusal.
CleanupPlan makeCleanupPlan(const std::vector<CleanupCandidate>& candidates, DisposalMethod method,
                            const ScanRequest& request, std::optional<std::string> reason = {});

struct [[nodiscard]] CheckedPlan {
  std::unique_ptr<const ScanOutcome> scan;   // not null; the candidates refer to its findings
  std::vector<CleanupCandidate> candidates;  // in plan order, without those inside another one
};

/// Checks a plan against a new scan: each item must still match a rule, with a tier no higher than planned. `request`
/// supplies catalog, exclusions, mounts and environment; its roots and categories are replaced by what the items need.
CheckedPlan checkPlan(const CleanupPlan& plan, ScanRequest request, const CleanupOptions& options);

struct CleanupProgress {
  std::size_t itemsDone = 0;
  std::size_t items = 0;
  std::int64_t bytesDone = 0;
  std::int64_t bytes = 0;            // both freeable, from the scan
  bool isEstimate = false;           // tools remove some items, whose sizes may differ
  std::uint64_t entriesRemoved = 0;  // files and folders deleted so far, inside the item that is being removed too
  std::string currentPath;
};

struct CleanupSetting {
  TidraDeletionService::Setting service;
  DisposalMethod method = DisposalMethod::trash;
  QuarantineConfig quarantine;
  CleanupOptions options;
  bool dryRun = false;
  std::optional<std::string> git;  // the executable, absent if there is none
  /// Returns the message of a failure that is a refusal, and is called right before onResult; absent: its text.
  std::function<std::string(const Refusal&)> refusalText;
  /// Called before each removal; when it throws, the item stays and the removal ends.
  std::function<void(const CleanupCandidate&)> beforeItem;

  /// Called before each item, about every tenth of a second while one is deleted, and at the end; on the caller's
  /// thread.
  std::function<void(const CleanupProgress&)> onProgress;

  /// Called after each item with its result and the bytes it adds to every sum; 0 for a failure. Exceptions of this and
  /// onProgress end the removal.
  std::function<void(const CleanupCandidate&, const TidraDeletionService::Result&, std::int64_t bytes)> onResult;

  /// Returns the setting for what a scan with this request found: on its machine, cancelled as the scan is, and without
  /// what came into a trash after it. Clock, protected folders, options and callbacks are the caller's.
  static CleanupSetting forRequest(const ScanRequest& request, DisposalMethod method, QuarantineConfig quarantine,
                                   bool dryRun);
};

/// A deletion that failed after it had begun.
struct PartialRemoval {
  std::string path;
  std::int64_t freedBytes = 0;
};

struct [[nodiscard]] CleanupOutcome {
  DisposalOutcome disposal;                // refused candidates are among the failures
  std::vector<UnmeasuredSize> unmeasured;  // in the order of their receipts; also in a dry run
  std::vector<std::string> remainders;     // one sentence per receipt of which something stays
  std::vector<std::string> notes;          // sentences on the volumes of what was removed, each once
  std::int64_t freedBytes = 0;             // that the volumes gained, or would gain; tools' items with their sizes
  std::vector<std::int64_t> freedEach;     // the same of each receipt
  std::vector<PartialRemoval> partial;     // of some failures; counted in freedBytes
  bool cancelled = false;                  // items not begun are in neither list
};

/// Returns what an item's removal freed. `counted`: the bytes that it adds to every sum.
std::int64_t freedBytesOf(const CleanupCandidate& candidate, const TidraDeletionService::Disposed& disposed,
                          std::int64_t counted);

/// Removes candidates in order. Right before each removal it checks again what a RemovalGuard checks, and the
/// repositories inside.
CleanupOutcome runCleanup(const std::vector<CleanupCandidate>& candidates, const CleanupSetting& setting);

}  // namespace tidra
