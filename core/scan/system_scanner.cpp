// A scan goes: the tools were started when the scanner was made; tell of the project findings; run the pip check and
// the probes that only look at folders; wait for the tools; drop what is covered already; measure all that is left at
// once; tell of each.
#include "core/scan/system_scanner.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <unordered_set>

#include "core/model/system_scan_categories.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/directory_size.h"
#include "core/scan/probes/ai_tools_probe.h"
#include "core/scan/probes/apple_probes.h"
#include "core/scan/probes/catalog_path_probe.h"
#include "core/scan/probes/conda_probe.h"
#include "core/scan/probes/docker_probe.h"
#include "core/scan/probes/package_tool_probes.h"
#include "core/scan/probes/pip_orphan_probe.h"

namespace tidra {
namespace {

/// The places that findings hold, so that none is counted twice under two names.
class TakenPlaces {
 public:
  explicit TakenPlaces(const std::vector<ScanArtifactFinding>& projects) {
    for (const ScanArtifactFinding& finding : projects) paths_.insert(finding.path);
  }

  /// Takes a place unless it, an ancestor of it or something below it is taken.
  bool take(const std::string& path) {
    if (isToolBackedTarget(path)) return paths_.insert(path).second;
    const auto real = realPath(path);
    const std::string place = real ? *real : path;
    if (isCovered(path) || isCovered(place)) return false;
    const auto holds = [&](const std::string& taken) { return isSameOrInside(taken, place); };
    if (std::any_of(systemPaths_.begin(), systemPaths_.end(), holds)) return false;
    if (const auto facts = pathFacts(path);
        facts && !identities_.emplace(facts->identity.device, facts->identity.inode).second)
      return false;
    systemPaths_.push_back(place);
    paths_.insert(place);
    return true;
  }

 private:
  bool isCovered(const std::string& path) const {
    for (std::string ancestor = path; ancestor != "/"; ancestor = parentPath(ancestor)) {
      if (paths_.contains(ancestor)) return true;
    }
    return false;
  }

  std::unordered_set<std::string> paths_;
  std::vector<std::string> systemPaths_;  // without links on the way
  std::set<std::pair<std::uint64_t, std::uint64_t>> identities_;
};

template <class Probe>
void addSpecial(std::vector<std::unique_ptr<SystemArtifactProbe>>& probes, const std::set<std::string>& categories,
                TidraPlatform platform) {
  auto probe = std::make_unique<Probe>();
  if (categories.contains(probe->categoryKey()) && probe->supportedPlatforms().contains(platform)) {
    probes.push_back(std::move(probe));
  }
}

}  // namespace

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
  // Categories that a custom rules file made up.
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
    : request_(request), probes_(probes(request.categories, request.context.platform)), running_(probes_.size()) {
  for (std::size_t i = 0; i < probes_.size(); ++i) {
    if (probes_[i]->runsTools()) start(i);
  }
}

SystemArtifactScanner::~SystemArtifactScanner() = default;

void SystemArtifactScanner::start(std::size_t probe) {
  running_[probe] = std::async(std::launch::async, [this, probe] { return probes_[probe]->scan(request_.context); });
}

ProbeReport SystemArtifactScanner::finish(std::future<ProbeReport>& running) const {
  constexpr std::chrono::milliseconds poll{20};
  while (running.wait_for(poll) != std::future_status::ready) {
    // A cancelled scan ends its tools through the context.
    if (request_.shouldCancel) request_.shouldCancel();
  }
  return running.get();
}

SystemArtifactScanner::Result SystemArtifactScanner::scan(const std::vector<ScanArtifactFinding>& projects) {
  Result result;
  tickProjects(projects);
  auto items = collectItems(projects, result);
  measure(items);
  for (ProbeItem& item : items) {
    tick(systemPhaseLabel, result.findings.emplace_back(std::move(item.finding)));
  }
  return result;
}

void SystemArtifactScanner::tickProjects(const std::vector<ScanArtifactFinding>& projects) {
  for (const ScanArtifactFinding& finding : projects) tick(projectPhaseLabel, finding);
}

void SystemArtifactScanner::tick(const char* phase, const ScanArtifactFinding& finding) {
  tick_.phaseLabel = phase;
  ++tick_.artifactsFound;
  // Sparse files and tools gone wrong may claim more than the figure holds; it stays at its largest then.
  const auto room = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() - tick_.recoverableBytes);
  tick_.recoverableBytes += static_cast<std::int64_t>(std::min(finding.sizeBytes, room));
  tick_.latestFinding = &finding;
  if (request_.onProgress) request_.onProgress(tick_);
}

std::vector<ProbeItem> SystemArtifactScanner::collectItems(const std::vector<ScanArtifactFinding>& projects,
                                                           Result& result) {
  std::vector<ProbeReport> reports;
  if (request_.checksPip) {
    auto pip = std::async(std::launch::async, [&] { return PipOrphanProbe::scan(projects, request_.context); });
    reports.push_back(finish(pip));
  }
  for (std::size_t i = 0; i < probes_.size(); ++i) {
    if (!probes_[i]->runsTools()) start(i);
  }
  for (auto& probe : running_) reports.push_back(finish(probe));

  TakenPlaces taken(projects);
  std::vector<ProbeItem> items;
  for (ProbeReport& report : reports) {
    result.notes.insert(result.notes.end(), report.notes.begin(), report.notes.end());
    for (ProbeItem& item : report.items) {
      if (taken.take(item.finding.path)) items.push_back(std::move(item));
    }
  }
  return items;
}

void SystemArtifactScanner::measure(std::vector<ProbeItem>& items) {
  for (const bool enterBundles : {false, true}) {
    std::vector<ProbeItem*> measured;
    std::vector<std::string> folders;
    for (ProbeItem& item : items) {
      if (!item.measuredFolder || item.enterBundles != enterBundles) continue;
      measured.push_back(&item);
      folders.push_back(*item.measuredFolder);
    }
    const auto sizes = TidraDirectorySizeReader::readAll(folders, {.workers = request_.workers,
                                                                   .enterBundles = enterBundles,
                                                                   .mounts = request_.mounts,
                                                                   .shouldCancel = request_.shouldCancel});
    for (std::size_t i = 0; i < measured.size(); ++i) {
      if (sizes[i]) {
        measured[i]->finding.sizeBytes = *sizes[i];
        measured[i]->measuredFolder.reset();
      }
    }
  }
  // Those whose folder is still to be measured could not be.
  std::erase_if(items, [](const ProbeItem& item) { return item.measuredFolder.has_value(); });
}

}  // namespace tidra
