#include "fleet/agent/evaluation/policy_catalog.h"

#include "core/rules/skip_list.h"
#include "core/platform/trusted_file.h"

namespace tidra {

ChosenCatalog makePolicyCatalog(const FleetPolicy& policy, const ResolvedPolicy& resolved) {
  // Rules decide what a run removes, as the policy does.
  const auto read = [](const std::string& file, std::size_t mostBytes) {
    return readTrustedFile("Rules file", file, mostBytes);
  };
  ChosenCatalog chosen = makeCatalog(resolved.extraRules, policy.scan.disabledRules, read);
  SkipList::unskip(chosen.catalog, policy.scan.unskip, currentPlatform, resolved.resolver, "scan.unskip");
  return chosen;
}

}  // namespace tidra
