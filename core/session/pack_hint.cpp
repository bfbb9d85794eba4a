#include "core/session/pack_hint.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/scan/place_set.h"
#include "core/scan/probes/catalog_path_probe.h"

namespace tidra {
namespace {

bool hasPlaces(const RulePack& pack, SystemProbeContext& context, const std::set<std::string>& categories,
               const PlaceSet& found) {
  context.catalog = &pack.catalog;
  std::set<std::string> own;
  for (const SystemPathRule& rule : pack.catalog.systemRules) {
    if (categories.contains(rule.category)) own.insert(rule.category);
  }
  return std::any_of(own.begin(), own.end(), [&](const std::string& category) {
    const auto taken = CatalogPathProbe(category).candidates(context).taken;
    return std::any_of(taken.begin(), taken.end(),
                       [&](const auto& candidate) { return !found.covers(realPathOrSame(candidate.url)); });
  });
}

}  // namespace

OffPacks::OffPacks(const std::vector<const RulePack*>& packs) {
  for (const RulePack* pack : packs) packs_.push_back({pack});
}

void OffPacks::addProjects(const std::vector<std::uint64_t>& projects) {
  for (std::size_t i = 0; i < std::min(packs_.size(), projects.size()); ++i) packs_[i].projects += projects[i];
}

void OffPacks::findPlaces(SystemProbeContext context, const std::set<std::string>& categories,
                          const std::vector<FoundArtifact>& findings) {
  PlaceSet found;
  for (const FoundArtifact& finding : findings) found.add(finding.place);
  for (Met& off : packs_) off.hasPlaces = hasPlaces(*off.pack, context, categories, found);
}

std::optional<std::string> OffPacks::note() const {
  std::vector<Met> packs = packs_;
  std::erase_if(packs, [](const Met& off) { return off.projects == 0 && !off.hasPlaces; });
  if (packs.empty()) return std::nullopt;
  std::stable_sort(packs.begin(), packs.end(),
                   [](const Met& one, const Met& other) { return one.projects > other.projects; });
  std::vector<std::string> counts;
  std::vector<std::string> caches;
  std::string names;
  std::uint64_t lastCount = 0;
  for (const Met& off : packs) {
    names += " " + off.pack->name;
    if (off.projects == 0) {
      caches.push_back(off.pack->title);
      continue;
    }
    lastCount = off.projects;
    counts.push_back(fmt::format("{} {}", off.projects, off.pack->title));
  }
  std::string text;
  if (!counts.empty()) text = fmt::format("{} project{}", joinedWithAnd(std::move(counts)), lastCount == 1 ? "" : "s");
  if (!caches.empty()) {
    text += fmt::format("{} of {}", text.empty() ? "Caches" : ", and caches", joinedWithAnd(std::move(caches)));
  }
  return fmt::format("{}: tidra rules enable{}", text, names);
}

}  // namespace tidra
