#include "fleet/agent/evaluation/policy_evaluator.h"

#include <limits>
#include <random>

#include "core/base/json_fields.h"
#include "core/scan/walk_filter.h"
#include "fleet/agent/evaluation/protected_paths.h"
#include "fleet/agent/evaluation/resolved_policy.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

using Reason = SkipReason;
using Tier = ArtifactSafetyTier;

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
const TidraPathResolver resolver{"/home/ada", {{"CODE", "/srv/code"}}};

/// An item that the default policy selects.
ScanReportItem item(std::int64_t bytes = 1048576) {
  ScanReportItem made;
  made.id = "0123456789abcdef";
  made.path = "/home/ada/web/node_modules";
  made.label = "node_modules";
  made.bytes = bytes;
  made.ecosystem = "npm";
  made.category = "project";
  made.ruleID = "node_modules";
  made.idleDays = 7;
  return made;
}

ScanReport reportOf(std::vector<ScanReportItem> items) {
  ScanReport report;
  report.host = "box";
  report.generatedAt = TimePoint{std::chrono::seconds{1000}};
  report.items = std::move(items);
  return report;
}

/// The decision for each item; none for a selected one.
std::vector<std::optional<Reason>> verdicts(const std::string& policy, const std::vector<ScanReportItem>& items) {
  auto report = reportOf(items);
  for (std::size_t i = 0; i < items.size(); ++i) report.items[i].id = std::to_string(i);
  const auto decision = PolicyEvaluator::evaluate(report, FleetPolicy::parse(policy), resolver);
  std::vector<std::optional<Reason>> found(items.size());
  std::size_t count = decision.selected.size();
  for (const auto& skipped : decision.skipped) {
    found[std::stoul(skipped.item.id)] = skipped.reason;
    ++count;
  }
  EXPECT_EQ(count, items.size());
  EXPECT_EQ(decision.plan.items.size(), decision.selected.size());
  return found;
}

std::optional<Reason> verdict(const std::string& policy, const ScanReportItem& given) {
  return verdicts(policy, {given}).front();
}

TEST(PolicyEvaluator, TheFirstFailedTestIsTheReason) {
  // Every test fails at first; fixing the one reported reveals the next.
  auto policy = FleetPolicy::parse(R"({
    "autoClean": {"tiers": [], "categories": [], "ecosystems": [], "minBytes": 100, "maxBytesPerRun": 0},
    "never": {"tiers": ["safe"], "ruleIDs": ["node_modules"], "paths": ["~/web"]}})");
  auto given = item(99);
  given.idleDays = 6;
  const auto next = [&] {
    const auto decision = PolicyEvaluator::evaluate(reportOf({given}), policy, resolver);
    return decision.skipped.empty() ? std::optional<Reason>() : decision.skipped.front().reason;
  };
  EXPECT_EQ(next(), Reason::tierNeverRemoved);
  policy.never.tiers.clear();
  EXPECT_EQ(next(), Reason::tierNotAutoCleaned);
  policy.autoClean.tiers = {Tier::safe};
  EXPECT_EQ(next(), Reason::ruleNeverRemoved);
  given.ruleID.reset();
  EXPECT_EQ(next(), Reason::pathProtected);
  policy.never.paths.clear();
  EXPECT_EQ(next(), Reason::categoryNotAllowed);
  policy.autoClean.categories = {"docker", "project"};
  EXPECT_EQ(next(), Reason::ecosystemNotAllowed);
  policy.autoClean.ecosystems = {"npm"};
  EXPECT_EQ(next(), Reason::tooSmall);
  given.bytes = 100;
  EXPECT_EQ(next(), Reason::tooRecent);
  given.idleDays.reset();
  policy.autoClean.requireKnownIdle = true;
  EXPECT_EQ(next(), Reason::idleUnknown);
  policy.autoClean.requireKnownIdle = false;
  policy.autoClean.requireEvidence = true;
  EXPECT_EQ(next(), Reason::noEvidence);
  given.evidence = "ignored by git";
  EXPECT_EQ(next(), Reason::overBudget);
  policy.autoClean.maxBytesPerRun.reset();
  policy.autoClean.maxItemsPerRun = 0;
  EXPECT_EQ(next(), Reason::overBudget);
  policy.autoClean.maxItemsPerRun = -1;
  EXPECT_EQ(next(), Reason::overBudget);
  policy.autoClean.maxItemsPerRun = 1;
  EXPECT_EQ(next(), std::nullopt);
}

