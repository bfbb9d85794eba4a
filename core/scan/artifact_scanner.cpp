// The walk: compile skip list, exclusions and mounts into one filter; let workers visit folders. A visit reads its
// folder once: it counts entries that pass the filter, notes marker files, queues plain subfolders and sets aside those
// with an artefact's name. After the complete listing the rules decide about these; the same workers measure artefacts.
// The caller's thread delivers progress. Findings are sorted at the end.
#include "core/scan/artifact_scanner.h"

#include <fmt/format.h>

#include <algorithm>
#include <deque>
#include <list>
#include <mutex>

#include "core/base/text.h"
#include "core/model/removal_leftover.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/bundle_packages.h"
#include "core/scan/dependency_folders.h"
#include "core/scan/folder_traversal.h"
#include "core/scan/measurement.h"
#include "core/scan/off_packs.h"
#include "core/scan/removal_note.h"
#include "core/scan/rule_index.h"
#include "core/scan/walk_filter.h"
#include "core/scan/walk_progress.h"
#include "core/scan/walk_setup.h"

namespace tidra {
namespace {

/// An artefact being measured.
struct Artifact {
  Artifact(const WalkFilter& filter, const RuleIndex* rules) : measurement(filter, {.rules = rules}) {}

  std::string path;
  std::string groupRoot;
  std::optional<RuleMatch> match;  // absent for an interrupted removal
  Measurement measurement;
  std::atomic<bool> vanished{false};  // before it was opened
  std::list<Artifact>::iterator self;
};

struct WalkContext {
  Measurement::Position position;  // on the walk only its place
  Artifact* artifact = nullptr;    // artefact being measured; null on the walk
};

/// Several folders beside each other may match a rule with further names.
std::string projectLabel(const ProjectArtifactRule& rule, std::string_view name) {
  return name == rule.folderName ? rule.label : fmt::format("{} · {}", rule.label, name);
}

ScanArtifactFinding makeFinding(const Artifact& artifact) {
  if (!artifact.match) {
    auto leftover = RemovalLeftover::finding(artifact.path, artifact.measurement.bytes());
    leftover.groupRoot = artifact.groupRoot;
    return leftover;
  }
  const ProjectArtifactRule& rule = *artifact.match->rule;
  return {.path = artifact.path,
          .label = projectLabel(rule, lastPathComponent(artifact.path)),
          .sizeBytes = artifact.measurement.bytes(),
          .ecosystemTag = *artifact.match->ecosystem,
          .groupRoot = artifact.groupRoot,
          .source = ArtifactSource::projectWalk,
          .safetyTier = rule.tier,
          .restoreHint = rule.restoreHint,
          .lastActivityDate = std::nullopt,
          .ruleID = rule.id};
}

/// Reads folders on the worker threads and collects findings.
class WalkVisitor {
 public:
  using Traversal = FolderTraversal<WalkContext, WalkVisitor>;
  using Visit = Traversal::Visit;

  WalkVisitor(const FilesystemArtifactScanner::Request& request, const WalkFilter& filter)
      : request_(request),
        filter_(filter),
        realRoot_(realPathOrSame(request.root)),
        stores_(request.resolver.home, request.stores),
        rules_(*request.catalog, request.platform, request.offPacks) {}

  void visit(Visit& folder) {
    if (folder.context().artifact == nullptr) return walk(folder);
    Artifact& artifact = *folder.context().artifact;
    if (!artifact.measurement.hasFailed()) measure(folder, artifact);
    finishFolder(artifact);
  }

  /// An unreadable folder adds nothing to its artefact; a vanished artefact is not reported.
  void couldNotOpen(const WalkContext& context, std::error_code failure, const UnopenedFolder& folder) {
    const bool forbidden = isForbidden(failure);
    if (forbidden) {
      ++unreadableFolders_;
    } else if (isDescriptorShortage(failure)) {
      ++starvedFolders_;
    } else if (!isNoLongerThere(failure)) {
      noteBroken(failure);
    }
    if (context.artifact == nullptr) return;
    Artifact& artifact = *context.artifact;
    artifact.measurement.couldNotOpen(failure, folder, context.position);
    if (!artifact.measurement.hasBegun()) {
      artifact.vanished = isNoLongerThere(failure);
      // Nothing of it was opened, so take the identity by path.
      if (forbidden) artifact.measurement.identify(pathFacts(artifact.path));
    }
    finishFolder(artifact);
  }

