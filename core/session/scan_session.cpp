// A scan: start the tools for space outside projects; walk each root while new projects are dated in the background;
// wait for these; assign dates; scan outside projects; filter; sum up and build the report.
#include "core/session/scan_session.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iterator>
#include <limits>
#include <map>

#include "core/base/text.h"
#include "core/dispose/known_stores.h"
#include "core/model/removal_leftover.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/artifact_scanner.h"
#include "core/scan/directory_size.h"
#include "core/scan/finding_assessment.h"
#include "core/scan/place_set.h"
#include "core/scan/removal_note.h"
#include "core/scan/system_scanner.h"
#include "core/session/leftover_finder.h"
#include "core/session/project_activity_reader.h"
#include "core/session/root_plans.h"
#include "core/session/system_reach.h"

namespace tidra {
namespace {

class ScanSession {
 public:
  explicit ScanSession(const ScanRequest& request)
      : request_(request),
        stores_(knownStores(request.resolver, request.quarantines)),
        activity_(request.git, request.resolver) {}

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
    noteUnclaimedLeftovers();
    noteWithheld();
    assessFindings(outcome_.findings, request_.resolver, [this] { return shouldCancel(); });
    raiseTracked();
    raiseOwnWork();
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - started;
    generatedAt_ = request_.now + std::chrono::floor<std::chrono::seconds>(duration);
    if (system) settleNested();
    std::erase_if(outcome_.findings, [this](const auto& finding) { return !isWanted(finding); });
    boundSizes();
    requireSummable();
    outcome_.aggregate = ScanAggregate(outcome_.findings);
    outcome_.report = ScanReport::make(outcome_.findings, outcome_.aggregate, request_.resolver,
                                       {.catalogVersion = request_.catalog.catalogVersion,
                                        .generatedAt = generatedAt_,
                                        .host = request_.host,
                                        .platform = request_.platform,
                                        .scanRoot = joined(request_.roots, ", "),
                                        .durationSeconds = duration.count(),
                                        .partial = shouldCancel(),
                                        .volume = volume(),
                                        .thresholds = request_.thresholds});
    return std::move(outcome_);
  }

 private:
  void walkRoots() {
    for (const RootPlan& plan : planRoots(request_.roots, walkRequest())) {
      if (plan.obstacle) note(*plan.obstacle);
      // For single paths no walk goes below its root, so that none covers another.
      if (plan.isWalked() || (request_.onlyPaths && !plan.obstacle)) walk(plan);
    }
    if (request_.roots.size() > 1 && !request_.onlyPaths) dropCoveredFindings(outcome_.findings, realPaths_);
  }

  FilesystemArtifactScanner::Request walkRequest() {
    return {.root = {},
            .catalog = &request_.catalog,
            .platform = request_.platform,
            .resolver = request_.resolver,
            .exclusionFilter = request_.exclusions,
            .enabledEcosystems = request_.ecosystems,
            .stores = stores_,
            .mounts = request_.mounts,
            .oneFileSystem = request_.oneFileSystem,
            .onlyNames = request_.onlyPaths ? std::optional(std::set<std::string>{}) : std::nullopt,
            .workers = request_.workers,
            .shouldCancel = [this] { return shouldCancel(); },
            .onProgress = {}};
  }

