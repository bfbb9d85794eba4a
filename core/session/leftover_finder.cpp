#include "core/session/leftover_finder.h"

#include <map>

#include "core/base/text.h"
#include "core/model/removal_leftover.h"
#include "core/model/system_group_root.h"
#include "core/platform/path_text.h"
#include "core/scan/place_set.h"
#include "core/scan/probes/system_probe.h"
#include "core/scan/removal_note.h"

namespace tidra {
namespace {

/// Returns the folder that may contain leftovers of removing a rule's matches: the parent of the first wildcard or of
/// the path; for rules about children the path itself.
std::string holderOf(const SystemPathRule& rule, const std::string& place) {
  const auto wildcard = place.find_first_of("*?[");
  if (wildcard != std::string::npos) return parentPath(place.substr(0, wildcard) + "x");
  return rule.mode == SystemPathRule::Mode::children ? place : parentPath(place);
}

}  // namespace

SystemLeftovers leftoversBesideSystemPlaces(const RuleCatalog& catalog, TidraPlatform platform,
                                            const std::set<std::string>& categories,
                                            const TidraPathResolver& resolver) {
  std::map<std::string, std::string> categoryByFolder;
  for (const SystemPathRule& rule : catalog.systemRulesFor(platform, categories)) {
    for (const std::string& pathTemplate : rule.paths.at(std::string(rawValue(platform)))) {
      const auto place = resolver.resolve(pathTemplate);
      if (place) categoryByFolder.emplace(holderOf(rule, *place), rule.category);
    }
  }
  RealPlaces real;
  SystemLeftovers leftovers;
  for (const auto& [folder, category] : categoryByFolder) {
    for (const std::string& name : ProbeFiles::entryNames(folder)) {
      if (!RemovalLeftover::isEither(name)) continue;
      const std::string path = joinedPath(folder, name);
      if (!RemovalNote::claims(path)) {
        if (ProbeFiles::isFolder(path)) leftovers.unclaimed.push_back(path);
        continue;
      }
      auto& leftover = leftovers.findings.emplace_back(
          FoundArtifact{.finding = RemovalLeftover::finding(path, 0), .category = category, .place = real.of(path)});
      leftover.finding.groupRoot = TidraSystemGroupRoot::forCategory(category);
      leftover.finding.source = ArtifactSource::systemProbe;
    }
  }
  return leftovers;
}

std::vector<WithheldFinding> measureLeftovers(std::vector<FoundArtifact>& leftovers,
                                              const TidraDirectorySizeReader::Options& options) {
  std::vector<WithheldFinding> withheld;
  if (leftovers.empty()) return withheld;
  std::vector<TidraDirectorySizeReader::Folder> folders;
  folders.reserve(leftovers.size());
  for (const auto& leftover : leftovers) folders.push_back({.path = leftover.finding.path, .enterBundles = true});
  auto sizes = TidraDirectorySizeReader::readAll(folders, options);
  std::vector<FoundArtifact> measured;
  for (std::size_t i = 0; i < leftovers.size(); ++i) {
    FoundArtifact& leftover = leftovers[i];
    leftover.finding.sizeBytes = sizes[i].bytes.value_or(0);
    leftover.identity = sizes[i].identity;
    leftover.repositories = std::move(sizes[i].repositories);
    leftover.setUse(std::move(sizes[i].use));
    if (sizes[i].kept) {
      withheld.push_back({leftover.finding.path, *sizes[i].kept});
    } else {
      measured.push_back(std::move(leftover));
    }
  }
  leftovers = std::move(measured);
  return withheld;
}

}  // namespace tidra
