#include "fleet/agent/evaluation/policy_catalog.h"

#include <fmt/format.h>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/rules/skip_list.h"

namespace tidra {
namespace {

/// Rules decide what a run removes, as the policy does, so the same users may write them. A file that does not
/// exist is left to the reader, which names the reason.
void requireTrustedRulesFile(const std::string& path) {
  const auto real = realPath(path);
  if (!real || isOwnedAndPrivate(*real)) return;
  throw InputError(fmt::format(
      "Rules file '{0}' can be changed by other users, who would decide what is removed; it must belong to you or "
      "root, and 'chmod o-w {0}' keeps others from writing.",
      escapedForTerminal(path)));
}

}  // namespace

ChosenCatalog makePolicyCatalog(const FleetPolicy& policy, const ResolvedPolicy& resolved) {
  for (const std::string& file : resolved.extraRules) requireTrustedRulesFile(file);
  ChosenCatalog chosen = makeCatalog(resolved.extraRules, policy.scan.disabledRules);
  SkipList::unskip(chosen.catalog, policy.scan.unskip, currentPlatform, resolved.resolver, "scan.unskip");
  return chosen;
}

}  // namespace tidra
