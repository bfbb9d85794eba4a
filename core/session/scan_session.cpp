// A scan, in order: start the tools for places outside projects; walk each root while projects are dated in the
// background; assign the dates; run the probes; withhold findings that must stay; assess evidence; ask git; date old
// projects again; settle nested findings; filter; bound the sizes.
#include "core/session/scan_session.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iterator>
#include <utility>

#include "core/base/text.h"
#include "core/dispose/known_stores.h"
#include "core/model/removal_leftover.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/artifact_scanner.h"
#include "core/scan/directory_size.h"
#include "core/scan/finding_assessment.h"
#include "core/scan/place_set.h"
#include "core/scan/removal_note.h"
#include "core/scan/rule_index.h"
#include "core/scan/system_scanner.h"
#include "core/session/finding_settlement.h"
#include "core/session/git_checks.h"
#include "core/session/leftover_finder.h"
#include "core/session/never_removed.h"
#include "core/session/pack_hint.h"
#include "core/session/project_activity_reader.h"
#include "core/session/root_plans.h"
#include "core/session/session_progress.h"
#include "core/session/system_reach.h"
#include "core/session/walk_notes.h"

namespace tidra {
namespace {

class ScanSession {
 public:
  explicit ScanSession(const ScanRequest& request)
      : request_(request),
        rulesInside_(request.rulesOfAll(), request.platform),
        exclusions_(withLinksResolved(request.exclusions)),
        stores_(knownStores(request.resolver, request.quarantines)),
        activity_(request.git, request.resolver),
        offPacks_(request.offPacks),
        progress_(request) {}

  ScanOutcome run() {
    const auto started = std::chrono::steady_clock::now();
    if (request_.mounts.empty())
      note("The table of mounted file systems could not be read, so scans may enter any of them.");
    std::optional<SystemArtifactScanner> system;
    if (request_.scanSystem) system.emplace(systemRequest_ = makeSystemRequest());
    if (request_.scanProjects) {
      walkRoots();
      finishActivity();
    }
    if (system) {
      addSystemFindings(*system);
      addLeftovers();
    }
    progress_.beginChecks();
    withholdNeverRemoved();
    noteUnclaimedLeftovers();
    noteWithheld();
    auto unread = assessFindings(outcome_.findings, request_.catalog, request_.platform, request_.resolver,
                                 [this] { return shouldCancel(); });
    for (std::string& text : unread) note(std::move(text));
    askGit();
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - started;
    outcome_.circumstances = circumstances(duration);
    proveAges();
    settlement().run(covered_);
    noteIdleExclusions();
    noteOffPacks();
    outcome_.circumstances.partial = shouldCancel();
    return std::move(outcome_);
  }

 private:
  ScanReport::Circumstances circumstances(std::chrono::duration<double> duration) const {
    return {.catalogVersion = request_.catalog.catalogVersion,
            .generatedAt = request_.now + std::chrono::floor<std::chrono::seconds>(duration),
            .host = request_.host,
            .platform = request_.platform,
            .scanRoot = joined(request_.roots, ", "),
            .durationSeconds = duration.count(),
            .volume = volume(),
            .thresholds = request_.thresholds};
  }

  void walkRoots() {
    for (const RootPlan& plan : planRoots(request_.roots, walkRequest())) {
      // The roots of a recheck are parents of its items, which nobody named.
      if (plan.obstacle && !request_.isRecheck()) note(*plan.obstacle);
      // A recheck reads only the parents' entries, so no walk covers another.
      if (plan.isWalked() || (request_.isRecheck() && !plan.obstacle)) walk(plan);
    }
    if (request_.roots.size() > 1 && !request_.isRecheck()) dropCoveredFindings(outcome_.findings);
    progress_.deliverFindings();
  }

  FilesystemArtifactScanner::Request walkRequest() {
    return {.root = {},
            .catalog = &request_.catalog,
            .rulesInside = &rulesInside_,
            .offPacks = request_.offPacks,
            .platform = request_.platform,
            .resolver = request_.resolver,
            .exclusionFilter = exclusions_,
            .enabledEcosystems = request_.ecosystems,
            .stores = stores_,
            .mounts = request_.mounts,
            .oneFileSystem = request_.oneFileSystem,
            .onlyNames = request_.isRecheck() ? std::optional(std::set<std::string>{}) : std::nullopt,
            .workers = request_.workers,
            .shouldCancel = [this] { return shouldCancel(); },
            .onProgress = {}};
  }

