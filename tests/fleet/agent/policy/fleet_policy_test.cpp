#include "fleet/agent/policy/fleet_policy.h"

#include <sys/stat.h>

#include "core/base/errors.h"
#include "core/base/json_fields.h"
#include "fleet/agent/policy/example_policies.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

using Tier = ArtifactSafetyTier;

std::string invalid(const std::string& text) {
  return messageOf<FleetPolicyError>([&] { FleetPolicy::parse(text); });
}

std::string undecodable(const std::string& text) {
  return messageOf<DecodingError>([&] { FleetPolicy::parse(text); });
}

TEST(FleetPolicy, FillsInEveryDefault) {
  const auto policy = FleetPolicy::parse("{}");
  EXPECT_EQ(policy.schemaVersion, 1);
  EXPECT_EQ(policy.name, "default");
  EXPECT_THAT(policy.scan.roots, ElementsAre("~"));
  EXPECT_EQ(policy.scan.categories, std::nullopt);
  EXPECT_THAT(policy.autoClean.tiers, ElementsAre(Tier::safe));
  EXPECT_EQ(policy.autoClean.categories, std::nullopt);
  EXPECT_EQ(policy.autoClean.minIdleDays, 7);
  EXPECT_FALSE(policy.autoClean.requireKnownIdle);
  EXPECT_EQ(policy.autoClean.minBytes, 1048576U);
  EXPECT_EQ(policy.autoClean.maxBytesPerRun, std::nullopt);
  EXPECT_EQ(policy.autoClean.maxItemsPerRun, std::nullopt);
  EXPECT_THAT(policy.never.tiers, ElementsAre(Tier::warning));
  EXPECT_EQ(policy.disposal.method, DisposalMethod::quarantine);
  EXPECT_EQ(policy.disposal.retentionDays, 7);
  EXPECT_TRUE(policy.disposal.purgeOnRun);
  EXPECT_EQ(policy.hub.topItems, 25);
  EXPECT_THAT(policy.hub.tags, IsEmpty());
  EXPECT_FALSE(policy.dryRun);
  EXPECT_EQ(policy.dormantMonths, 24);
  EXPECT_EQ(policy.inactiveMonths, 6);
  EXPECT_EQ(FleetPolicy::parse(R"({"name": null, "scan": {"roots": null}, "hub": {}, "later": [1]})"), policy);
  EXPECT_EQ(FleetPolicy::parse("\xEF\xBB\xBF{}\n"), policy);
}

TEST(FleetPolicy, ReadsAndWritesEveryKey) {
  const auto everything = parseJson(R"(
    {"audit": {"path": "a"},
     "autoClean": {"categories": [], "ecosystems": ["any"], "maxBytesPerRun": 18446744073709551615,
      "maxItemsPerRun": 0, "minBytes": 0, "minIdleDays": 9223372036854775807, "requireEvidence": true,
      "requireKnownIdle": true, "tiers": ["warning"]},
     "disposal": {"method": "delete", "purgeOnRun": false, "quarantineDir": "q", "retentionDays": 0},
     "dormantMonths": 2147483648, "dryRun": true,
     "hub": {"intervalSeconds": 60, "policy": "p", "tags": {"k": "v"}, "token": "t", "tokenFile": "f",
      "topItems": 200, "url": "HTTPS://u:p@[::1]:8/x?y#z"},
     "inactiveMonths": -1, "lockFile": "l", "metrics": {"listen": ":1", "textfile": "m"}, "name": "n/ü",
     "never": {"paths": ["~/p"], "ruleIDs": ["r"], "tiers": []},
     "scan": {"categories": ["docker"], "disabledRules": ["d"], "ecosystems": ["rust"], "exclude": ["e"],
      "extraRules": ["x"], "home": "/h", "roots": [], "unskip": ["/opt"]},
     "schemaVersion": 1})",
                                    "It");
  const std::string text = everything.dump(2) + "\n";
  const auto policy = FleetPolicy::parse(text);
  EXPECT_EQ(policy.text(), text);
  EXPECT_THAT(text, AllOf(StartsWith("{\n  \"audit\": {\n    \"path\": \"a\"\n  },\n"),
                          HasSubstr(",\n    \"ruleIDs\": [\n      \"r\"\n    ],\n    \"tiers\": []\n  },\n"),
                          EndsWith(",\n  \"schemaVersion\": 1\n}\n")));
  EXPECT_THAT(unknownPolicyKeys(text), IsEmpty());
  EXPECT_EQ(policy.thresholds(), (ActivityThresholds{2147483647, -1}));
  EXPECT_THAT(unknownPolicyKeys(R"({"$schema": "", "nevr": {}, "never": {"path": []}, "hub": {"tags": {"any": ""}}})"),
              ElementsAre("never.path", "nevr"));
}