  void walk(const RootPlan& plan) {
    if (shouldCancel()) return;
    const auto before = progress_;
    auto request = walkRequest();
    request.root = plan.root;
    request.onlyNames = namesIn(plan.root);
    const auto askActivity = activityQuestions(plan);
    request.onProgress = [&](const auto& tick) {
      if (tick.latestFinding != nullptr) askActivity(*tick.latestFinding);
      advance(before, tick);
    };
    auto result = FilesystemArtifactScanner::scan(request);
    outcome_.entriesVisited += result.entriesVisited;
    noteUnread(result, plan.root);
    outcome_.identities.merge(result.identities);
    unclaimedLeftovers_.insert(result.unclaimedLeftovers.begin(), result.unclaimedLeftovers.end());
    repositoriesInside_.merge(result.repositoriesInside);
    withhold(result.withheld);
    for (auto& finding : result.findings) {
      askActivity(finding);
      realPaths_.push_back(realPathBelow(plan, finding.path));
      outcome_.findings.push_back(std::move(finding));
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
    if (!request_.onlyPaths) return std::nullopt;
    std::set<std::string> names;
    for (const std::string& path : *request_.onlyPaths) {
      if (path.starts_with('/') && parentPath(path) == root) names.emplace(lastPathComponent(path));
    }
    return names;
  }

  void noteUnread(const FilesystemArtifactScanner::Result& result, const std::string& root) {
    const auto counted = [](std::uint64_t number, const char* what) {
      return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
    };
    constexpr const char* unread = "{} below {} could not be read: {}.";
    if (const auto folders = result.unreadableFolders; folders > 0) {
      note(fmt::format(unread, counted(folders, "folder"), shown(root), "Permission denied"));
    }
    if (const auto folders = result.starvedFolders; folders > 0) {
      note(fmt::format(unread, counted(folders, "folder"), shown(root), "Too many open files"));
    }
    if (const auto folders = result.brokenFolders; folders > 0) {
      note(fmt::format("{} below {} could not be read to the end: {}. What lies there is left out.",
                       counted(folders, "folder"), shown(root), result.brokenReason.message()));
    }
    if (const auto artifacts = result.unmeasuredArtifacts; artifacts > 0) {
      note(fmt::format("{} below {} left out, because the sizes of files could not be determined.",
                       counted(artifacts, "artefact") + (artifacts == 1 ? " is" : " are"), shown(root)));
    }
  }

  SystemArtifactScanner::Request makeSystemRequest() {
    SystemArtifactScanner::Request request;
    request.context.resolver = request_.resolver;
    request.context.exclusionFilter.add(request_.exclusions);
    request.context.catalog = &request_.catalog;
    request.context.platform = request_.platform;
    request.context.now = request_.now;
    request.context.shouldCancel = [this] { return shouldCancel(); };
    request.categories = request_.categories ? *request_.categories : everyCategory();
    request.bounds = systemBoundsOf(request_);
    if (request.bounds) outcome_.outOfBounds = outOfBoundsNote(request_);
    const bool asksPip = !request.bounds || request.bounds->toolCategories.contains("python");
    request.checksPip = asksPip && request_.scanProjects && request.categories.contains("python") &&
                        (!request_.ecosystems || request_.ecosystems->contains("py"));
    request.mounts = request_.mounts;
    request.exclusions = request_.exclusions;
    request.stores = stores_;
    request.workers = request_.workers;
    request.shouldCancel = [this] { return shouldCancel(); };
    request.onProgress = [this](const auto& tick) { advance(tick); };
    return request;
  }

  /// Categories of the table and of custom rules.
  std::set<std::string> everyCategory() const {
    std::set<std::string> categories;
    for (const auto& category : systemScanCategoryTable) categories.emplace(category.key);
    for (const auto& rule : request_.catalog.systemRules) categories.insert(rule.category);
    return categories;
  }

  void addSystemFindings(SystemArtifactScanner& system) {
    if (shouldCancel()) return;
    auto result = system.scan(outcome_.findings);
    outcome_.details.insert(outcome_.details.end(), result.notes.begin(), result.notes.end());
    outcome_.identities.merge(result.identities);
    withhold(result.withheld);
    covered_ = std::move(result.covered);
    for (std::size_t i = 0; i < result.findings.size(); ++i) {
      if (!recogniseLeftover(result.findings[i])) continue;
      places_.emplace(result.findings[i].path, std::move(result.places[i]));
      outcome_.findings.push_back(std::move(result.findings[i]));
    }
  }

  /// Before filtering: unselected findings must not be removed with what contains them.
  void settleNested() {
    const auto places = placesOf(outcome_.findings, places_);
    raiseHolders(outcome_.findings, places, covered_, request_.resolver);
    outcome_.nested = nestedFindings(outcome_.findings, places);
    // Items of a plan are looked up by their own paths.
    if (request_.onlyPaths) return;
    dropPartsOfPlaces(outcome_.findings, outcome_.nested, [this](const auto& outer) { return isWanted(outer); });
  }

  bool isOfWantedEcosystem(const ScanArtifactFinding& finding) const {
    return !request_.ecosystems || request_.ecosystems->contains(finding.ecosystemTag);
  }

  /// Rules about everything in a folder also match interrupted removals. Returns false for an entry that only has such
  /// a name.
  bool recogniseLeftover(ScanArtifactFinding& finding) {
    if (!RemovalLeftover::isEither(lastPathComponent(finding.path))) return true;
    if (!RemovalNote::claims(finding.path)) {
      unclaimedLeftovers_.insert(finding.path);
      return false;
    }
    auto leftover = RemovalLeftover::finding(finding.path, finding.sizeBytes);
    leftover.groupRoot = finding.groupRoot;
    leftover.source = finding.source;
    finding = std::move(leftover);
    return true;
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
    RealPlaces real;
    const auto isOutOfBounds = [&](const std::string& path) {
      return systemRequest_.bounds && !systemRequest_.bounds->roots.covers(real.of(path));
    };
    std::copy_if(unclaimed.begin(), unclaimed.end(), std::inserter(unclaimedLeftovers_, unclaimedLeftovers_.end()),
                 [&](const std::string& path) { return !isOutOfBounds(path); });
    if (request_.ecosystems && !request_.ecosystems->contains("general")) return;
    PlaceSet found;
    for (const auto& finding : outcome_.findings) found.add(finding.path);
    std::erase_if(leftovers,
                  [&](const auto& leftover) { return isOutOfBounds(leftover.path) || found.covers(leftover.path); });
    if (leftovers.empty()) return;
    std::vector<TidraDirectorySizeReader::Folder> folders;
    for (const auto& leftover : leftovers) folders.push_back({.path = leftover.path, .enterBundles = true});
    const auto sizes = TidraDirectorySizeReader::readAll(folders, {.workers = request_.workers,
                                                                   .exclusions = request_.exclusions,
                                                                   .stores = stores_,
                                                                   .shouldCancel = [this] { return shouldCancel(); }});
    for (std::size_t i = 0; i < leftovers.size(); ++i) {
      leftovers[i].sizeBytes = sizes[i].bytes.value_or(0);
      if (sizes[i].identity) outcome_.identities.emplace(leftovers[i].path, *sizes[i].identity);
      if (sizes[i].kept) withhold({{leftovers[i].path, *sizes[i].kept}});
      if (!sizes[i].kept) outcome_.findings.push_back(std::move(leftovers[i]));
    }
  }

  void withhold(const std::vector<WithheldFinding>& findings) {
    for (const WithheldFinding& finding : findings) {
      if (!request_.onlyPaths || request_.onlyPaths->contains(finding.path)) {
        outcome_.withheld.emplace(finding.path, finding.kept);
      }
    }
  }

  /// The first few are notes, the rest details.
  void noteWithheld() {
    constexpr std::size_t most = 5;
    std::size_t noted = 0;
    for (const auto& [path, kept] : outcome_.withheld) {
      auto text = fmt::format("{} {}, so it is left out.", shown(path), kept.reason(request_.resolver));
      (noted++ < most ? outcome_.notes : outcome_.details).push_back(std::move(text));
    }
    if (noted > most) note(fmt::format("{} more are left out because of what they contain.", noted - most));
  }

  void advance(const SystemArtifactScanner::ProgressTick& tick) {
    if (!request_.onProgress || tick.phaseLabel == SystemArtifactScanner::projectPhaseLabel) return;
    progress_.phaseLabel = tick.phaseLabel;
    progress_.artifactsFound = static_cast<std::size_t>(tick.artifactsFound);
    progress_.recoverableBytes = static_cast<std::uint64_t>(tick.recoverableBytes);
    progress_.currentPathDisplay =
        tick.latestFinding != nullptr ? request_.resolver.displayPath(tick.latestFinding->path) : std::string{};
    request_.onProgress(progress_);
  }

  /// Adds the walk of one root to the totals of previous roots.
  void advance(const ScanProgress& before, const FilesystemArtifactScanner::ProgressTick& tick) {
    progress_.entriesVisited = before.entriesVisited + tick.foldersScanned;
    progress_.projectsFound = before.projectsFound + tick.projectRootsFound;
    progress_.artifactsFound = before.artifactsFound + tick.artifactsFound;
    progress_.recoverableBytes = saturatedSum(before.recoverableBytes, tick.recoverableBytes);
    if (!request_.onProgress) return;
    progress_.phaseLabel = SystemArtifactScanner::projectPhaseLabel;
    progress_.currentPathDisplay = tick.currentPathDisplay;
    request_.onProgress(progress_);
  }

  void finishActivity() {
    constexpr std::chrono::milliseconds poll{20};
    while (!shouldCancel() && !activity_.waitFor(poll)) {
    }
    const auto dates = activity_.answers();
    for (auto& finding : outcome_.findings) {
      const auto date = dates.find(*finding.groupRoot);
      if (date != dates.end()) finding.lastActivityDate = date->second;
    }
  }

  /// A build cannot recreate files tracked by git.
  void raiseTracked() {
    std::vector<std::string> folders;
    for (const auto& finding : outcome_.findings) {
      if (finding.source == ArtifactSource::projectWalk && isAskedFor(finding)) folders.push_back(finding.path);
    }
    if (shouldCancel() || folders.empty()) return;
    const TidraGitMetadataReader reader(request_.git, request_.resolver, [this] { return shouldCancel(); });
    const auto tracked = reader.tracked(folders);
    for (auto& finding : outcome_.findings) {
      if (tracked.held.contains(finding.path)) {
        finding.safetyTier = ArtifactSafetyTier::warning;
        finding.restoreHint = "Holds files tracked by git";
        finding.evidence.reset();
      } else if (tracked.unknown.contains(finding.path)) {
        finding.safetyTier = std::max(finding.safetyTier, ArtifactSafetyTier::caution);
      }
    }
    if (!tracked.unknown.empty() && !shouldCancel()) {
      note(fmt::format("git did not answer for {} of the findings, so none of those counts as safe.",
                       tracked.unknown.size()));
    }
  }

  /// Users may work on a dependency where it was installed, in a clone or linked worktree.
  void raiseOwnWork() {
    std::vector<ScanArtifactFinding*> holders;
    std::vector<std::string> repositories;
    for (auto& finding : outcome_.findings) {
      const auto inside = repositoriesInside_.find(finding.path);
      if (inside == repositoriesInside_.end() || !isAskedFor(finding)) continue;
      holders.insert(holders.end(), inside->second.size(), &finding);
      repositories.insert(repositories.end(), inside->second.begin(), inside->second.end());
    }
    if (shouldCancel() || repositories.empty()) return;
    const TidraGitMetadataReader reader(request_.git, request_.resolver, [this] { return shouldCancel(); });
    const auto answers = reader.holdOwnWork(repositories);
    for (std::size_t i = 0; i < repositories.size(); ++i) {
      if (!answers[i]) holders[i]->safetyTier = std::max(holders[i]->safetyTier, ArtifactSafetyTier::caution);
      if (!answers[i].value_or(false)) continue;
      holders[i]->safetyTier = ArtifactSafetyTier::warning;
      holders[i]->restoreHint =
          "Holds work that is in no remote repository: " + repositories[i].substr(holders[i]->path.size() + 1);
    }
    if (shouldCancel() || std::find(answers.begin(), answers.end(), std::nullopt) == answers.end()) return;
    note("git did not answer for some repositories inside findings, so none of those counts as safe.");
  }

  bool isAskedFor(const ScanArtifactFinding& finding) const {
    if (request_.onlyPaths && !request_.onlyPaths->contains(finding.path)) return false;
    return finding.sizeBytes >= request_.minimumBytes;
  }

  bool isWanted(const ScanArtifactFinding& finding) const {
    if (!isAskedFor(finding)) return false;
    if (finding.source != ArtifactSource::projectWalk && !isOfWantedEcosystem(finding)) return false;
    if (request_.tiers && !request_.tiers->contains(finding.safetyTier)) return false;
    return !request_.olderThan ||
           (finding.lastActivityDate &&
            ScanActivityClassification::isAtLeastThisOld(*finding.lastActivityDate, *request_.olderThan, generatedAt_));
  }

  /// Sparse files may claim more than a report's signed figures: saturates each finding and, with a note, the totals.
  void boundSizes() {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    std::uint64_t sum = 0;
    for (auto& finding : outcome_.findings) {
      finding.sizeBytes = std::min(finding.sizeBytes, most);
      sum = saturatedSum(sum, finding.sizeBytes);
    }
    if (sum > most) {
      note(fmt::format("The sizes add up to more than a report holds, so its totals stay at the largest figure. {}",
                       largestNamed()));
    }
  }

  void requireSummable() const {
    std::uint64_t sum = 0;
    for (const auto& finding : outcome_.findings) {
      if (finding.sizeBytes > std::numeric_limits<std::uint64_t>::max() - sum) {
        throw std::overflow_error(fmt::format(
            "The sizes of the findings add up to more than 64 bits hold, so nothing is reported and nothing "
            "removed. {} Exclude those that claim too much (--exclude), or remove them yourself.",
            largestNamed()));
      }
      sum += finding.sizeBytes;
    }
  }

  std::string largestNamed() const {
    constexpr std::size_t mostNamed = 3;
    std::vector<const ScanArtifactFinding*> largest;
    for (const auto& finding : outcome_.findings) largest.push_back(&finding);
    const auto end = largest.begin() + static_cast<std::ptrdiff_t>(std::min(mostNamed, largest.size()));
    std::partial_sort(largest.begin(), end, largest.end(),
                      [](const auto* a, const auto* b) { return a->sizeBytes > b->sizeBytes; });
    std::vector<std::string> names;
    for (auto finding = largest.begin(); finding != end; ++finding) {
      names.push_back(fmt::format("{} ({} bytes)", shown((*finding)->path), (*finding)->sizeBytes));
    }
    return fmt::format("The largest are {}.", joined(names, ", "));
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
  const std::vector<Store> stores_;
  ProjectActivityReader activity_;
  SystemArtifactScanner::Request systemRequest_;
  ScanOutcome outcome_;
  std::map<std::string, std::vector<std::string>> repositoriesInside_;  // by path of the finding
  std::vector<std::string> realPaths_;         // of project findings, with symbolic links resolved
  std::map<std::string, std::string> places_;  // of findings outside projects, by path
  std::vector<CoveredPlace> covered_;
  std::set<std::string> unclaimedLeftovers_;
  ScanProgress progress_;
  TimePoint generatedAt_{};
  std::atomic<bool> cancelled_{false};
};

}  // namespace

ScanOutcome runScan(const ScanRequest& request) { return ScanSession(request).run(); }

}  // namespace tidra
