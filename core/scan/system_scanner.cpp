// A scan: the constructor starts the tools. Then report project findings; start the pip check; run probes that only
// read folders, drop duplicates, measure and report; finally the same with the tools' answers.
#include "core/scan/system_scanner.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <unordered_set>

#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/platform/spare_threads.h"
#include "core/scan/folder_contents.h"
#include "core/scan/place_set.h"
#include "core/scan/probes/ai_tools_probe.h"
#include "core/scan/probes/apple_probes.h"
#include "core/scan/probes/catalog_path_probe.h"
#include "core/scan/probes/conda_probe.h"
#include "core/scan/probes/docker_probe.h"
#include "core/scan/probes/package_tool_probes.h"
#include "core/scan/probes/pip_orphan_probe.h"

namespace tidra {
namespace {

template <class Probe>
void addSpecial(std::vector<std::unique_ptr<SystemArtifactProbe>>& probes, const std::set<std::string>& categories,
                TidraPlatform platform) {
  auto probe = std::make_unique<Probe>();
  if (categories.contains(probe->categoryKey()) && probe->supportedPlatforms().contains(platform)) {
    probes.push_back(std::move(probe));
  }
}

}  // namespace

/// The paths of findings, to count each folder once.
class SystemArtifactScanner::TakenPlaces {
 public:
  explicit TakenPlaces(const std::vector<FoundArtifact>& projects) {
    for (const FoundArtifact& found : projects) projects_.add(found.place);
  }

  /// Claims the path of an item and returns it; nullopt if it or an ancestor is already claimed. A tool's item may have
  /// a folder, too: it is also rejected if something inside that folder is claimed, since the tool decides what it
  /// removes.
  std::optional<std::string> take(const ProbeItem& item) {
    const std::string& path = item.finding.path;
    if (isToolBackedTarget(path) && !targets_.insert(path).second) return std::nullopt;
    if (isToolBackedTarget(path) && !item.measuredFolder) return std::string{};
    const std::string& held = item.measuredFolder ? *item.measuredFolder : path;
    const auto facts = pathFacts(held);
    const std::string place = placeOf(held, facts && facts->type == EntryType::symbolicLink);
    cover({place, item.finding.label, item.finding.safetyTier, item.finding.restoreHint});
    if (projects_.covers(place) || system_.covers(place)) return std::nullopt;
    if (isToolBackedTarget(path) && system_.reachesInto(place)) return std::nullopt;
    if (facts && !identities_.emplace(facts->identity.device, facts->identity.inode).second) return std::nullopt;
    system_.add(place);
    return place;
  }

  /// Records a path with its own tier, if it lies in a finding of a possibly lower tier.
  void cover(CoveredPlace covered) {
    if (covered.tier == ArtifactSafetyTier::safe) return;
    const bool isInSystem = system_.covers(parentPath(covered.place));
    if (projects_.covers(covered.place) || isInSystem) covered_.push_back(std::move(covered));
  }

  /// As cover(), for a path that is not yet resolved.
  void coverNamed(CoveredPlace covered) {
    covered.place = placeOf(covered.place, false);
    cover(std::move(covered));
  }

  std::vector<CoveredPlace> takeCovered() { return std::move(covered_); }

 private:
  static std::string placeOf(const std::string& held, bool isLink) {
    if (isLink) return RealPlaces().of(held);
    const auto real = realPath(held);
    return real ? *real : held;
  }

