#include "core/session/root_plans.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <unordered_set>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/bundle_packages.h"
#include "core/scan/place_set.h"
#include "core/scan/walk_setup.h"

namespace tidra {
namespace {

using Request = FilesystemArtifactScanner::Request;

std::optional<std::string> obstacleOf(const Request& walk) {
  if (const auto opened = openDirectory(walk.root); !opened) {
    return fmt::format("{} could not be read: {}.", escapedForTerminal(walk.resolver.displayPath(walk.root)),
                       opened.failure().message());
  }
  return obstacleOfRoot(walk);
}

/// Whether a walk may stop at a folder of this name.
bool mayEndAt(std::string_view name, const RuleCatalog& catalog) {
  return isBundlePackage(name) || std::any_of(catalog.projectRules.begin(), catalog.projectRules.end(),
                                              [&](const auto& rule) { return rule.folderName == name; });
}

bool isOnOneFileSystem(const std::string& left, const std::string& right) {
  const auto first = pathFacts(left);
  const auto second = pathFacts(right);
  return first && second && first->identity.device == second->identity.device;
}

/// Whether the walk of `outer` certainly visits the resolved path of `inner`, which lies below it.
bool reaches(const RootPlan& outer, const RootPlan& inner, Request walk) {
  if (walk.oneFileSystem && !isOnOneFileSystem(outer.realPath, inner.realPath)) return false;
  walk.root = outer.root;
  const auto below = pathBelow(inner.realPath, outer.realPath);
  auto folder = openDirectory(outer.root);
  for (const std::string_view name : splitNonEmpty(below, '/')) {
    // An unlistable folder can still be traversed.
    if (!folder || mayEndAt(name, *walk.catalog)) return false;
    folder = openSubdirectory(folder->get(), std::string(name).c_str());
  }
  return !makeWalkFilter(walk).bars(joinedPath(outer.root, below));
}

RootPlan planOf(const std::string& root, Request walk) {
  RootPlan plan{.root = root, .realPath = {}, .obstacle = {}};
  walk.root = root;
  // A link is not the artefact that it leads to.
  const auto facts = pathFacts(root);
  if (!walk.onlyNames && facts && facts->type == EntryType::directory && isWholeArtefact(walk)) {
    plan.root = walk.root = parentPath(root);
    plan.onlyNames.emplace().emplace(lastPathComponent(root));
  }
  plan.realPath = realPathOrSame(plan.root);
  plan.obstacle = obstacleOf(walk);
  return plan;
}

}  // namespace

std::vector<RootPlan> planRoots(const std::vector<std::string>& roots, Request walk) {
  std::vector<RootPlan> plans;
  for (const std::string& root : roots) {
    auto plan = planOf(root, walk);
    const auto isSame = [&](const RootPlan& other) {
      return other.root == plan.root && other.onlyNames == plan.onlyNames;
    };
    if (std::none_of(plans.begin(), plans.end(), isSame)) plans.push_back(std::move(plan));
  }
  // Outer roots first: a covering root must be known to be walked itself.
  std::vector<std::size_t> order(plans.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return plans[a].realPath.size() < plans[b].realPath.size(); });
  for (auto inner = order.begin(); inner != order.end(); ++inner) {
    RootPlan& plan = plans[*inner];
    plan.isCovered = std::any_of(order.begin(), inner, [&](std::size_t outer) {
      return plans[outer].isWalked() && !plans[outer].onlyNames &&
             isSameOrInside(plan.realPath, plans[outer].realPath) && reaches(plans[outer], plan, walk);
    });
  }
  return plans;
}

void dropCoveredFindings(std::vector<FoundArtifact>& findings) {
  PlaceSet outermost;
  for (const FoundArtifact& found : findings) outermost.add(found.place);
  std::unordered_set<std::string> seen;
  std::erase_if(findings, [&](const FoundArtifact& found) {
    return !seen.insert(found.place).second || !outermost.contains(found.place);
  });
}

std::string realPathBelow(const RootPlan& plan, const std::string& path) {
  return joinedPath(plan.realPath, pathBelow(path, plan.root));
}

}  // namespace tidra
