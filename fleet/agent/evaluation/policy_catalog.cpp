#include "fleet/agent/evaluation/policy_catalog.h"

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

}  // namespace tidra