TEST(PolicyEvaluator, ThePolicyOfDefaultsTakesWhatIsSafeIdleAndLarge) {
  auto given = item();
  EXPECT_EQ(verdict("{}", given), std::nullopt);
  given.tier = Tier::caution;
  EXPECT_EQ(verdict("{}", given), Reason::tierNotAutoCleaned);
  given.tier = Tier::warning;
  given.bytes = 0;
  EXPECT_EQ(verdict("{}", given), Reason::tierNeverRemoved);
}

TEST(PolicyEvaluator, IdleDaysCountFromTheirLimitOn) {
  auto given = item();
  const std::string known = R"({"autoClean": {"requireKnownIdle": true, "minIdleDays": )";
  EXPECT_EQ(verdict("{}", given), std::nullopt);
  given.idleDays = 6;
  EXPECT_EQ(verdict("{}", given), Reason::tooRecent);
  given.idleDays = 0;
  EXPECT_EQ(verdict(known + "1}}", given), Reason::tooRecent);
  EXPECT_EQ(verdict(known + "0}}", given), std::nullopt);
  given.idleDays.reset();
  EXPECT_EQ(verdict("{}", given), std::nullopt);
  EXPECT_EQ(verdict(known + "0}}", given), Reason::idleUnknown);
  EXPECT_EQ(verdict(R"({"autoClean": {"minIdleDays": 0}})", given), std::nullopt);
}

TEST(PolicyEvaluator, BudgetsAreFilledInReportOrder) {
  const auto withBudget = [](const std::string& budget) { return R"({"autoClean": {"minBytes": 0, )" + budget + "}}"; };
  const auto over = std::optional(Reason::overBudget);
  EXPECT_THAT(verdicts(withBudget(R"("maxBytesPerRun": 100)"), {item(60), item(60), item(40), item(0), item(1)}),
              ElementsAre(std::nullopt, over, std::nullopt, std::nullopt, over));
  EXPECT_THAT(verdicts(withBudget(R"("maxItemsPerRun": 1, "maxBytesPerRun": 10)"), {item(11), item(10), item(0)}),
              ElementsAre(over, std::nullopt, over));
  // Sums beyond 64 bits neither wrap nor lose bytes.
  EXPECT_THAT(verdicts(withBudget(R"("maxBytesPerRun": 18446744073709551615)"),
                       {item(largest), item(largest), item(2), item(1)}),
              ElementsAre(std::nullopt, std::nullopt, over, std::nullopt));
  EXPECT_THAT(verdicts(withBudget(R"("maxBytesPerRun": 0)"), {item(-5), item(1)}), ElementsAre(std::nullopt, over));
}

TEST(PolicyEvaluator, ProtectsFoldersWithAllThatIsInThemAndHoldsThem) {
  const auto isProtected = [](const std::string& protection, const std::string& path) {
    auto given = item();
    given.path = path;
    return verdict(R"({"never": {"paths": [")" + protection + R"("]}})", given) == Reason::pathProtected;
  };
  for (const auto& [protection, path] :
       rowsOf("~/web => /home/ada/web | ~/web/ => /home/ada/web/a/b | ~/web/dist/keep => /home/ada/web/dist | "
              "$CODE => /srv/code/x/target | node_modules => /home/ada/web/node_modules | "
              "web => /home/ada/web/node_modules | ~/w?b/* => /home/ada/web/a/b/c | ~/work/** => "
              "/home/ada/work/a/b/target"))
    EXPECT_TRUE(isProtected(protection, path)) << protection;
  for (const auto& [protection, path] :
       rowsOf("~/web => /home/ada/website/dist | ~/*/target => /home/ada/a/b/target | => /home/ada/a"))
    EXPECT_FALSE(isProtected(protection, path)) << protection;
}

TEST(PolicyEvaluator, ToolsTargetsHaveNoPathToProtect) {
  for (const auto source : allCases<ArtifactSource>()) {
    auto given = item();
    given.source = source;
    given.path = "docker:image:/home/ada/web";
    const bool inFileSystem = source == ArtifactSource::projectWalk || source == ArtifactSource::systemProbe;
    EXPECT_EQ(verdict(R"({"never": {"paths": ["*"]}})", given),
              inFileSystem ? std::optional(Reason::pathProtected) : std::nullopt)
        << rawValue(source);
  }
}