  /// Call once, after all workers have finished.
  std::vector<std::string> takeUnclaimedLeftovers() { return std::move(unclaimedLeftovers_); }

  std::uint64_t entriesVisited() const { return entriesVisited_; }
  std::uint64_t unreadableFolders() const { return unreadableFolders_; }
  std::uint64_t starvedFolders() const { return starvedFolders_; }
  /// Valid after all workers have finished.
  std::uint64_t brokenFolders() const { return brokenFolders_; }
  std::error_code brokenReason() const { return brokenReason_; }
  std::uint64_t unmeasuredArtifacts() const { return unmeasuredArtifacts_; }
  std::uint64_t ofOtherEcosystems() const { return ofOtherEcosystems_; }

  std::vector<std::uint64_t> projectsOfOffPacks() const { return offPacks_.ofFirst(request_.offPacks.size()); }

  /// Call after all workers have finished.
  std::vector<WithheldFinding> takeWithheld() { return std::exchange(withheld_, {}); }

  /// Returns the findings since the last call, in order of discovery.
  std::deque<FoundArtifact> takeFindings() {
    const std::lock_guard lock(mutex_);
    return std::exchange(fresh_, {});
  }

  /// Returns the folder visited at the previous call, and requests an update from the next visit.
  std::string currentFolder() {
    pathWanted_ = true;
    const std::lock_guard lock(mutex_);
    return currentFolder_;
  }

 private:
  using Candidates = std::vector<std::pair<std::string, const NameFacts*>>;

  void walk(Visit& folder) {
    const FolderNode& node = *folder.node();
    if (pathWanted_.load(std::memory_order_relaxed) && pathWanted_.exchange(false)) publishPath(node);
    const FolderFilter filter(filter_, folder.context().position.place, node);
    ProjectFolder project(lastPathComponent(node.name()), node.descriptor(), folder.reader());
    PackageSigns packages(lastPathComponent(node.name()));
    Candidates candidates;
    StoreSigns signs;
    std::uint64_t visited = 0;
    OffRulesSeen offRules;

    folder.reader().start(node.descriptor());
    for (DirectoryEntry entry; folder.reader().next(entry);) {
      const NameFacts* facts = rules_.find(entry.name);
      if (facts != nullptr && facts->isMarker) project.noteMarker(entry);
      rules_.note(facts, entry.name, offRules);
      if (PackageSigns::mayBeSign(entry.name)) packages.note(entry.name);
      signs.note(entry);
      if (filter.bars(entry.name)) continue;
      ++visited;
      if (entry.type == EntryType::symbolicLink && RemovalLeftover::isNote(entry.name))
        addStrayNote(folder, entry.name);
      if (entry.type != EntryType::directory || !isAskedFor(entry.name)) continue;
      if (StoreNames::kindOf(entry.name, node)) continue;
      addSubfolder(folder, entry.name, facts, candidates, offRules);
    }
    entriesVisited_ += visited;
    if (forgetBroken(folder)) return;
    const auto isPackage = [&](std::string_view name) {
      return packages.isDependencyFolder() || packages.isEnvironmentPart(name);
    };
    folder.forget(isPackage);
    std::erase_if(candidates, [&](const auto& candidate) { return isPackage(candidate.first); });
    if (signs.kind(node.descriptor())) {
      leaveStore(folder, signs, candidates);
    } else if (!packages.isDependencyFolder()) {
      const std::string_view parent = node.parent() == nullptr ? std::string_view() : node.parent()->name();
      offPacks_.add(rules_.offPacksMet(offRules, lastPathComponent(node.name()), lastPathComponent(parent)));
    }
    for (const auto& [name, facts] : candidates) decide(folder, project, name, *facts);
  }

  /// Adds a subfolder to the candidates, decided after the complete listing, or walks into it.
  void addSubfolder(Visit& folder, std::string_view name, const NameFacts* facts, Candidates& candidates,
                    OffRulesSeen& offRules) {
    if (name.starts_with(RemovalLeftover::prefix) && RemovalLeftover::is(name)) {
      addLeftover(folder, name);
    } else if (const NameFacts* named = rules_.ofFolder(name, facts)) {
      candidates.emplace_back(name, named);
    } else {
      if (facts != nullptr) offRules.folders |= facts->asFolder;
      walkInto(folder, name);
    }
  }

