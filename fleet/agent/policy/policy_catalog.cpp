#include "fleet/agent/policy/policy_catalog.h"

#include "core/rules/skip_list.h"

namespace tidra {

ChosenCatalog makePolicyCatalog(const FleetPolicy& policy, const ResolvedPolicy& resolved) {
  ChosenCatalog chosen = makeCatalog(resolved.extraRules, policy.scan.disabledRules);
  SkipList::unskip(chosen.catalog, policy.scan.unskip, currentPlatform, resolved.resolver, "scan.unskip");
  return chosen;
}

}  // namespace tidra