TEST(PolicyEvaluator, PlansWhatItSelects) {
  const auto report = reportOf({item(5), item(2000000), item(1), item(3000000)});
  const auto policy = FleetPolicy::parse(R"({"name": "nightly", "disposal": {"method": "trash"}})");
  const auto decision = PolicyEvaluator::evaluate(report, policy, resolver);
  EXPECT_THAT(decision.selected, ElementsAre(report.items[1], report.items[3]));
  EXPECT_THAT(decision.skipped, ElementsAre(PolicyDecision::Skipped{report.items[0], Reason::tooSmall},
                                            PolicyDecision::Skipped{report.items[2], Reason::tooSmall}));
  const CleanupPlan plan{.createdAt = report.generatedAt,
                         .host = "box",
                         .method = DisposalMethod::trash,
                         .reason = "policy:nightly",
                         .items = {CleanupPlan::Item::make(report.items[1]), CleanupPlan::Item::make(report.items[3])}};
  EXPECT_EQ(decision.plan, plan);
  EXPECT_EQ(PolicyEvaluator::evaluate(report, policy, resolver), decision);
  using Codec = JsonCodec<PolicyDecision::Skipped>;
  EXPECT_EQ(Codec::decode(toJson(decision.skipped[0]), "it"), decision.skipped[0]);
  EXPECT_EQ(toJson(decision.skipped[0])["reason"], "tooSmall");
}

TEST(PolicyEvaluator, AsksOnceAboutEachItemAndSpendsNothingOnWhatStaysOrGoesAlong) {
  auto report = reportOf({item(1), item(), item(), item(), item(), item(), item()});
  for (std::size_t i = 0; i < report.items.size(); ++i) report.items[i].id = std::to_string(i);
  constexpr std::size_t kept = 1;
  constexpr std::size_t holder = 3;  // of the one before and the one after it
  std::vector<std::size_t> asked;
  const auto decision = PolicyEvaluator::evaluate(
      report, FleetPolicy::parse(R"({"autoClean": {"maxItemsPerRun": 2}})"), resolver,
      [&](std::size_t index, const PolicyEvaluator::Faults& faults) -> std::optional<std::vector<std::size_t>> {
        asked.push_back(index);
        EXPECT_EQ(faults[0], Reason::tooSmall);
        if (index == kept) return std::nullopt;
        return index == holder ? std::vector{holder - 1, holder + 1} : std::vector<std::size_t>();
      });
  EXPECT_THAT(asked, ElementsAre(1, 2, 3, 5));
  EXPECT_THAT(decision.selected, ElementsAre(report.items[3], report.items[5]));
  EXPECT_THAT(decision.skipped, ElementsAre(PolicyDecision::Skipped{report.items[0], Reason::tooSmall},
                                            PolicyDecision::Skipped{report.items[6], Reason::overBudget}));
}

/// Random texts of few words, so that they often match.
class Texts {
 public:
  std::string path() { return made("/", {"a", "b", "ab", "abc", "b.keep"}, false); }
  std::string protection() {
    return made(random_() % 2 == 0 ? "/" : "",
                {"a", "b", "ab", "*", "a*", "*b", "?", "a?c", "*.keep", "*b*", "?b*", "[ab]", "[!a]*", "a\\b", "**"},
                true);
  }

 private:
  std::string made(std::string text, const std::vector<std::string>& words, bool mayEndInSlash) {
    const auto count = 1 + random_() % 4;
    for (std::size_t i = 0; i < count; ++i) text += (i > 0 ? "/" : "") + words[random_() % words.size()];
    return mayEndInSlash && random_() % 8 == 0 ? text + "/" : text;
  }

  std::mt19937 random_{20260314};
};

TEST(ProtectedPaths, AgreesWithTheFilterOfScans) {
  Texts texts;
  std::size_t hits = 0;
  std::size_t misses = 0;
  constexpr int rounds = 400;
  for (int round = 0; round < rounds; ++round) {
    std::vector<std::string> protections;
    for (int i = 0; i <= round % 3; ++i) protections.push_back(texts.protection());
    const auto filter = makePolicyFilter(protections, resolver);
    ProtectedPaths compiled(filter);
    WalkFilter reference;
    reference.add(filter);
    for (int i = 0; i < 50; ++i) {
      const std::string path = texts.path();
      const bool holdsOne = std::any_of(filter.pathPrefixes.begin(), filter.pathPrefixes.end(),
                                        [&](const auto& prefix) { return prefix.starts_with(path + "/"); });
      const bool expected = reference.bars(path) || holdsOne;
      ++(expected ? hits : misses);
      EXPECT_EQ(compiled.cover(path), expected) << path << " under " << testing::PrintToString(protections);
    }
  }
  EXPECT_GT(hits, 1000U);
  EXPECT_GT(misses, 1000U);
}

}  // namespace
}  // namespace tidra