  void walk(const RootPlan& plan) {
    if (shouldCancel()) return;
    progress_.beginWalk();
    auto request = walkRequest();
    request.root = plan.root;
    request.onlyNames = plan.onlyNames ? plan.onlyNames : namesIn(plan.root);
    const auto askActivity = activityQuestions(plan);
    request.onProgress = [&](const auto& tick) {
      if (tick.latestFinding != nullptr) askActivity(tick.latestFinding->finding);
      progress_.advance(tick);
    };
    auto result = FilesystemArtifactScanner::scan(request);
    outcome_.entriesVisited += result.entriesVisited;
    outcome_.leftOut.ofEcosystem += result.ofOtherEcosystems;
    for (std::string& text : notesOfUnread(result, shown(plan.root))) note(std::move(text));
    unclaimedLeftovers_.insert(result.unclaimedLeftovers.begin(), result.unclaimedLeftovers.end());
    withhold(result.withheld);
    offPacks_.addProjects(result.projectsOfOffPacks);
    for (const FoundArtifact& found : result.findings) askActivity(found.finding);
    append(std::move(result.findings));
  }

  void append(std::vector<FoundArtifact> found) {
    auto& all = outcome_.findings;
    if (all.empty()) {
      all = std::move(found);
    } else {
      all.insert(all.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
    }
  }

  /// Returns a function that queues the project of a finding for its activity date.
  std::function<void(const ScanArtifactFinding&)> activityQuestions(const RootPlan& plan) {
    auto walk = walkRequest();
    walk.root = plan.realPath;
    const auto sources = std::make_shared<const SourceDateReader>(walk, request_.now);
    return [this, &plan, sources](const ScanArtifactFinding& finding) {
      const std::string& project = *finding.groupRoot;
      if (isSameOrInside(project, plan.root)) return activity_.add(project, realPathBelow(plan, project), sources);
      const auto above = realPath(project);  // the root lies inside the project
      if (above) activity_.add(project, *above, sources);
    };
  }

  std::optional<std::set<std::string>> namesIn(const std::string& root) const {
    if (!request_.isRecheck()) return std::nullopt;
    std::set<std::string> names;
    for (const std::string& path : *request_.onlyPaths) {
      if (path.starts_with('/') && parentPath(path) == root) names.emplace(lastPathComponent(path));
    }
    return names;
  }

  SystemArtifactScanner::Request makeSystemRequest() {
    SystemArtifactScanner::Request request = systemRequestOf(request_);
    request.context.shouldCancel = request.shouldCancel = [this] { return shouldCancel(); };
    request.context.exclusionFilter.add(exclusions_);
    if (request.bounds) outcome_.outOfBounds = outOfBoundsNote(request_);
    request.rulesInside = &rulesInside_;
    request.exclusions = exclusions_;
    request.stores = stores_;
    request.onProgress = [this](const auto& tick) { progress_.advance(tick); };
    return request;
  }

  void addSystemFindings(SystemArtifactScanner& system) {
    if (shouldCancel()) return;
    auto result = system.scan(outcome_.findings);
    // Who names a category wants to know why it is empty.
    auto& notes = request_.categories && !request_.isRecheck() ? outcome_.notes : outcome_.details;
    notes.insert(notes.end(), result.notes.begin(), result.notes.end());
    withhold(result.withheld);
    covered_ = std::move(result.covered);
    for (FoundArtifact& found : result.findings) {
      if (isUnclaimedLeftover(found.finding.path)) {
        unclaimedLeftovers_.insert(found.finding.path);
      } else {
        relabelLeftover(found.finding);
        outcome_.findings.push_back(std::move(found));
      }
    }
  }

  /// Whether an entry is only named like an interrupted removal.
  static bool isUnclaimedLeftover(const std::string& path) {
    return RemovalLeftover::isEither(lastPathComponent(path)) && !RemovalNote::claims(path);
  }

  /// Rules about everything in a folder also match interrupted removals.
  static void relabelLeftover(ScanArtifactFinding& finding) {
    if (!RemovalLeftover::isEither(lastPathComponent(finding.path))) return;
    auto leftover = RemovalLeftover::finding(finding.path, finding.sizeBytes);
    leftover.groupRoot = finding.groupRoot;
    leftover.source = finding.source;
    finding = std::move(leftover);
  }

  void noteUnclaimedLeftovers() {
    if (unclaimedLeftovers_.empty()) return;
    std::vector<std::string> places;
    for (const std::string& path : unclaimedLeftovers_) places.push_back(shown(path));
    note(RemovalLeftover::unclaimedText(places));
  }

  void addLeftovers() {
    if (shouldCancel()) return;
    auto [leftovers, unclaimed] =
        leftoversBesideSystemPlaces(request_.catalog, request_.platform, systemRequest_.categories, request_.resolver);
    const auto isOutOfBounds = [&](const std::string& place) {
      return systemRequest_.bounds && !systemRequest_.bounds->roots.covers(place);
    };
    RealPlaces real;
    std::copy_if(unclaimed.begin(), unclaimed.end(), std::inserter(unclaimedLeftovers_, unclaimedLeftovers_.end()),
                 [&](const std::string& path) { return !isOutOfBounds(real.of(path)); });
    if (!RemovalLeftover::isWanted(request_.ecosystems)) return;
    PlaceSet known;
    for (const FoundArtifact& found : outcome_.findings) known.add(found.finding.path);
    std::erase_if(leftovers, [&](const FoundArtifact& leftover) {
      const WalkFilter& excluded = systemRequest_.context.exclusionFilter;
      return isOutOfBounds(leftover.place) || known.covers(leftover.finding.path) ||
             excluded.bars(leftover.finding.path) || excluded.bars(leftover.place);
    });
    withhold(measureLeftovers(leftovers, {.workers = request_.workers,
                                          .layers = OverlayLayers(request_.mounts),
                                          .exclusions = exclusions_,
                                          .stores = stores_,
                                          .shouldCancel = [this] { return shouldCancel(); }}));
    for (FoundArtifact& leftover : leftovers) {
      progress_.add(leftover);
      outcome_.findings.push_back(std::move(leftover));
    }
  }

  void withhold(const std::vector<WithheldFinding>& findings) {
    for (const WithheldFinding& finding : findings) {
      if (request_.asksFor(finding.path)) outcome_.withheld.emplace(finding.path, finding.kept);
    }
  }

  void withholdNeverRemoved() {
    const NeverRemoved never(request_.exclusions, exclusions_);
    std::erase_if(outcome_.findings, [&](const FoundArtifact& found) {
      const bool isHidden = never.appliesUnseen(found);
      if (isHidden) withhold({{found.finding.path, {found.place, KeptInside::Why::neverRemovedItself}}});
      return isHidden;
    });
  }

  void noteOffPacks() {
    if (request_.isRecheck() || request_.ecosystems || shouldCancel()) return;
    const bool isOfAll = request_.systemReach == SystemReach::everywhere && !request_.tiers && !request_.olderThan;
    if (request_.scanSystem && isOfAll) {
      offPacks_.findPlaces(probeContextOf(request_), systemCategoriesOf(request_), outcome_.findings);
    }
    if (auto text = offPacks_.note()) note(std::move(*text));
  }

  void noteIdleExclusions() {
    if (!exclusions_.use || request_.isRecheck() || shouldCancel()) return;
    for (std::string& text : notesOfIdleExclusions(*exclusions_.use, request_.roots)) note(std::move(text));
  }

  /// The first few are notes, the rest details.
  void noteWithheld() {
    constexpr std::size_t most = 5;
    std::size_t noted = 0;
    for (std::string& text : notesOfWithheld(outcome_.withheld, request_.resolver)) {
      (noted++ < most ? outcome_.notes : outcome_.details).push_back(std::move(text));
    }
    if (noted > most) note(fmt::format("{} more are left out for such reasons.", noted - most));
  }

  void finishActivity() {
    constexpr std::chrono::milliseconds poll{20};
    while (!shouldCancel() && !activity_.waitFor(poll)) {
    }
    activity_.date(outcome_.findings);
  }

  void proveAges() {
    if (!request_.provenAge || shouldCancel()) return;
    activity_.addAgain(settlement().projectsOfAge(*request_.provenAge));
    finishActivity();
  }

  FindingSettlement settlement() {
    return {request_, outcome_, [this] { return shouldCancel(); }};
  }

  void askGit() {
    std::vector<FoundArtifact*> asked;
    // Small findings as well: they may lie inside one that is asked for.
    for (FoundArtifact& found : outcome_.findings) {
      if (request_.asksFor(found.finding.path)) asked.push_back(&found);
    }
    const TidraGitMetadataReader git(request_.git, request_.resolver, [this] { return shouldCancel(); });
    for (std::string& text : raiseByGit(asked, git, [this] { return shouldCancel(); })) note(std::move(text));
  }

  /// Thread-safe. Once cancelled, always cancelled.
  bool shouldCancel() {
    if (!cancelled_ && request_.shouldCancel && request_.shouldCancel()) {
      cancelled_ = true;
      activity_.cancel();
    }
    return cancelled_;
  }

  std::optional<TidraVolumeSpaceReader::Space> volume() const {
    return TidraVolumeSpaceReader::read(request_.roots.empty() ? request_.resolver.home : request_.roots.front());
  }

  std::string shown(const std::string& path) const { return escapedForTerminal(request_.resolver.displayPath(path)); }
  void note(std::string text) { outcome_.notes.push_back(std::move(text)); }

  const ScanRequest& request_;
  const RuleIndex rulesInside_;
  const TidraScanExclusionFilter exclusions_;  // also with symbolic links resolved
  const std::vector<Store> stores_;
  ProjectActivityReader activity_;
  SystemArtifactScanner::Request systemRequest_;
  ScanOutcome outcome_;
  std::vector<CoveredPlace> covered_;  // of the probes
  std::set<std::string> unclaimedLeftovers_;
  OffPacks offPacks_;
  SessionProgress progress_;
  std::atomic<bool> cancelled_{false};
};

}  // namespace

ScanOutcome runScan(const ScanRequest& request) { return ScanSession(request).run(); }

ScanReport makeReport(const ScanOutcome& outcome, const TidraPathResolver& resolver) {
  return ScanReport::make(outcome.findings, resolver, outcome.circumstances);
}

}  // namespace tidra
