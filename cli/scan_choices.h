// Which findings the options of a scan choose by tier, ecosystem and category.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "app/state/last_scan_store.h"
#include "cli/scan_options.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

/// Each returns nullopt for no choice, and throws InputError, which lists the known values, for an unknown one.
std::optional<std::set<ArtifactSafetyTier>> chosenTiers(const ScanOptions& options);
std::optional<std::set<std::string>> chosenEcosystems(const ScanOptions& options, const RuleCatalog& catalog,
                                                      const std::set<std::string>& more = {});
std::optional<std::set<std::string>> chosenCategories(const ScanOptions& options, const RuleCatalog& catalog,
                                                      const std::set<std::string>& more = {});

/// What the options leave of an earlier scan. Known is also what that scan has found. Throws InputError.
LastScanFilter chosenOfLastScan(const ScanOptions& options, const LastScan& last, TimePoint now);

}  // namespace tidra
