#include "app/state/finding_choices.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "core/base/nearest_word.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"
#include "core/rules/catalog_files.h"

namespace tidra {
namespace {

/// Values in the order in which they are listed, each once.
class KnownValues {
 public:
  void add(std::string_view value) {
    if (std::find(values_.begin(), values_.end(), value) == values_.end()) values_.emplace_back(value);
  }

  /// Throws unless every value is known.
  void require(const std::vector<std::string>& given, std::string_view what) const {
    for (const std::string& value : given) {
      if (std::find(values_.begin(), values_.end(), value) != values_.end()) continue;
      throw InputError(
          fmt::format("Unknown {} '{}'; {}", what, escapedForTerminal(value), knownWordsText(value, values_)));
    }
  }

  const std::vector<std::string>& values() const { return values_; }

 private:
  std::vector<std::string> values_;
};

}  // namespace

std::optional<std::set<std::string>> chosenEcosystems(const FindingChoices& choices, const TidraAppSettings& settings,
                                                      const RuleCatalog& catalog, const std::set<std::string>& more) {
  KnownValues known;
  for (const auto& ecosystem : ecosystemTable) known.add(ecosystem.key);
  for (const auto& rule : catalog.projectRules) {
    known.add(rule.ecosystem);
    for (const auto& marker : rule.markers) known.add(marker.ecosystem);
  }
  for (const auto& rule : catalog.systemRules) known.add(rule.ecosystem);
  for (const std::string& tag : more) known.add(tag);
  known.require(choices.ecosystems, "ecosystem");
  if (!choices.ecosystems.empty()) return {{choices.ecosystems.begin(), choices.ecosystems.end()}};
  const auto off = switchedOff(settings.ecosystemsEnabled);
  if (off.empty()) return std::nullopt;
  std::set<std::string> left(known.values().begin(), known.values().end());
  for (const std::string& key : off) left.erase(key);
  return left;
}

std::optional<std::set<std::string>> chosenCategories(const FindingChoices& choices, const RuleCatalog& catalog,
                                                      const std::set<std::string>& more) {
  KnownValues known;
  for (const auto& category : systemScanCategoryTable) known.add(category.key);
  for (const auto& rule : catalog.systemRules) known.add(rule.category);
  for (const std::string& key : more) known.add(key);
  known.require(choices.categories, "category");
  if (choices.categories.empty()) return std::nullopt;
  return {{choices.categories.begin(), choices.categories.end()}};
}

std::optional<std::set<ArtifactSafetyTier>> chosenTiers(const FindingChoices& choices) {
  KnownValues known;
  for (const auto& row : EnumTable<ArtifactSafetyTier>::rows) known.add(row.text);
  known.require(choices.tiers, "tier");
  std::set<ArtifactSafetyTier> tiers;
  for (const std::string& text : choices.tiers) tiers.insert(fromRawValue<ArtifactSafetyTier>(text).value());
  return tiers.empty() ? std::nullopt : std::optional(std::move(tiers));
}

LastScanFilter chosenOfLastScan(const FindingChoices& choices, const TidraAppSettings& settings, const LastScan& last,
                                TimePoint now) {
  std::set<std::string> ecosystems;
  std::set<std::string> categories;
  if (last.aggregate) {
    for (const auto& [root, findings] : last.aggregate->artifactsByProjectRoot) {
      for (const ScanArtifactFinding& finding : findings) {
        ecosystems.insert(finding.ecosystemTag);
        categories.insert(categoryOf(finding));
      }
    }
  }
  const RuleCatalog catalog = makeCatalog({}, {}).catalog;
  LastScanFilter filter;
  filter.tiers = chosenTiers(choices);
  filter.ecosystems = chosenEcosystems(choices, settings, catalog, ecosystems);
  filter.categories = chosenCategories(choices, catalog, categories);
  if (choices.minimumSize) filter.minimumBytes = unsignedBytes(parseSize(*choices.minimumSize));
  if (choices.olderThan) filter.olderThan = parseAge(*choices.olderThan);
  filter.now = now;
  return filter;
}

std::vector<std::string> switchedOff(const std::map<std::string, bool>& switches) {
  std::vector<std::string> off;
  for (const auto& [key, isOn] : switches) {
    if (!isOn) off.push_back(key);
  }
  return off;
}

}  // namespace tidra
