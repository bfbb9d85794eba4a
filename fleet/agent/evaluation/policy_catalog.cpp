#include "fleet/agent/evaluation/policy_catalog.h"

#include <algorithm>
#include <set>

#include "core/platform/trusted_file.h"
#include "core/rules/rule_packs.h"
#include "core/rules/skip_list.h"

namespace tidra {

ChosenCatalog makePolicyCatalog(const FleetPolicy& policy, const ResolvedPolicy& resolved) {
  const auto packs = policy.scan.packs.value_or(std::vector<std::string>{});
  for (const std::string& pack : packs) {
    if (RulePack::find(pack) == nullptr) throw InputError("scan.packs: " + RulePack::unknownText(pack));
  }
  // Rules decide what a run removes, as the policy does.
  const auto read = [](const std::string& file, std::size_t mostBytes) {
    return readTrustedFile("Rules file", file, mostBytes);
  };
  ChosenCatalog chosen = makeCatalog({.packs = packs,
                                      .addedFolder = std::nullopt,
                                      .files = resolved.extraRules,
                                      .disabledRules = policy.scan.disabledRules},
                                     read);
  SkipList::unskip(chosen.catalog, policy.scan.unskip, currentPlatform, resolved.resolver, "scan.unskip");
  return chosen;
}

std::vector<std::string> undatedCategories(const FleetPolicy& policy, const RuleCatalog& catalog) {
  if (!policy.autoClean.requireKnownIdle || !policy.scan.categories) return {};
  const auto holds = [](const auto& list, const auto& value) {
    return std::find(list.begin(), list.end(), value) != list.end();
  };
  std::vector<std::string> undated;
  for (const std::string& category : *policy.scan.categories) {
    auto rules = catalog.systemRulesFor(currentPlatform, std::set{category});
    std::erase_if(rules, [&](const SystemPathRule& rule) {
      return !holds(policy.autoClean.tiers, rule.tier) || holds(policy.never.tiers, rule.tier);
    });
    const bool isDated = std::any_of(rules.begin(), rules.end(), [](const SystemPathRule& rule) {
      return rule.activity != SystemPathRule::Activity::none;
    });
    if (!rules.empty() && !isDated) undated.push_back(category);
  }
  return undated;
}

}  // namespace tidra
