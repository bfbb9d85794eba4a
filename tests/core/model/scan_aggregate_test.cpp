#include "core/model/scan_aggregate.h"

#include <gtest/gtest.h>

#include <limits>

#include "core/base/json_fields.h"
#include "core/base/json_writer.h"
#include "tests/core/model/finding.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

constexpr auto most = std::numeric_limits<std::uint64_t>::max();

ScanArtifactFinding fullFinding() {
  return {"/p/\xFF/x",
          "l \"quoted\"",
          most,
          "py",
          "/p/\xFF",
          ArtifactSource::pipCLI,
          ArtifactSafetyTier::warning,
          "pip install",
          timePointAt(1773483300),
          "r"};
}

TEST(ScanArtifactFinding, JsonKeepsEveryFieldAndFillsInDefaults) {
  using Codec = JsonCodec<ScanArtifactFinding>;
  EXPECT_EQ(Codec::decode(parseJson(prettyJson(fullFinding()), "It"), "It"), fullFinding());
  EXPECT_EQ(
      compactJson(finding("/p/x", 7)),
      R"({"ecosystemTag":"npm","label":"label","path":"/p/x","safetyTier":"safe","sizeBytes":7,"source":"projectWalk"})");
  const auto sparse = R"({"path": "/p/x", "label": "label", "sizeBytes": 7, "ecosystemTag": "npm", "groupRoot": null,
                          "source": null, "restoreHint": null, "lastActivityDate": null, "new": 1})";
  EXPECT_EQ(Codec::decode(nlohmann::json::parse(sparse), "It"), finding("/p/x", 7));
  const auto message = [](const std::string& key, const nlohmann::json& value) {
    auto json = toJson(finding("/p/x", 7));
    json[key] = value;
    return messageOf<DecodingError>([&] { Codec::decode(json, "It"); });
  };
  for (const std::string key : {"path", "label", "sizeBytes", "ecosystemTag"})
    EXPECT_EQ(message(key, nullptr), "It." + key + " is missing");
  EXPECT_EQ(message("sizeBytes", -1), "It.sizeBytes must be a whole number that is not negative");
}

TEST(ScanAggregate, FindsTheRootOfEachFinding) {
  EXPECT_EQ(ScanAggregate::rootKey(finding("/p/x/node_modules", 1)), "/p/x");
  EXPECT_EQ(ScanAggregate::rootKey(finding("/p/x/a/node_modules", 1, "npm", "/p/x")), "/p/x");
  EXPECT_EQ(ScanAggregate::rootKey(finding("/docker:x/y", 1)), "/docker:x");
  for (const char* target : {"docker:prune:dangling", "conda:env:/a/b", "pip:x/y"}) {
    EXPECT_EQ(ScanAggregate::rootKey(finding(target, 1)), target);
    EXPECT_EQ(ScanAggregate::rootKey(finding(target, 1, "docker", "__tidra:system:x__")), "__tidra:system:x__");
  }
}

TEST(ScanAggregate, KeepsTheLargestOfFortyAndAllTotals) {
  std::vector<ScanArtifactFinding> findings;
  for (std::uint64_t i = 0; i < 40; ++i) {
    findings.push_back(
        finding("/p/" + std::to_string(i % 3) + "/n" + std::to_string(i), 1 + i * 7 % 40, i % 2 == 0 ? "npm" : "py"));
  }
  const ScanAggregate aggregate(findings);
  EXPECT_EQ(aggregate.artifactCount, 40);
  EXPECT_EQ(aggregate.totalBytes, 820U);
  EXPECT_EQ(aggregate.projectRootPaths, (std::set<std::string>{"/p/0", "/p/1", "/p/2"}));
  EXPECT_EQ(aggregate.bytesByEcosystem, (std::map<std::string, std::uint64_t>{{"npm", 400}, {"py", 420}}));
  EXPECT_EQ(aggregate.ecosystemProjectRoots.at("py").size(), 3U);
  ASSERT_EQ(aggregate.sampleFindings.size(), 32U);
  for (std::size_t i = 0; i < 32; ++i) EXPECT_EQ(aggregate.sampleFindings[i].sizeBytes, 40 - i);
  const auto& first = aggregate.artifactsByProjectRoot.at("/p/0");
  ASSERT_EQ(first.size(), 14U);
  for (std::size_t i = 0; i < 14; ++i) EXPECT_EQ(first[i], findings[i * 3]);  // input order
}

TEST(ScanAggregate, MergingIsBuildingFromBoth) {
  std::vector<ScanArtifactFinding> a;
  std::vector<ScanArtifactFinding> b{finding("docker:x", 1, "docker")};
  for (std::uint64_t i = 0; i < 30; ++i) {
    a.push_back(finding("/shared/a" + std::to_string(i), 5));  // of one size
    b.push_back(finding("/shared/b" + std::to_string(i), i, i % 2 == 0 ? "npm" : "rust"));
  }
  auto both = a;
  both.insert(both.end(), b.begin(), b.end());
  EXPECT_EQ(ScanAggregate(a).merging(ScanAggregate(b)), ScanAggregate(both));
  EXPECT_EQ(ScanAggregate(a).merging({}), ScanAggregate(a));
  EXPECT_EQ(ScanAggregate().merging(ScanAggregate(a)), ScanAggregate(a));
}

TEST(ScanAggregate, ATotalBeyond64BitsIsRefused) {
  const ScanAggregate whole({finding("/p/a", most)});
  EXPECT_EQ(whole.totalBytes, most);
  EXPECT_THROW(ScanAggregate({finding("/p/a", most), finding("/p/b", 1)}), std::overflow_error);
  EXPECT_THROW(whole.merging(ScanAggregate({finding("/p/b", 1, "py")})), std::overflow_error);
}

TEST(ScanAggregate, JsonRoundTrip) {
  using Codec = JsonCodec<ScanAggregate>;
  const ScanAggregate plain({finding("/p/a", 3), finding("/p/b", 2, "py"), finding("docker:x", 1)});
  for (const auto& aggregate : {ScanAggregate(), plain})
    EXPECT_EQ(Codec::decode(parseJson(prettyJson(aggregate), "It"), "It"), aggregate);
  // Roots that are not UTF-8 look alike; no finding may be lost.
  const std::vector odd{finding("/p/\xFE/a", 1), finding("/p/\xFF/b", 2)};
  EXPECT_EQ(Codec::decode(toJson(ScanAggregate(odd)), "It").artifactsByProjectRoot.at("/p/\xEF\xBF\xBD"), odd);
}

}  // namespace
}  // namespace tidra
