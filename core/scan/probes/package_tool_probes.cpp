#include "core/scan/probes/package_tool_probes.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "core/base/text.h"
#include "core/model/system_group_root.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Returns the questions to an installed tool, run by its name.
std::optional<ToolQuestions> questionsTo(const char* tool, const SystemProbeContext& context, double timeoutSeconds) {
  const auto path = ProcessRunner::which(tool, context.resolver.environment);
  return path ? std::optional<ToolQuestions>(std::in_place, context, *path, timeoutSeconds, true) : std::nullopt;
}

/// Validates a folder printed by a tool: never the home folder or an ancestor, which a faulty tool could offer for
/// removal.
std::optional<std::string> answeredFolder(const std::optional<std::string>& answer, const SystemProbeContext& context) {
  constexpr std::size_t longest = 4096;
  if (!answer || !answer->starts_with('/') || answer->size() > longest) return std::nullopt;
  if (answer->find('\n') != std::string::npos) return std::nullopt;
  std::string folder = standardizedPath(*answer);
  if (isSameOrInside(context.home(), folder)) return std::nullopt;
  return folder;
}

/// Homebrew's own cache has its name in the path. Other configured folders, such as "/var/cache" or the downloads, also
/// contain unrelated files.
bool isOwnCache(const std::string& folder) {
  constexpr std::array systemFolders{"/bin", "/boot", "/etc", "/lib", "/proc", "/sbin", "/sys", "/usr", "/System"};
  const auto isInside = [&](const char* system) { return isSameOrInside(folder, system); };
  if (!isInside("/usr/local") && std::any_of(systemFolders.begin(), systemFolders.end(), isInside)) return false;
  if (followedFacts(joinedPath(folder, "bin/brew"))) return false;  // the installation itself
  return asciiLowered(folder).find("homebrew") != std::string::npos;
}

ProbeItem makeItem(const char* id, const std::string& folder, std::string label, const char* ecosystem,
                   const std::string& group, ArtifactSafetyTier tier, const char* hint) {
  ProbeItem item;
  item.finding = {.path = folder,
                  .label = std::move(label),
                  .sizeBytes = 0,
                  .ecosystemTag = ecosystem,
                  .groupRoot = group,
                  .source = ArtifactSource::systemProbe,
                  .safetyTier = tier,
                  .restoreHint = hint,
                  .lastActivityDate = ProbeFiles::newestChild(folder),
                  .ruleID = id};
  item.measuredFolder = folder;
  return item;
}

void addModules(ProbeReport& report, const SystemProbeContext& context, const std::string& folder, const char* tool) {
  if (!ProbeFiles::isFolder(folder) || context.exclusionFilter.bars(folder)) return;
  const std::size_t count = GlobalModulesProbe::countPackages(folder);
  const bool holdsNpm = ProbeFiles::isFolder(joinedPath(folder, "npm"));
  const bool holdsCorepack = ProbeFiles::isFolder(joinedPath(folder, "corepack"));
  // npm and corepack came with Node; nobody installed them.
  if (count == (holdsNpm ? 1U : 0U) + (holdsCorepack ? 1U : 0U)) return;
  report.items.push_back(makeItem("global-node-modules", folder, fmt::format("Global {} modules ({})", tool, count),
                                  "npm", TidraSystemGroupRoot::forCategory("globalModules"),
                                  // Without npm, "npm install -g" cannot restore anything.
                                  holdsNpm ? ArtifactSafetyTier::warning : ArtifactSafetyTier::caution,
                                  "Reinstall with npm install -g or yarn global add"));
}

}  // namespace

ProbeReport HomebrewCacheProbe::scan(const SystemProbeContext& context) const {
  ProbeReport report;
  auto brew = questionsTo("brew", context, timeoutSeconds);
  if (!brew) return report;
  auto folder = answeredFolder(brew->ask({"--cache"}), context);
  if (!folder || !isOwnCache(*folder) || !ProbeFiles::isFolder(*folder)) {
    const auto prefix = answeredFolder(brew->ask({"--prefix"}), context);
    if (!prefix) {
      report.notes.push_back("Homebrew is installed but did not answer.");
      return report;
    }
    folder = joinedPath(*prefix, "var/homebrew/cache");
  }
  if (auto note = brew->note()) report.notes.push_back(std::move(*note));
  if (isOwnCache(*folder) && ProbeFiles::isFolder(*folder) && !context.exclusionFilter.bars(*folder)) {
    report.items.push_back(makeItem("homebrew-formula-cache", *folder, "Homebrew formula cache", "general",
                                    TidraSystemGroupRoot::forCategory("homebrew"), ArtifactSafetyTier::safe,
                                    "Caches rebuild automatically; use brew reinstall for removed downloads"));
  }
  return report;
}

std::size_t GlobalModulesProbe::countPackages(const std::string& nodeModules) {
  std::size_t count = 0;
  for (const std::string& name : ProbeFiles::entryNames(nodeModules)) {
    if (name.starts_with('.')) continue;
    count += name.starts_with('@') ? ProbeFiles::entryNames(joinedPath(nodeModules, name)).size() : 1;
  }
  return count;
}

ProbeReport GlobalModulesProbe::scan(const SystemProbeContext& context) const {
  ProbeReport report;
  if (auto npm = questionsTo("npm", context, timeoutSeconds)) {
    const auto prefix = answeredFolder(npm->ask({"prefix", "-g"}), context);
    if (prefix) {
      addModules(report, context, joinedPath(*prefix, "lib/node_modules"), "npm");
    } else {
      report.notes.push_back("npm is installed but did not report where its global packages are.");
    }
  }
  addModules(report, context, joinedPath(context.home(), ".config/yarn/global/node_modules"), "yarn");
  return report;
}

}  // namespace tidra
