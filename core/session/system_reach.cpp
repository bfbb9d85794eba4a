#include "core/session/system_reach.h"

#include <fmt/format.h>

#include "core/base/text.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {

std::optional<SystemBounds> systemBoundsOf(const ScanRequest& request) {
  if (request.systemReach == SystemReach::everywhere || request.roots.empty()) return std::nullopt;
  const std::string home = realPathOrSame(request.resolver.home);
  SystemBounds bounds;
  for (const std::string& root : request.roots) {
    const std::string real = realPathOrSame(root);
    if (isSameOrInside(home, real)) return std::nullopt;
    bounds.roots.add(real);
  }
  if (request.categories) bounds.toolCategories = *request.categories;
  return bounds;
}

std::set<std::string> systemCategoriesOf(const ScanRequest& request) {
  if (request.categories) return *request.categories;
  std::set<std::string> categories;
  for (const auto& category : systemScanCategoryTable) categories.emplace(category.key);
  for (const auto& rule : request.catalog.systemRules) categories.insert(rule.category);
  for (const std::string& category : request.categoriesOff) categories.erase(category);
  return categories;
}

SystemProbeContext probeContextOf(const ScanRequest& request) {
  return {.resolver = request.resolver,
          .exclusionFilter = {},
          .catalog = &request.catalog,
          .platform = request.platform,
          .now = request.now,
          .shouldCancel = {}};
}

SystemArtifactScanner::Request systemRequestOf(const ScanRequest& request) {
  SystemArtifactScanner::Request made;
  made.context = probeContextOf(request);
  made.categories = systemCategoriesOf(request);
  made.bounds = systemBoundsOf(request);
  const bool asksPip = !made.bounds || made.bounds->toolCategories.contains("python");
  made.checksPip = asksPip && request.scanProjects && made.categories.contains("python") &&
                   (!request.ecosystems || request.ecosystems->contains("py"));
  made.mounts = request.mounts;
  made.workers = request.workers;
  return made;
}

std::string outOfBoundsNote(const ScanRequest& request) {
  constexpr std::size_t mostNamed = 3;
  std::vector<std::string> roots;
  for (const std::string& root : request.roots) {
    roots.push_back(escapedForTerminal(request.resolver.displayPath(root)));
  }
  return fmt::format("Caches{} outside {} were not looked at; --system includes them.",
                     request.categories ? "" : " and tools",
                     roots.size() <= mostNamed ? joined(roots, ", ") : "the named folders");
}

}  // namespace tidra
