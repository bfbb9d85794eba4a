#include "fleet/agent/evaluation/policy_catalog.h"

#include "core/rules/skip_list.h"
#include "fleet/agent/policy/trusted_file.h"

namespace tidra {

ChosenCatalog makePolicyCatalog(const FleetPolicy& policy, const ResolvedPolicy& resolved) {
  // Rules decide what a run removes, as the policy does.
  for (const std::string& file : resolved.extraRules) requireTrustedFile("Rules file", file);
  ChosenCatalog chosen = makeCatalog(resolved.extraRules, policy.scan.disabledRules);
  SkipList::unskip(chosen.catalog, policy.scan.unskip, currentPlatform, resolved.resolver, "scan.unskip");
  return chosen;
}

}  // namespace tidra