TEST(FleetPolicy, RefusesANewerSchemaBeforeAnythingElse) {
  const std::string text = R"({"name": 7, "autoClean": [], "schemaVersion": 2, "hub": {"topItems": 900}})";
  EXPECT_EQ(invalid(text), "Policy schema 2 is newer than this build supports (1).");
  EXPECT_EQ(FleetPolicy::parse(R"({"schemaVersion": 1})"), FleetPolicy());
  EXPECT_EQ(FleetPolicy::parse(R"({"schemaVersion": 0})").schemaVersion, 0);
}

TEST(FleetPolicy, NamesTheFirstRuleThatFails) {
  // Each line adds the faults of all later rules, so this also checks the order.
  const std::string topItems = R"("topItems": 201)";
  const std::string hub = R"("hub": {)" + topItems + "}";
  const std::string url = R"("hub": {"url": "ftp://hub", )" + topItems + "}";
  const std::string idle = R"("autoClean": {"minIdleDays": -1}, )" + url;
  const std::string retention = R"("disposal": {"retentionDays": -1}, )" + idle;
  const std::string ecosystem = R"("scan": {"ecosystems": ["npm", "cobol"]}, )" + retention;
  const std::string category = R"("scan": {"categories": ["docker", "Docker"], "ecosystems": ["cobol"]}, )" + retention;
  const std::string tier = R"("scan": {"categories": ["x"]}, "autoClean": {"tiers": ["safe", "warning"]})";
  EXPECT_EQ(invalid("{" + tier + "}"), "Invalid policy: tier 'warning' is both in autoClean.tiers and never.tiers.");
  EXPECT_EQ(invalid("{" + category + "}"), "Invalid policy: unknown scan category 'Docker'.");
  EXPECT_EQ(invalid("{" + ecosystem + "}"), "Invalid policy: unknown ecosystem 'cobol'.");
  EXPECT_EQ(invalid("{" + retention + "}"), "Invalid policy: disposal.retentionDays must be >= 0.");
  EXPECT_EQ(invalid("{" + idle + "}"), "Invalid policy: autoClean.minIdleDays must be >= 0.");
  EXPECT_EQ(invalid("{" + url + "}"), "Invalid policy: hub.url must be an http(s) URL.");
  EXPECT_EQ(invalid("{" + hub + "}"), "Invalid policy: hub.topItems must be between 0 and 200.");
  EXPECT_EQ(invalid(R"({"hub": {"topItems": -1}})"), "Invalid policy: hub.topItems must be between 0 and 200.");
  EXPECT_EQ(FleetPolicy::parse(R"({"autoClean": {"categories": ["no such"], "ecosystems": ["none"]}})")
                .autoClean.ecosystems->size(),
            1U);
}

TEST(FleetPolicy, KnowsUsableHubAddresses) {
  for (const char* url :
       {"", "http://h", "https://hub.example:8080/a/b", "HtTp://10.0.0.1", "http://[::1]/", "http://u@h:/"}) {
    FleetPolicy policy;
    policy.hub.url = url;
    EXPECT_NO_THROW(policy.validate()) << url;
  }
  for (const char* url : {"ftp://h", "http://", "http:///p", "http://:80", "http:h", "hub.example:8080", "http://u@",
                          "http://h:99999", "http://h:8o", "http://[::1", "http://[]:1", " http://h", "http://h h",
                          "http://h\n", "//h", "://h", "http://?q", "http://h\xC3\xBC"}) {
    FleetPolicy policy;
    policy.hub.url = url;
    EXPECT_THROW(policy.validate(), FleetPolicyError) << url;
  }
}

TEST(FleetPolicy, SaysWhereATextIsWrong) {
  EXPECT_EQ(undecodable("{\n  \"name\": \"a\",\n}"), "The policy is not valid JSON (line 3, column 1)");
  EXPECT_EQ(undecodable(" \n"), "The policy is empty (line 1, column 1); write {} for one of defaults");
  EXPECT_EQ(undecodable(R"({"dormantMonths": NaN})"), "The policy is not valid JSON (line 1, column 19)");
  EXPECT_EQ(undecodable(std::string("{}\0{", 4)), "The policy is not valid JSON (line 1, column 3)");
  EXPECT_THAT(undecodable(std::string("\xFF\xFE{\0}\0", 6)), StartsWith("The policy is not valid JSON (line 1"));
  EXPECT_EQ(undecodable(R"({"x": )" + std::string(100000, '[') + "}"), "The policy is nested too deep");
  EXPECT_EQ(undecodable("[]"), "The policy must be an object");
  EXPECT_EQ(undecodable(R"({"never": {"paths": ["a"], "paths": []}})"),
            "The policy.never.paths stands twice; keep one of them");
  EXPECT_EQ(undecodable(R"({"scan": {"roots": ["/srv\u0000x"]}})"),
            "The policy.scan.roots must not hold a NUL character");
}

