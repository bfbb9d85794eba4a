#include "fleet/agent/evaluation/hub_overlay.h"

#include "core/base/errors.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

FleetPolicy own() {
  return FleetPolicy::parse(R"({"name": "own", "dryRun": true, "lockFile": "~/l", "audit": {"path": "~/a"},
    "metrics": {"listen": ":1", "textfile": "~/m"}, "hub": {"url": "http://hub", "policy": "ci"},
    "scan": {"home": "/home/agent", "roots": ["~/own"], "extraRules": ["/etc/rules.json"],
             "unskip": ["/opt", "~/.cache"]},
    "never": {"tiers": ["warning", "caution"], "ruleIDs": ["own-rule"], "paths": ["~/keep"]}})");
}

TEST(HubOverlay, AHostileHubCanNeitherForgetWhatIsForbiddenNorMoveTheTraces) {
  const FleetPolicy policy = overlaidByHub(own(), FleetPolicy::parse(R"({"name": "theirs", "dryRun": false,
    "lockFile": "/tmp/l", "audit": {"path": "/dev/null"}, "metrics": {"listen": "0.0.0.0:80"},
    "hub": {"url": "http://evil", "tokenFile": "/etc/shadow"},
    "scan": {"home": "/", "roots": ["/"], "disabledRules": ["own-rule", "their-rule"]},
    "autoClean": {"tiers": ["caution", "safe"]},
    "never": {"tiers": [], "ruleIDs": ["their-rule2", "own-rule"], "paths": []},
    "disposal": {"method": "delete"}})"));
  EXPECT_EQ(policy.hub, own().hub);
  EXPECT_EQ(policy.audit, own().audit);
  EXPECT_EQ(policy.metrics, own().metrics);
  EXPECT_EQ(policy.lockFile, own().lockFile);
  EXPECT_EQ(policy.scan.home, own().scan.home);
  EXPECT_EQ(policy.scan.extraRules, own().scan.extraRules);
  EXPECT_TRUE(policy.dryRun);
  EXPECT_THAT(policy.never.tiers, ElementsAre(ArtifactSafetyTier::warning, ArtifactSafetyTier::caution));
  EXPECT_THAT(policy.never.ruleIDs, ElementsAre("their-rule2", "own-rule"));
  EXPECT_THAT(policy.never.paths, ElementsAre("~/keep"));
  // If the rule were disabled, another one could claim its findings.
  EXPECT_THAT(policy.scan.disabledRules, ElementsAre("their-rule"));
  EXPECT_THAT(policy.autoClean.tiers, ElementsAre(ArtifactSafetyTier::safe));
  EXPECT_NO_THROW(policy.validate());
  // The rest comes from the hub.
  EXPECT_EQ(policy.name, "theirs");
  EXPECT_THAT(policy.scan.roots, ElementsAre("/"));
  EXPECT_EQ(policy.disposal.method, DisposalMethod::delete_);
}

TEST(HubOverlay, WalksOnlyThoseSkippedFoldersThatTheHostNames) {
  const auto overlaid = [](const char* text) { return overlaidByHub(own(), FleetPolicy::parse(text)).scan.unskip; };
  EXPECT_THAT(overlaid("{}"), IsEmpty());
  EXPECT_THAT(overlaid(R"({"scan": {"unskip": ["/opt"]}})"), ElementsAre("/opt"));
  EXPECT_THROW(overlaid(R"({"scan": {"unskip": ["/opt", "/usr"]}})"), InputError);
}

TEST(HubOverlay, TakesRulesOnlyFromFilesThatTheHostNames) {
  EXPECT_NO_THROW(overlaidByHub(own(), FleetPolicy::parse(R"({"scan": {"extraRules": ["/etc/rules.json"]}})")));
  EXPECT_THROW(overlaidByHub(own(), FleetPolicy::parse(R"({"scan": {"extraRules": ["/tmp/rules.json"]}})")),
               InputError);
  EXPECT_THROW(overlaidByHub(own(), FleetPolicy::parse(R"({"scan": {"packs": ["elixir"]}})")), InputError);
}

}  // namespace
}  // namespace tidra
