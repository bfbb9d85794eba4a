// From settings, stored exclusions and choices to the request of a scan.
#include "app/state/scan_request_builder.h"

#include <gtest/gtest.h>

#include "app/state/exclusions_store.h"
#include "app/state/state_folders.h"
#include "core/base/errors.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

constexpr TimePoint scanTime{std::chrono::seconds{1750000000}};

class ScanRequestBuilder : public testing::Test {
 protected:
  BuiltScanRequest build(const ScanChoices& choices = {}) const {
    return buildScanRequest(choices, settings_, resolver_, scanTime);
  }

  TemporaryTree tree_;
  TidraPathResolver resolver_{tree_.makeFolder("home"), {}};
  TidraAppSettings settings_;
};

TEST_F(ScanRequestBuilder, SettingsHoldWhereNothingIsChosen) {
  EXPECT_EQ(build().request.roots, std::vector{tree_.path("home")});
  EXPECT_EQ(build().request.ecosystems, std::nullopt);
  settings_.defaultScanLocation = TidraScanDefaultLocation::custom;
  settings_.customScanPath = tree_.makeFolder("code");
  settings_.ecosystemsEnabled["npm"] = false;
  settings_.systemScanEnabled["docker"] = false;
  settings_.dormantThresholdYears = 3;
  const ScanRequest request = build().request;
  EXPECT_EQ(request.roots, std::vector{tree_.path("code")});
  EXPECT_EQ(request.systemReach, SystemReach::everywhere);
  ASSERT_TRUE(request.ecosystems);
  EXPECT_FALSE(request.ecosystems->contains("npm"));
  EXPECT_TRUE(request.ecosystems->contains("rust"));
  EXPECT_EQ(request.categoriesOff, std::set<std::string>{"docker"});
  EXPECT_EQ(request.thresholds, settings_.thresholds());
  EXPECT_EQ(request.now, scanTime);
  const ScanRequest chosen =
      build({.roots = {tree_.path("home")}, .findings = {.ecosystems = {"npm"}, .tiers = {"safe"}}}).request;
  EXPECT_EQ(chosen.roots, std::vector{tree_.path("home")});
  EXPECT_EQ(chosen.systemReach, SystemReach::belowRoots) << "a named folder bounds a scan";
  EXPECT_EQ(chosen.ecosystems, std::set<std::string>{"npm"});
  EXPECT_EQ(chosen.tiers, std::set{ArtifactSafetyTier::safe});
}

TEST_F(ScanRequestBuilder, ExclusionsAreTheStoredAndTheNamedOnes) {
  const auto preferences = openPreferences(resolver_, {});
  ExclusionsStore(*preferences).add("~/kept", ExclusionRowKind::path, scanTime);
  const ScanChoices choices{.exclusions = {{"*.iso", {"*.iso", ExclusionRowKind::pattern, {}}},
                                           {"$NOPE/x", {"$NOPE/x", ExclusionRowKind::pattern, {}}}}};
  const auto built = build(choices);
  EXPECT_THAT(built.request.exclusions.pathPrefixes, Contains(tree_.path("home/kept")));
  EXPECT_THAT(built.request.exclusions.globPatterns, Contains("*.iso"));
  EXPECT_THAT(built.notes, ElementsAre("'*.iso' matches names only, so it protects nothing inside an artefact; "
                                       "'*/*.iso' does.",
                                       HasSubstr("names the variable NOPE, which is not set")));
  EXPECT_THAT(built.warnings, IsEmpty());
  tree_.writeFile("home/.config/tidra/preferences.json", "broken");
  EXPECT_THAT(build().request.exclusions.pathPrefixes, IsEmpty());
  EXPECT_THAT(build().warnings, Contains(HasSubstr("preferences.json")));
}

TEST_F(ScanRequestBuilder, WhatCannotBeUsedIsNamed) {
  const auto failure = [&](const ScanChoices& choices) {
    return messageOf<InputError>([&] { static_cast<void>(build(choices)); });
  };
  EXPECT_THAT(failure({.findings = {.ecosystems = {"npn"}}}), StartsWith("Unknown ecosystem 'npn'; "));
  EXPECT_THAT(failure({.findings = {.tiers = {"safest"}}}), StartsWith("Unknown tier 'safest'; "));
  settings_.defaultScanLocation = TidraScanDefaultLocation::custom;
  settings_.customScanPath = tree_.path("gone");
  EXPECT_EQ(failure({}), "'" + tree_.path("gone") + "' does not exist; name a folder to scan.");
}

}  // namespace
}  // namespace tidra