  /// Returns whether the listing failed: the missing entries might include markers that decide about the subfolders.
  bool forgetBroken(Visit& folder) {
    const auto failure = folder.reader().failure();
    if (!failure || isNoLongerThere(failure)) return false;
    noteBroken(failure);
    folder.forget([](std::string_view) { return true; });
    return true;
  }

  /// In the home folder and its ancestors only quarantined items are skipped, not the whole folder.
  void leaveStore(Visit& folder, const StoreSigns& signs, Candidates& candidates) const {
    const bool isWhole = !stores_.holdsHome(folder.node()->path());
    const auto items = signs.quarantined(folder.node()->descriptor());
    const auto isLeft = [&](std::string_view name) {
      return isWhole || std::find(items.begin(), items.end(), name) != items.end();
    };
    std::erase_if(candidates, [&](const auto& candidate) { return isLeft(candidate.first); });
    folder.forget(isLeft);
  }

  bool isAskedFor(std::string_view name) const {
    return !request_.onlyNames || request_.onlyNames->contains(std::string(name));
  }

  void addLeftover(Visit& folder, std::string_view name) {
    const std::string parent = folder.node()->path();
    if (!RemovalNote::claims(folder.node()->descriptor(), std::string(name))) {
      const std::lock_guard lock(mutex_);
      unclaimedLeftovers_.push_back(joinedPath(parent, name));
      return;
    }
    if (!RemovalLeftover::isWanted(request_.enabledEcosystems)) return;
    folder.descend(name, {{WalkFilter::childPlace(folder.context().position.place, name)},
                          &addArtifact(joinedPath(parent, name), parent, std::nullopt)});
  }

  /// A note without its folder: the removal was interrupted before its first or between its last two steps.
  void addStrayNote(Visit& folder, std::string_view name) {
    const int descriptor = folder.node()->descriptor();
    if (!RemovalLeftover::isWanted(request_.enabledEcosystems) || !isAskedFor(name)) return;
    if (!RemovalNote::claims(descriptor, std::string(name))) return;
    const std::string parent = folder.node()->path();
    Artifact& note = addArtifact(joinedPath(parent, name), parent, std::nullopt);
    note.measurement.identify(entryFacts(descriptor, std::string(name).c_str()));
    finishFolder(note);
  }

  void measure(Visit& folder, Artifact& artifact) {
    artifact.measurement.measure(folder.reader(), *folder.node(), folder.context().position,
                                 [&](auto name, const auto& below) {
                                   folder.descend(name, {below, &artifact});
                                 });
  }

  void walkInto(Visit& folder, std::string_view name) {
    if (request_.onlyNames || isBundlePackage(name) || DependencyFolders::isNamedSo(name)) return;
    folder.descend(name, {{WalkFilter::childPlace(folder.context().position.place, name)}, nullptr});
  }

  void decide(Visit& folder, ProjectFolder& project, const std::string& name, const NameFacts& facts) {
    const auto match = RuleIndex::choose(facts, project, name);
    if (!match) return walkInto(folder, name);
    if (request_.enabledEcosystems && !request_.enabledEcosystems->contains(*match->ecosystem)) {
      ++ofOtherEcosystems_;
      return;
    }
    std::string projectFolder = folder.node()->path();
    std::string path = joinedPath(projectFolder, name);
    if (match->rule->parentName) projectFolder = parentPath(projectFolder);
    folder.descend(name, {{WalkFilter::childPlace(folder.context().position.place, name)},
                          &addArtifact(std::move(path), std::move(projectFolder), *match)});
  }

  Artifact& addArtifact(std::string path, std::string groupRoot, std::optional<RuleMatch> match) {
    const std::lock_guard lock(mutex_);
    Artifact& artifact = artifacts_.emplace_back(filter_, match ? request_.rulesInside : nullptr);
    artifact.self = std::prev(artifacts_.end());
    artifact.path = std::move(path);
    artifact.groupRoot = std::move(groupRoot);
    artifact.match = match;
    return artifact;
  }

  void noteBroken(std::error_code failure) {
    const std::lock_guard lock(mutex_);
    ++brokenFolders_;
    brokenReason_ = failure;
  }

  /// With its last folder, an artefact becomes a finding and ends.
  void finishFolder(Artifact& artifact) {
    if (!artifact.measurement.finishFolder()) return;
    if (!artifact.vanished) conclude(artifact);
    const std::lock_guard lock(mutex_);
    artifacts_.erase(artifact.self);
  }

