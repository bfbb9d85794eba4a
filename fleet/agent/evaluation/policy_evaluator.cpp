#include "fleet/agent/evaluation/policy_evaluator.h"

#include <algorithm>
#include <cassert>
#include <optional>
#include <string_view>
#include <unordered_set>

#include "core/base/quantities.h"
#include "core/base/record_fields.h"
#include "core/model/removal_leftover.h"
#include "core/platform/path_text.h"
#include "fleet/agent/evaluation/protected_paths.h"
#include "fleet/agent/evaluation/resolved_policy.h"

namespace tidra {
namespace {

using TextSet = std::unordered_set<std::string_view>;

/// What an earlier run has begun to delete.
bool isBegunRemoval(const ScanReportItem& item) { return RemovalLeftover::isEither(lastPathComponent(item.path)); }

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
    const bool isBegun = isBegunRemoval(item);
    if (!isBegun && item.ruleID && neverRules_.contains(*item.ruleID)) return SkipReason::ruleNeverRemoved;
    if (isInFileSystem(item.source) && protectedPaths_.cover(item.path)) return SkipReason::pathProtected;
    if (isBegun) return std::nullopt;
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

  bool holds(const ScanReportItem& item) const {
    if (isBegunRemoval(item)) return true;
    return (!bytes_ || Rules::sizeOf(item) <= *bytes_) && (!items_ || *items_ > 0);
  }
  void take(const ScanReportItem& item) {
    assert(holds(item));
    if (isBegunRemoval(item)) return;
    if (bytes_) *bytes_ -= Rules::sizeOf(item);
    if (items_) --*items_;
  }
  void giveBack(const ScanReportItem& item) {
    if (isBegunRemoval(item)) return;
    if (bytes_) *bytes_ += Rules::sizeOf(item);
    if (items_) ++*items_;
  }

 private:
  std::optional<std::uint64_t> bytes_;  // left; absent: no limit
  std::optional<std::int64_t> items_;
};

enum class Fate { undecided, selected, skipped, kept, goesAlong };

/// Decides about the items of a report one after another.
class Evaluation {
 public:
  Evaluation(const std::vector<ScanReportItem>& items, const FleetPolicy& policy, const TidraPathResolver& resolver)
      : items_(items), budget_(policy.autoClean), fates_(items.size(), Fate::undecided) {
    Rules rules(policy, resolver);
    faults_.reserve(items.size());
    for (const ScanReportItem& item : items) faults_.push_back(rules.faultOf(item));
  }

  void decide(const PolicyEvaluator::Consent& consent) {
    for (std::size_t i = 0; i < items_.size(); ++i) {
      if (fates_[i] == Fate::undecided) fates_[i] = fateOf(i, consent);
    }
  }

  Fate fate(std::size_t index) const { return fates_[index]; }
  /// Of a skipped item. What no test of the policy keeps is over the budget.
  SkipReason reason(std::size_t index) const { return faults_[index].value_or(SkipReason::overBudget); }
  std::size_t count(Fate fate) const {
    return static_cast<std::size_t>(std::count(fates_.begin(), fates_.end(), fate));
  }

 private:
  Fate fateOf(std::size_t index, const PolicyEvaluator::Consent& consent) {
    if (faults_[index] || !budget_.holds(items_[index])) return Fate::skipped;
    const auto parts = consent ? consent(index, faults_) : std::optional(std::vector<std::size_t>{});
    if (!parts) return Fate::kept;
    budget_.take(items_[index]);
    for (const std::size_t part : *parts) takeAlong(part);
    return Fate::selected;
  }

  void takeAlong(std::size_t part) {
    assert(!faults_[part]);
    if (fates_[part] == Fate::selected) budget_.giveBack(items_[part]);
    fates_[part] = Fate::goesAlong;
  }

  const std::vector<ScanReportItem>& items_;
  PolicyEvaluator::Faults faults_;
  Budget budget_;
  std::vector<Fate> fates_;
};

}  // namespace

PolicyDecision PolicyEvaluator::evaluate(ScanReport report, const FleetPolicy& policy,
                                         const TidraPathResolver& resolver, const Consent& consent) {
  PolicyDecision decision;
  decision.plan.createdAt = report.generatedAt;
  decision.plan.host = report.host;
  decision.plan.method = policy.disposal.method;
  decision.plan.reason = "policy:" + policy.name;
  Evaluation evaluation(report.items, policy, resolver);
  evaluation.decide(consent);
  decision.plan.items.reserve(evaluation.count(Fate::selected));
  decision.selected.reserve(evaluation.count(Fate::selected));
  decision.skipped.reserve(evaluation.count(Fate::skipped));
  for (std::size_t i = 0; i < report.items.size(); ++i) {
    ScanReportItem& item = report.items[i];
    if (evaluation.fate(i) == Fate::skipped) {
      decision.skipped.push_back({std::move(item), evaluation.reason(i)});
    } else if (evaluation.fate(i) == Fate::selected) {
      decision.plan.items.push_back(CleanupPlan::Item::make(item));
      decision.selected.push_back(std::move(item));
    }
  }
  return decision;
}

template <>
constexpr auto fieldsOf<PolicyDecision::Skipped> = recordFields(field("item", &PolicyDecision::Skipped::item),
                                                                field("reason", &PolicyDecision::Skipped::reason));

template struct RecordCodec<PolicyDecision::Skipped>;

}  // namespace tidra