  PlaceSet projects_;
  PlaceSet system_;
  std::vector<CoveredPlace> covered_;
  std::unordered_set<std::string> targets_;
  std::set<std::pair<std::uint64_t, std::uint64_t>> identities_;
};

std::vector<std::unique_ptr<SystemArtifactProbe>> SystemArtifactScanner::probes(const std::set<std::string>& categories,
                                                                                TidraPlatform platform) {
  std::vector<std::unique_ptr<SystemArtifactProbe>> chosen;
  std::set<std::string> others = categories;
  for (const auto& category : systemScanCategoryTable) {
    const std::string key(category.key);
    others.erase(key);
    if (categories.contains(key) && category.existsOn(platform))
      chosen.push_back(std::make_unique<CatalogPathProbe>(key));
  }
  // Categories defined by a custom rules file.
  for (const std::string& key : others) chosen.push_back(std::make_unique<CatalogPathProbe>(key));
  addSpecial<XcodeArchivesProbe>(chosen, categories, platform);
  addSpecial<CoreSimulatorProbe>(chosen, categories, platform);
  addSpecial<GlobalModulesProbe>(chosen, categories, platform);
  addSpecial<CondaProbe>(chosen, categories, platform);
  addSpecial<HomebrewCacheProbe>(chosen, categories, platform);
  addSpecial<DockerArtifactProbe>(chosen, categories, platform);
  addSpecial<AIToolsProbe>(chosen, categories, platform);
  return chosen;
}

SystemArtifactScanner::SystemArtifactScanner(const Request& request)
    : request_(request),
      probes_(probes(request.categories, request.context.platform)),
      stores_(request.context.home(), request.stores) {
  std::erase_if(probes_, [this](const auto& probe) { return isLeftOut(*probe); });
  running_.resize(probes_.size());
  for (std::size_t i = 0; i < probes_.size(); ++i) {
    if (probes_[i]->runsTools()) start(i);
  }
}

SystemArtifactScanner::~SystemArtifactScanner() = default;

bool SystemArtifactScanner::isLeftOut(const SystemArtifactProbe& probe) const {
  return request_.bounds && probe.isOfTool() && !request_.bounds->toolCategories.contains(probe.categoryKey());
}

void SystemArtifactScanner::start(std::size_t probe) {
  running_[probe] = startTask([this, probe] { return probes_[probe]->scan(request_.context); });
}

ProbeReport SystemArtifactScanner::finish(std::future<ProbeReport>& running) {
  constexpr std::chrono::milliseconds poll{20};
  constexpr std::chrono::milliseconds longestSilence{120};
  while (running.wait_for(poll) != std::future_status::ready) {
    isCancelled();  // polls; the context ends tools of a cancelled scan
    if (std::chrono::steady_clock::now() - lastTick_ >= longestSilence) tick(systemPhaseLabel, nullptr);
  }
  return running.get();
}

ProbeReport SystemArtifactScanner::finishWithinBounds(std::size_t probe) {
  ProbeReport report = finish(running_[probe]);
  if (!request_.bounds || probes_[probe]->isOfTool()) return report;
  RealPlaces real;
  std::erase_if(report.items, [&](const ProbeItem& item) {
    const PlaceSet& roots = request_.bounds->roots;
    return !roots.covers(real.of(item.finding.path)) ||
           (item.measuredFolder && !roots.covers(real.of(*item.measuredFolder)));
  });
  return report;
}

SystemArtifactScanner::Result SystemArtifactScanner::scan(const std::vector<FoundArtifact>& projects) {
  tickProjects(projects);
  tick(systemPhaseLabel, nullptr);
  std::future<ProbeReport> pip;
  if (request_.checksPip) {
    pip = startTask([&] { return PipOrphanProbe::scan(projects, request_.context); });
  }
  for (std::size_t i = 0; i < probes_.size(); ++i) {
    if (!probes_[i]->runsTools()) start(i);
  }
  TakenPlaces taken(projects);
  std::vector<ProbeReport> reports(probes_.size() + 1);  // index 0: pip
  std::vector<std::vector<FoundArtifact>> kept(reports.size());
  for (const bool runsTools : {false, true}) {
    if (runsTools && pip.valid()) kept[0] = keep(reports[0] = finish(pip), "python", taken);
    for (std::size_t i = 0; i < probes_.size(); ++i) {
      if (probes_[i]->runsTools() != runsTools) continue;
      kept[i + 1] = keep(reports[i + 1] = finishWithinBounds(i), probes_[i]->categoryKey(), taken);
    }
  }
  Result result;
  result.covered = taken.takeCovered();
  result.withheld = std::move(withheld_);
  for (std::size_t i = 0; i < reports.size(); ++i) {
    result.notes.insert(result.notes.end(), reports[i].notes.begin(), reports[i].notes.end());
    std::move(kept[i].begin(), kept[i].end(), std::back_inserter(result.findings));
  }
  return result;
}

void SystemArtifactScanner::tickProjects(const std::vector<FoundArtifact>& projects) {
  for (const FoundArtifact& found : projects) tick(projectPhaseLabel, &found);
}

void SystemArtifactScanner::tick(const char* phase, const FoundArtifact* found) {
  lastTick_ = std::chrono::steady_clock::now();
  tick_.phaseLabel = phase;
  tick_.latestFinding = found;
  if (found != nullptr) {
    ++tick_.artifactsFound;
    tick_.recoverableBytes = saturatedSum(tick_.recoverableBytes, signedBytes(found->finding.sizeBytes));
  }
  if (request_.onProgress) request_.onProgress(tick_);
}

std::vector<FoundArtifact> SystemArtifactScanner::keep(ProbeReport& report, const std::string& category,
                                                       TakenPlaces& taken) {
  std::vector<Kept> kept;
  for (ProbeItem& item : report.items) {
    // After cancellation, items that need measuring are dropped.
    if (item.measuredFolder && isCancelled()) continue;
    auto place = taken.take(item);
    // Probes compare paths as their rules name them; the exclusion may name the place through another link.
    if (!place || (!place->empty() && request_.context.exclusionFilter.bars(*place))) continue;
    auto& one = kept.emplace_back(Kept{.found = {.finding = std::move(item.finding),
                                                 .category = category,
                                                 .place = std::move(*place),
                                                 .identity = item.identity},
                                       .measured = std::nullopt,
                                       .isTrash = item.isTrash});
    if (item.measuredFolder) {
      one.measured = {.path = *item.measuredFolder,
                      .enterBundles = item.enterBundles,
                      .isTrash = item.isTrash,
                      .holdsPackages = category == "globalCaches"};
    }
  }
  for (const CoveredPlace& covered : report.covered) taken.coverNamed(covered);
  std::erase_if(kept, [&](const Kept& one) { return !isSearchable(one, report); });
  measure(kept);
  std::vector<FoundArtifact> found;
  for (Kept& one : kept) tick(systemPhaseLabel, &found.emplace_back(std::move(one.found)));
  return found;
}

/// Contents of a trash or quarantine are no findings; a trash as a whole is one.
bool SystemArtifactScanner::isSearchable(const Kept& kept, ProbeReport& report) {
  const std::string& place = kept.found.place;
  if (place.empty()) return true;
  const auto store = stores_.holding(place);
  if (!store || (kept.isTrash && store->path == parentPath(place))) return true;
  report.notes.push_back(fmt::format("{} lies in {}, which scans skip.", escapedForTerminal(kept.found.finding.path),
                                     describedStore(store->kind)));
  return false;
}

void SystemArtifactScanner::noteKeptByLowerLayer(std::vector<Kept>& items, const OverlayLayers& layers) {
  for (Kept& item : items) {
    FoundArtifact& found = item.found;
    if (item.measured || !found.identity || !layers.keeps(found.place, *found.identity)) continue;
    found.finding.freeableBytes = 0;
    found.finding.difference = SizeDifference::imageLayer;
  }
}

void SystemArtifactScanner::measure(std::vector<Kept>& items) {
  const OverlayLayers layers(request_.mounts);
  noteKeptByLowerLayer(items, layers);
  std::vector<Kept*> measured;
  std::vector<TidraDirectorySizeReader::Folder> folders;
  for (Kept& item : items) {
    if (!item.measured) continue;
    measured.push_back(&item);
    folders.push_back(*item.measured);
  }
  if (folders.empty()) return;
  auto sizes = TidraDirectorySizeReader::readAll(folders, {.workers = request_.workers,
                                                           .mounts = request_.mounts,
                                                           .layers = layers,
                                                           .exclusions = request_.exclusions,
                                                           .stores = request_.stores,
                                                           .shouldCancel = request_.shouldCancel,
                                                           .rules = request_.rulesInside});
  for (std::size_t i = 0; i < measured.size(); ++i) setMeasured(*measured[i], sizes[i]);
  std::erase_if(items, [](const Kept& item) { return item.isLeftOut; });
}

void SystemArtifactScanner::setMeasured(Kept& item, TidraDirectorySizeReader::Size& size) {
  FoundArtifact& found = item.found;
  ScanArtifactFinding& finding = found.finding;
  finding.sizeBytes = size.bytes.value_or(0);
  // The folder of a tool's item is not what is removed, so it has no identity.
  if (item.measured->path == finding.path) found.identity = size.identity;
  const bool isEmptyTrash = item.isTrash && size.bytes == 0U && listing(finding.path).empty();
  item.isLeftOut = !size.bytes || size.kept || isEmptyTrash;
  found.repositories = std::move(size.repositories);
  found.inside = std::move(size.inside);
  found.setUse(std::move(size.use));
  if (size.kept) withheld_.push_back({finding.path, *size.kept});
}

}  // namespace tidra