  void conclude(Artifact& artifact) {
    if (artifact.measurement.hasFailed()) {
      ++unmeasuredArtifacts_;
      return;
    }
    if (auto kept = artifact.measurement.kept()) {
      const std::lock_guard lock(mutex_);
      withheld_.push_back({artifact.path, std::move(*kept)});
    } else {
      auto found = foundAs(artifact);
      const std::lock_guard lock(mutex_);
      fresh_.push_back(std::move(found));
    }
  }

  /// The measurement is complete.
  FoundArtifact foundAs(Artifact& artifact) const {
    FoundArtifact found{.finding = makeFinding(artifact),
                        .place = joinedPath(realRoot_, pathBelow(artifact.path, request_.root)),
                        .identity = artifact.measurement.identity(),
                        .repositories = artifact.measurement.repositories(),
                        .inside = artifact.measurement.inside()};
    found.setUse(artifact.measurement.takeUse());
    return found;
  }

  void publishPath(const FolderNode& node) {
    std::string path = node.path();
    const std::lock_guard lock(mutex_);
    currentFolder_ = std::move(path);
  }

  const FilesystemArtifactScanner::Request& request_;
  const WalkFilter& filter_;
  const std::string realRoot_;  // symbolic links resolved
  const StoreFinder stores_;
  const RuleIndex rules_;
  std::atomic<std::uint64_t> entriesVisited_{0};
  std::atomic<std::uint64_t> unreadableFolders_{0};
  std::atomic<std::uint64_t> starvedFolders_{0};
  std::atomic<std::uint64_t> unmeasuredArtifacts_{0};
  std::atomic<std::uint64_t> ofOtherEcosystems_{0};
  OffPackCounts offPacks_;
  std::atomic<bool> pathWanted_{true};
  std::mutex mutex_;               // guards what follows while workers run
  std::list<Artifact> artifacts_;  // that are being measured; workers hold references
  std::deque<FoundArtifact> fresh_;
  std::vector<std::string> unclaimedLeftovers_;
  std::uint64_t brokenFolders_ = 0;
  std::error_code brokenReason_;
  std::vector<WithheldFinding> withheld_;
  std::string currentFolder_;
};

}  // namespace

FilesystemArtifactScanner::Result FilesystemArtifactScanner::scan(const Request& request) {
  Result result;
  result.rootObstacle = obstacleOfRoot(request);
  if (result.rootObstacle) return result;

  const WalkFilter filter = makeWalkFilter(request);
  WalkVisitor visitor(request, filter);
  WalkProgress progress(request);
  std::deque<FoundArtifact> findings;
  const auto report = [&] {
    progress.report(
        visitor.takeFindings(), visitor.entriesVisited(), [&] { return visitor.currentFolder(); }, findings);
  };
  {
    WalkVisitor::Traversal traversal(visitor, request.workers == 0 ? defaultScanWorkers() : request.workers);
    traversal.addRoot(request.root, {{filter.placeOf(request.root)}, nullptr});
    result.cancelled = !traversal.run(request.shouldCancel, report);
  }
  report();
  result.findings.reserve(findings.size());
  for (; !findings.empty(); findings.pop_front()) result.findings.push_back(std::move(findings.front()));
  std::sort(result.findings.begin(), result.findings.end(),
            [](const auto& a, const auto& b) { return pathPrecedes(a.finding.path, b.finding.path); });
  result.unclaimedLeftovers = visitor.takeUnclaimedLeftovers();
  std::sort(result.unclaimedLeftovers.begin(), result.unclaimedLeftovers.end());
  result.withheld = visitor.takeWithheld();
  std::sort(result.withheld.begin(), result.withheld.end(),
            [](const auto& a, const auto& b) { return pathPrecedes(a.path, b.path); });
  result.unreadableFolders = visitor.unreadableFolders();
  result.starvedFolders = visitor.starvedFolders();
  result.brokenFolders = visitor.brokenFolders();
  result.brokenReason = visitor.brokenReason();
  result.unmeasuredArtifacts = visitor.unmeasuredArtifacts();
  result.entriesVisited = visitor.entriesVisited();
  result.ofOtherEcosystems = visitor.ofOtherEcosystems();
  result.projectsOfOffPacks = visitor.projectsOfOffPacks();
  return result;
}

}  // namespace tidra