TEST(FleetPolicy, SaysWhichKeyHasAWrongType) {
  const TextPairs cases{
      {R"({"scan": []})", "The policy.scan must be an object"},
      {R"({"scan": {"exclude": ["a", 1]}})", "The policy.scan.exclude[1] must be a text"},
      {R"({"autoClean": {"tiers": ["sfae"]}})",
       "The policy.autoClean.tiers[0]: unknown tier 'sfae' (known: safe, caution, warning)"},
      {R"({"autoClean": {"minIdleDays": 1e3}})", "The policy.autoClean.minIdleDays must be a whole number"},
      {R"({"autoClean": {"minIdleDays": 9223372036854775808}})",
       "The policy.autoClean.minIdleDays must be a whole number below 2^63"},
      {R"({"autoClean": {"minBytes": -1}})",
       "The policy.autoClean.minBytes must be a whole number that is not negative"},
      {R"({"autoClean": {"minBytes": 18446744073709551616}})",
       "The policy.autoClean.minBytes must be a whole number below 2^64, in digits only"},
      {R"({"disposal": {"method": "rm"}})",
       "The policy.disposal.method: unknown method 'rm' (known: trash, quarantine, delete)"},
      {R"({"hub": {"tags": {"k": 1}}})", "The policy.hub.tags.k must be a text"},
      {R"({"dryRun": "yes", "lockFile": 1})", "The policy.lockFile must be a text"},
      {R"({"dryRun": "yes", "dormantMonths": ""})", "The policy.dryRun must be true or false"},
  };
  for (const auto& [text, message] : cases) EXPECT_EQ(undecodable(text), message) << text;
  EXPECT_EQ(undecodable(R"({"hub": {"topItems": 1e400}})"), "The policy is not valid JSON (a number is out of range)");
}

TEST(FleetPolicy, LoadsRegularFilesOnly) {
  const TemporaryTree tree;
  const auto failure = [](const std::string& path) { return messageOf<InputError>([&] { FleetPolicy::load(path); }); };
  EXPECT_EQ(FleetPolicy::load(tree.writeFile("p.json", R"({"name": "mine"})")).name, "mine");
  EXPECT_EQ(FleetPolicy::load(tree.symlink("l", "p.json")).name, "mine");
  EXPECT_EQ(failure(tree.path("absent")),
            "Policy '" + tree.path("absent") + "' cannot be read: No such file or directory.");
  EXPECT_THAT(failure(tree.root()), EndsWith("' is a folder; name the policy file in it."));
  ASSERT_EQ(::mkfifo(tree.path("fifo").c_str(), 0600), 0);
  EXPECT_THAT(failure(tree.path("fifo")),
              EndsWith("' is a pipe or a device; write the policy to a file and name that."));
  EXPECT_THAT(failure(tree.writeFileOfSize("long", 9000000)),
              EndsWith("is longer than 8 MiB; name a file with a policy."));
  tree.setMode("p.json", 0);
  const WithoutPrivileges nobody(tree);
  EXPECT_THAT(failure(tree.path("p.json")), EndsWith("' cannot be read: Permission denied."));
}

TEST(FleetPolicy, ExamplesCanBeUsed) {
  for (const auto name : ExamplePolicies::names) {
    const auto text = ExamplePolicies::text(name);
    ASSERT_TRUE(text) << name;
    EXPECT_EQ(FleetPolicy::parse(*text).name, name);
    EXPECT_THAT(unknownPolicyKeys(*text), IsEmpty());
  }
  const auto host = FleetPolicy::parse(*ExamplePolicies::text("agent-host"));
  EXPECT_EQ(host.audit.path, "~/.tidra/audit.jsonl");
  EXPECT_EQ(host.metrics.textfile, "/var/lib/prometheus/node-exporter/tidra.prom");
  EXPECT_EQ(host.metrics.listen, "127.0.0.1:9477");
  EXPECT_EQ(ExamplePolicies::text("developr"), std::nullopt);
}

}  // namespace
}  // namespace tidra
