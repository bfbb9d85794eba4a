#include "fleet/agent/policy_scan.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/host.h"
#include "core/scan/git_metadata.h"
#include "fleet/agent/evaluation/policy_catalog.h"

namespace tidra {
namespace {

template <class T>
std::optional<std::set<T>> asSet(const std::optional<std::vector<T>>& values) {
  if (!values) return std::nullopt;
  return std::set<T>(values->begin(), values->end());
}

std::optional<Age> ageOfRemovals(const FleetPolicy::AutoClean& clean) {
  constexpr std::int64_t most = 366'000;
  if (clean.minIdleDays < 1) return std::nullopt;
  return Age{0, std::chrono::days{std::min(clean.minIdleDays, most)}};
}

void setRoots(PolicyScan& scan, const std::vector<std::string>& roots) {
  for (const std::string& root : roots) {
    if (const auto opened = openDirectory(root)) {
      scan.request.roots.push_back(root);
    } else {
      scan.warnings.push_back(fmt::format("scan root {} cannot be scanned: {}", root, opened.failure().message()));
    }
  }
}

}  // namespace

PolicyScan makePolicyScan(const FleetPolicy& policy, const ResolvedPolicy& resolved, TimePoint now) {
  PolicyScan scan;
  ScanRequest& request = scan.request;
  setRoots(scan, resolved.roots);
  ChosenCatalog chosen = makePolicyCatalog(policy, resolved);
  request.catalog = std::move(chosen.catalog);
  request.wholeCatalog = std::move(chosen.whole);
  scan.warnings.insert(scan.warnings.end(), chosen.notes.begin(), chosen.notes.end());
  request.resolver = resolved.resolver;
  request.host = TidraHost::name(resolved.resolver.environment);
  request.mounts = mountPoints();
  request.git = TidraGitMetadataReader::findGit(resolved.resolver.environment);
  request.scanProjects = !request.roots.empty();
  request.categories = asSet(policy.scan.categories);
  request.scanSystem = !request.categories || !request.categories->empty();
  request.systemReach = SystemReach::everywhere;  // the categories select
  request.exclusions = resolved.exclude;
  // The evaluator matches texts of paths only; the scan resolves links and sees what a pattern matches inside an item.
  const auto never = makePolicyFilter(policy.never.paths, resolved.resolver);
  request.exclusions.keptPatterns = never.globPatterns;
  request.exclusions.keptPrefixes = never.pathPrefixes;
  request.quarantines = {resolved.quarantine.directory};
  request.ecosystems = asSet(policy.scan.ecosystems);
  request.thresholds = policy.thresholds();
  request.provenAge = ageOfRemovals(policy.autoClean);
  request.now = now;
  return scan;
}

}  // namespace tidra
