// Which findings of a scan are wanted, as the user named them: by tier, ecosystem, category, size and age.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/state/app_settings.h"
#include "app/state/last_scan_store.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

struct FindingChoices {
  std::vector<std::string> ecosystems = {};     // none: those that the settings have not switched off
  std::vector<std::string> categories = {};     // none: likewise
  std::vector<std::string> tiers = {};          // none: all
  std::optional<std::string> minimumSize = {};  // as parseSize() reads it
  std::optional<std::string> olderThan = {};    // as parseAge() reads it

  bool operator==(const FindingChoices&) const = default;
};

/// Each returns nullopt for no choice, and throws InputError, which lists the known values, for an unknown one. Known
/// are those of the catalog and `more`.
std::optional<std::set<ArtifactSafetyTier>> chosenTiers(const FindingChoices& choices);
std::optional<std::set<std::string>> chosenEcosystems(const FindingChoices& choices, const TidraAppSettings& settings,
                                                      const RuleCatalog& catalog,
                                                      const std::set<std::string>& more = {});
std::optional<std::set<std::string>> chosenCategories(const FindingChoices& choices, const RuleCatalog& catalog,
                                                      const std::set<std::string>& more = {});

/// What they leave of an earlier scan. Known is also what that scan has found. Throws InputError.
LastScanFilter chosenOfLastScan(const FindingChoices& choices, const TidraAppSettings& settings, const LastScan& last,
                                TimePoint now);

/// The keys that are false in the map.
std::vector<std::string> switchedOff(const std::map<std::string, bool>& switches);

}  // namespace tidra
