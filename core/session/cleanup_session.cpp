#include "core/session/cleanup_session.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>

#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/dispose/tool_targets.h"
#include "core/model/scan_activity_classification.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/session/git_checks.h"
#include "core/session/removal_progress.h"

namespace tidra {
namespace {

bool isCancelled(const std::function<bool()>& shouldCancel) { return shouldCancel && shouldCancel(); }

std::optional<Refusal> reasonToKeep(RemovalGuard& guard, const std::string& path,
                                    const std::optional<std::string>& project, const CleanupOptions& options) {
  return options.force ? guard.reasonUnremovable(path) : guard.reasonToKeep(path, project);
}

/// Returns a scan request that finds just the items of a plan.
ScanRequest narrowed(ScanRequest request, const CleanupPlan& plan) {
  request.onlyPaths.emplace();
  request.categories.emplace();
  request.roots.clear();
  request.ecosystems.reset();
  request.tiers.reset();
  request.minimumBytes = 0;
  request.olderThan.reset();
  request.provenAge = plan.olderThan ? std::optional(parseAge(*plan.olderThan)) : std::nullopt;
  request.oneFileSystem = false;
  request.systemReach = SystemReach::everywhere;  // the items are sufficient bounds
  for (const CleanupPlan::Item& item : plan.items) {
    request.onlyPaths->insert(item.path);
    // The environment of a pip target is a finding of the walk.
    const std::string path =
        item.path.starts_with(pipTargetPrefix) ? item.path.substr(pipTargetPrefix.size()) : item.path;
    // A whole trash is found by its rule; scans do not enter it.
    if (path.starts_with('/') && !StoreNames::isWholeTrash(path)) {
      request.onlyPaths->insert(path);
      request.roots.push_back(parentPath(path));
    }
    if (item.source != ArtifactSource::projectWalk) request.categories->insert(item.category);
  }
  std::sort(request.roots.begin(), request.roots.end());
  request.roots.erase(std::unique(request.roots.begin(), request.roots.end()), request.roots.end());
  request.scanProjects = !request.roots.empty();
  request.scanSystem = !request.categories->empty();
  return request;
}

/// Returns the failure that removal would have for a missing path or tool; nullopt otherwise.
std::optional<std::string> reasonItIsGone(const std::string& path, const TidraPathResolver& resolver) {
  if (!isToolBackedTarget(path)) {
    const auto facts = pathFacts(path);
    const bool missing =
        facts.failure() == std::errc::no_such_file_or_directory || facts.failure() == std::errc::not_a_directory;
    return missing ? std::optional<std::string>("Path not found") : std::nullopt;
  }
  try {
    ToolTargets().commandFor(path, resolver);
    return std::nullopt;
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

/// Returns how an exclusion keeps a path that the scan did not find; nullopt if none does. Of patterns, only those that
/// match the path itself, or what a scan saw inside, are known.
std::optional<std::string> exclusionOf(const std::string& path, const TidraScanExclusionFilter& exclusions,
                                       const ScanOutcome& outcome, const TidraPathResolver& resolver) {
  if (exclusions.isExcluded(path)) return "is excluded; tidra exclude list shows by what";
  if (const auto withheld = outcome.withheld.find(path); withheld != outcome.withheld.end()) {
    if (withheld->second.why == KeptInside::Why::excluded) return withheld->second.reason(resolver);
  }
  for (const std::string& excluded : exclusions.pathPrefixes) {
    if (isSameOrInside(excluded, path) && pathExists(excluded)) return KeptInside{excluded}.reason(resolver);
  }
  return std::nullopt;
}

/// Returns which limit of its plan an item no longer meets; nullopt if it meets all.
std::optional<std::string> missedLimit(const CleanupPlan& plan, const ScanArtifactFinding& finding) {
  if (plan.olderThan && !finding.lastActivityDate) {
    return "has no known date of use any more, but the plan was made with --older-than; make a new plan";
  }
  if (plan.olderThan && !ScanActivityClassification::isAtLeastThisOld(*finding.lastActivityDate,
                                                                      parseAge(*plan.olderThan), plan.createdAt)) {
    return fmt::format("was worked on since the plan was made with --older-than {}; make a new plan", *plan.olderThan);
  }
  if (plan.minBytes && signedBytes(finding.sizeBytes) < *plan.minBytes) {
    return fmt::format("has become smaller than --min-size {} of the plan; make a new plan", *plan.minBytes);
  }
  return std::nullopt;
}

/// Returns why an item must stay of which the scan found nothing; nullopt if it need not.
std::optional<Refusal> refusalOfMissing(const CleanupPlan::Item& item, const TidraScanExclusionFilter& exclusions,
                                        const ScanOutcome& outcome, const CleanupOptions& options,
                                        const TidraPathResolver& resolver) {
  if (auto reason = exclusionOf(item.path, exclusions, outcome, resolver)) {
    return Refusal{Refusal::Why::excluded, std::move(*reason)};
  }
  if (options.allowAnyPath) return std::nullopt;
  if (const auto withheld = outcome.withheld.find(item.path); withheld != outcome.withheld.end()) {
    return Refusal{Refusal::Why::contents, withheld->second.reason(resolver)};
  }
  if (auto reason = reasonItIsGone(item.path, resolver)) return Refusal{Refusal::Why::gone, std::move(*reason)};
  return Refusal{Refusal::Why::unmatched, "matches no rule"};
}

/// Returns how a finding differs from its item in the plan; nullopt if it is as planned.
std::optional<std::string> changeSince(const CleanupPlan& plan, const CleanupPlan::Item& item,
                                       const ScanArtifactFinding& finding) {
  if (finding.safetyTier > item.tier) {
    const auto& hint = finding.restoreHint;
    return fmt::format("is of tier {} by now{}, but the plan says {}; make a new plan", rawValue(finding.safetyTier),
                       hint ? fmt::format(" ({})", escapedForTerminal(*hint)) : "", rawValue(item.tier));
  }
  if (item.evidence && lacksEvidence(finding)) {
    const auto& gap = finding.noEvidence;
    return fmt::format(
        "{} when the plan was made, but nothing shows any more that a tool made it or that it could bring it back{}; "
        "make a new plan",
        *item.evidence, gap ? " (" + escapedForTerminal(*gap) + ")" : "");
  }
  return missedLimit(plan, finding);
}

/// Returns why an item no longer matches its plan; nullopt if it does.
std::optional<Refusal> refusalOf(const CleanupPlan& plan, const CleanupPlan::Item& item, const FoundArtifact* found,
                                 const TidraScanExclusionFilter& exclusions, const ScanOutcome& outcome,
                                 const CleanupOptions& options, const TidraPathResolver& resolver) {
  if (found == nullptr) return refusalOfMissing(item, exclusions, outcome, options, resolver);
  if (auto change = changeSince(plan, item, found->finding)) return Refusal{Refusal::Why::changed, std::move(*change)};
  return std::nullopt;
}

/// Resolves nesting. A candidate gets a refusal if it contains a finding that stays: one with a refusal, or one that is
/// no candidate and has a higher tier or must be kept. Candidates inside another one are dropped; the outer one takes
/// their highest tier.
void settleNested(std::vector<CleanupCandidate>& candidates, const std::vector<NestedFinding>& nested,
                  RemovalGuard& guard, const CleanupOptions& options) {
  if (nested.empty()) return;
  std::map<std::string_view, CleanupCandidate*> byPath;
  for (CleanupCandidate& candidate : candidates) byPath.emplace(candidate.item.path, &candidate);
  // Innermost first, so that a refusal propagates outwards.
  for (const NestedFinding& pair : nested) {
    const auto outer = byPath.find(pair.outer);
    if (outer == byPath.end() || outer->second->refusal) continue;
    const auto inner = byPath.find(pair.inner);
    if (inner != byPath.end() && inner->second->refusal) {
      outer->second->refusal = pair.refusalOfOuter(*inner->second->refusal);
    } else if (inner == byPath.end() && pair.innerTier > outer->second->item.tier) {
      outer->second->refusal = pair.refusalOfUnselectedInner();
    } else if (inner == byPath.end() && !isCancelled(options.shouldCancel)) {
      const auto reason = reasonToKeep(guard, pair.inner, pair.innerProject, options);
      if (reason) outer->second->refusal = pair.refusalOfOuter(*reason);
    }
  }
  std::set<std::string> parts;
  for (const NestedFinding& pair : nested) {
    const auto outer = byPath.find(pair.outer);
    if (outer == byPath.end() || outer->second->refusal || !byPath.contains(pair.inner)) continue;
    parts.insert(pair.inner);
    // Agreeing to the outer item, now or in a plan, includes what is inside it.
    auto& tier = outer->second->item.tier;
    tier = std::max(tier, pair.innerTier);
  }
  std::erase_if(candidates, [&](const auto& candidate) { return parts.contains(candidate.item.path); });
}

/// Returns nullopt if the item was measured or not removed.
std::optional<UnmeasuredSize> unmeasuredSizeOf(const CleanupPlan::Item& item,
                                               const TidraDeletionService::Result& result) {
  const auto* disposed = std::get_if<TidraDeletionService::Disposed>(&result);
  if (disposed == nullptr || disposed->receipt.bytes) return std::nullopt;
  return UnmeasuredSize{.path = item.path,
                        .bytes = disposed->reclaimed.value_or(item.bytes),
                        .reportedByTool = disposed->reclaimed.has_value()};
}

std::int64_t countedBytes(const TidraDeletionService::Result& result, const std::optional<UnmeasuredSize>& unmeasured) {
  if (unmeasured) return unmeasured->bytes;
  const auto* disposed = std::get_if<TidraDeletionService::Disposed>(&result);
  return disposed == nullptr ? 0 : disposed->receipt.bytes.value_or(0);
}

/// A removal in order: the last look at each candidate, and the sums of what went.
class CleanupRun {
 public:
  CleanupRun(const std::vector<CleanupCandidate>& candidates, const CleanupSetting& setting)
      : candidates_(candidates),
        setting_(setting),
        progress_(candidates, setting),
        service_(progress_.observed()),
        guard_(setting.service.resolver, setting.service.mounts),
        git_(setting.git, setting.service.resolver, setting.service.shouldCancel) {}

  CleanupOutcome run() {
    const auto items = itemsOfService();
    outcome_.disposal = service_.dispose(
        items, setting_.method, setting_.dryRun, setting_.quarantine,
        {.refuse = [this](std::size_t index) { return begin(candidates_[index]); },
         .finished = [this](std::size_t index, const auto& result) { finish(candidates_[index], result); }});
    outcome_.notes.assign(service_.notes().begin(), service_.notes().end());
    // If the last item was interrupted, nothing else was begun.
    outcome_.cancelled = isCancelled(setting_.service.shouldCancel);
    progress_.end();
    return std::move(outcome_);
  }

 private:
  std::vector<TidraDeletionService::Item> itemsOfService() {
    std::vector<TidraDeletionService::Item> items;
    items.reserve(candidates_.size());
    for (const CleanupCandidate& candidate : candidates_) {
      items.push_back({candidate.item.path, candidate.identity()});
      if (candidate.found == nullptr) continue;
      items.back().repositories = candidate.found->repositories;
      if (!candidate.refusal && !candidate.found->place.empty()) removed_.add(candidate.found->place);
    }
    return items;
  }

  /// Returns why the candidate must stay.
  std::optional<std::string> begin(const CleanupCandidate& candidate) {
    progress_.begin(candidate);
    auto refusal = candidate.refusal ? candidate.refusal
                                     : reasonToKeep(guard_, candidate.item.path, candidate.project(), setting_.options);
    if (!refusal && !setting_.dryRun && candidate.found != nullptr) {
      refusal = reasonOfLaterWork(*candidate.found, candidate.item.tier, git_, removed_);
    }
    if (refusal) return setting_.refusalText ? setting_.refusalText(*refusal) : refusal->text;
    if (setting_.beforeItem) setting_.beforeItem(candidate);
    return std::nullopt;
  }

  void finish(const CleanupCandidate& candidate, const TidraDeletionService::Result& result) {
    const auto unmeasured = unmeasuredSizeOf(candidate.item, result);
    const std::int64_t counted = countedBytes(result, unmeasured);
    if (setting_.onResult) setting_.onResult(candidate, result, counted);
    if (unmeasured) outcome_.unmeasured.push_back(*unmeasured);
    if (const auto* disposed = std::get_if<TidraDeletionService::Disposed>(&result)) {
      if (!disposed->remainder.empty()) outcome_.remainders.push_back(disposed->remainder);
      outcome_.freedEach.push_back(freedBytesOf(candidate, *disposed, counted));
      outcome_.freedBytes = saturatedSum(outcome_.freedBytes, outcome_.freedEach.back());
    }
    if (const auto& freed = service_.freedByFailure()) {
      outcome_.partial.push_back({candidate.item.path, *freed});
      outcome_.freedBytes = saturatedSum(outcome_.freedBytes, *freed);
    }
    progress_.finish(candidate);
  }

  const std::vector<CleanupCandidate>& candidates_;
  const CleanupSetting& setting_;
  RemovalProgress progress_;
  TidraDeletionService service_;
  RemovalGuard guard_;
  const TidraGitMetadataReader git_;
  PlaceSet removed_;  // everything that goes
  CleanupOutcome outcome_;
};

}  // namespace

std::int64_t CleanupCandidate::freeableBytes() const {
  return found == nullptr ? item.bytes : signedBytes(found->finding.freeable());
}

std::int64_t freedBytesOf(const CleanupCandidate& candidate, const TidraDeletionService::Disposed& disposed,
                          std::int64_t counted) {
  if (disposed.receipt.bytes) return disposed.freed;
  if (isToolBackedTarget(disposed.receipt.path)) return disposed.reclaimed ? counted : candidate.freeableBytes();
  return disposed.receipt.method == DisposalMethod::delete_ ? candidate.freeableBytes() : 0;
}

UnprovenFindings unprovenIn(const ScanOutcome& outcome) {
  UnprovenFindings unproven;
  std::vector<const FoundArtifact*> findings;
  for (const FoundArtifact& found : outcome.findings) {
    if (!lacksEvidence(found.finding)) continue;
    findings.push_back(&found);
    ++unproven.count;
    unproven.bytes = saturatedSum(unproven.bytes, signedBytes(found.finding.sizeBytes));
  }
  unproven.freeableBytes = signedBytes(CombinedUse(findings).freeableBytes());
  return unproven;
}

std::vector<CleanupCandidate> selectForCleanup(const ScanOutcome& outcome, RemovalGuard& guard,
                                               const CleanupOptions& options) {
  std::vector<CleanupCandidate> candidates;
  for (const FoundArtifact& found : outcome.findings) {
    if (isCancelled(options.shouldCancel)) break;
    if (!options.takesUnproven && lacksEvidence(found.finding)) continue;
    if (options.tiers && !options.tiers->contains(found.finding.safetyTier)) continue;
    if (options.isSelectable && !options.isSelectable(found)) continue;
    auto& candidate = candidates.emplace_back(
        CleanupCandidate{.item = CleanupPlan::Item::make(found), .found = &found, .refusal = std::nullopt});
    candidate.refusal = reasonToKeep(guard, candidate.item.path, candidate.project(), options);
  }
  settleNested(candidates, outcome.nested, guard, options);
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const auto& a, const auto& b) { return a.item.bytes > b.item.bytes; });
  return candidates;
}

std::vector<CleanupPlan::Item> itemsToRemove(const std::vector<CleanupCandidate>& candidates) {
  std::vector<CleanupPlan::Item> items;
  for (const CleanupCandidate& candidate : candidates) {
    if (!candidate.refusal) items.push_back(candidate.item);
  }
  return items;
}

CleanupPlan makeCleanupPlan(const std::vector<CleanupCandidate>& candidates, DisposalMethod method,
                            const ScanRequest& request, std::optional<std::string> reason) {
  CleanupPlan plan{.createdAt = request.now,
                   .host = request.host,
                   .method = method,
                   .reason = std::move(reason),
                   .items = itemsToRemove(candidates)};
  if (request.olderThan) plan.olderThan = ageText(*request.olderThan);
  if (request.minimumBytes > 0) plan.minBytes = signedBytes(request.minimumBytes);
  return plan;
}

CheckedPlan checkPlan(const CleanupPlan& plan, ScanRequest request, const CleanupOptions& options) {
  const TidraPathResolver resolver = request.resolver;
  RemovalGuard guard(resolver, request.mounts);
  const TidraScanExclusionFilter exclusions = withLinksResolved(request.exclusions);
  CheckedPlan checked{.scan = std::make_unique<const ScanOutcome>(runScan(narrowed(std::move(request), plan))),
                      .candidates = {}};
  const ScanOutcome& scan = *checked.scan;
  std::unordered_map<std::string_view, const FoundArtifact*> byPath;
  for (const FoundArtifact& found : scan.findings) byPath.emplace(found.finding.path, &found);
  for (const CleanupPlan::Item& item : plan.items) {
    if (isCancelled(options.shouldCancel)) break;
    const auto known = byPath.find(item.path);
    const FoundArtifact* found = known == byPath.end() ? nullptr : known->second;
    auto& candidate = checked.candidates.emplace_back(CleanupCandidate{
        .item = item, .found = found, .refusal = refusalOf(plan, item, found, exclusions, scan, options, resolver)});
    if (!candidate.refusal) candidate.refusal = reasonToKeep(guard, candidate.item.path, candidate.project(), options);
  }
  settleNested(checked.candidates, scan.nested, guard, options);
  return checked;
}

CleanupSetting CleanupSetting::forRequest(const ScanRequest& request, DisposalMethod method,
                                          QuarantineConfig quarantine, bool dryRun) {
  CleanupSetting setting;
  setting.service.resolver = request.resolver;
  setting.service.host = request.host;
  setting.service.mounts = request.mounts;
  setting.service.workers = request.workers;
  setting.service.shouldCancel = request.shouldCancel;
  setting.service.seenAt = request.now;
  setting.method = method;
  setting.quarantine = std::move(quarantine);
  setting.dryRun = dryRun;
  setting.git = request.git;
  return setting;
}

CleanupOutcome runCleanup(const std::vector<CleanupCandidate>& candidates, const CleanupSetting& setting) {
  return CleanupRun(candidates, setting).run();
}

}  // namespace tidra
