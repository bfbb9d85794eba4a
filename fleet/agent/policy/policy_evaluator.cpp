#include "fleet/agent/policy/policy_evaluator.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <unordered_set>

#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "fleet/agent/policy/protected_paths.h"
#include "fleet/agent/policy/resolved_policy.h"

namespace tidra {
namespace {

using TextSet = std::unordered_set<std::string_view>;

/// The policy's lists as sets. Holds references to the policy.
class Rules {
 public:
  Rules(const FleetPolicy& policy, const TidraPathResolver& resolver)
      : clean_(policy.autoClean),
        neverTiers_(policy.never.tiers),
        neverRules_(policy.never.ruleIDs.begin(), policy.never.ruleIDs.end()),
        protectedPaths_(makePolicyFilter(policy.never.paths, resolver)),
        categories_(setOf(clean_.categories)),
        ecosystems_(setOf(clean_.ecosystems)) {}

  /// The first reason against the item by itself, in order of precedence.
  std::optional<SkipReason> faultOf(const ScanReportItem& item) {
    if (isIn(neverTiers_, item.tier)) return SkipReason::tierNeverRemoved;
    if (!isIn(clean_.tiers, item.tier)) return SkipReason::tierNotAutoCleaned;
    if (item.ruleID && neverRules_.contains(*item.ruleID)) return SkipReason::ruleNeverRemoved;
    if (isInFileSystem(item.source) && protectedPaths_.cover(item.path)) return SkipReason::pathProtected;
    if (categories_ && !categories_->contains(item.category)) return SkipReason::categoryNotAllowed;
    if (ecosystems_ && !ecosystems_->contains(item.ecosystem)) return SkipReason::ecosystemNotAllowed;
    if (sizeOf(item) < clean_.minBytes) return SkipReason::tooSmall;
    if (!item.idleDays && clean_.requireKnownIdle) return SkipReason::idleUnknown;
    // Without a minimum age a date in the future does not matter.
    if (item.idleDays && clean_.minIdleDays >= 1 && *item.idleDays < clean_.minIdleDays) return SkipReason::tooRecent;
    if (clean_.requireEvidence && lacksEvidence(item)) return SkipReason::noEvidence;
    return std::nullopt;
  }

  static std::uint64_t sizeOf(const ScanReportItem& item) { return unsignedBytes(item.bytes); }

 private:
  static std::optional<TextSet> setOf(const std::optional<std::vector<std::string>>& texts) {
    if (!texts) return std::nullopt;
    return TextSet(texts->begin(), texts->end());
  }
  static bool isIn(const std::vector<ArtifactSafetyTier>& tiers, ArtifactSafetyTier tier) {
    return std::find(tiers.begin(), tiers.end(), tier) != tiers.end();
  }
  static bool isInFileSystem(ArtifactSource source) {
    return source == ArtifactSource::projectWalk || source == ArtifactSource::systemProbe;
  }

  const FleetPolicy::AutoClean& clean_;
  const std::vector<ArtifactSafetyTier>& neverTiers_;
  TextSet neverRules_;
  ProtectedPaths protectedPaths_;
  std::optional<TextSet> categories_;
  std::optional<TextSet> ecosystems_;
};

/// The remaining budget of a run.
class Budget {
 public:
  explicit Budget(const FleetPolicy::AutoClean& clean) : bytes_(clean.maxBytesPerRun), items_(clean.maxItemsPerRun) {}

  /// Takes the item if it fits.
  bool take(std::uint64_t bytes) {
    if (bytes_ && bytes > *bytes_) return false;
    if (items_ && *items_ <= 0) return false;
    if (bytes_) *bytes_ -= bytes;
    if (items_) --*items_;
    return true;
  }

 private:
  std::optional<std::uint64_t> bytes_;  // left; absent: no limit
  std::optional<std::int64_t> items_;
};

}  // namespace

PolicyDecision PolicyEvaluator::evaluate(ScanReport report, const FleetPolicy& policy,
                                         const TidraPathResolver& resolver) {
  PolicyDecision decision;
  decision.plan.createdAt = report.generatedAt;
  decision.plan.host = report.host;
  decision.plan.method = policy.disposal.method;
  decision.plan.reason = "policy:" + policy.name;
  Rules rules(policy, resolver);
  Budget budget(policy.autoClean);
  std::vector<std::optional<SkipReason>> faults;
  faults.reserve(report.items.size());
  for (const ScanReportItem& item : report.items) {
    auto fault = rules.faultOf(item);
    if (!fault && !budget.take(Rules::sizeOf(item))) fault = SkipReason::overBudget;
    faults.push_back(fault);
  }
  const auto selectedCount = static_cast<std::size_t>(std::count(faults.begin(), faults.end(), std::nullopt));
  decision.plan.items.reserve(selectedCount);
  decision.selected.reserve(selectedCount);
  decision.skipped.reserve(faults.size() - selectedCount);
  for (std::size_t i = 0; i < faults.size(); ++i) {
    ScanReportItem& item = report.items[i];
    if (faults[i]) {
      decision.skipped.push_back({std::move(item), *faults[i]});
    } else {
      decision.plan.items.push_back(CleanupPlan::Item::make(item));
      decision.selected.push_back(std::move(item));
    }
  }
  return decision;
}

nlohmann::json JsonCodec<PolicyDecision::Skipped>::encode(const PolicyDecision::Skipped& skipped) {
  return {{"item", JsonCodec<ScanReportItem>::encode(skipped.item)}, {"reason", rawValue(skipped.reason)}};
}

PolicyDecision::Skipped JsonCodec<PolicyDecision::Skipped>::decode(const nlohmann::json& value,
                                                                   const std::string& where) {
  const JsonObjectReader object(value, where);
  return {.item = object.required<ScanReportItem>("item"), .reason = object.required<SkipReason>("reason")};
}

}  // namespace tidra
