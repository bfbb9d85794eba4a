// The enumerations and numbers of records.
#include <gtest/gtest.h>

#include "core/model/byte_formatting.h"
#include "core/model/scan_vocabulary.h"
#include "core/model/stable_id.h"
#include "core/model/system_group_root.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/platform.h"
#include "tests/support/tables.h"

namespace tidra {
namespace {

/// Documents contain the raw texts, so spelling and order are fixed; `last` is the enumeration's last value.
template <TabledEnum E>
void expectTable(std::string_view rawTexts, E last) {
  EXPECT_EQ(rawValueList<E>(), rawTexts);
  int index = 0;
  for (const E value : allCases<E>()) {
    EXPECT_EQ(static_cast<int>(value), index++);
    EXPECT_EQ(fromRawValue<E>(rawValue(value)), value);
  }
  EXPECT_EQ(static_cast<int>(last) + 1, index);
  for (const char* unknown : {"", "Safe", "safe ", "MACOS", "projectwalk"})
    EXPECT_EQ(fromRawValue<E>(unknown), std::nullopt) << unknown;
}

TEST(Vocabulary, TablesAreCompleteAndRoundTrip) {
  expectTable<ArtifactSource>("projectWalk, systemProbe, dockerCLI, condaCLI, pipCLI", ArtifactSource::pipCLI);
  expectTable<ArtifactSafetyTier>("safe, caution, warning", ArtifactSafetyTier::warning);
  expectTable<ProjectActivity>("active, recent, inactive, dormant", ProjectActivity::dormant);
  expectTable<TidraPlatform>("macos, linux", TidraPlatform::linux);
  EXPECT_LT(ArtifactSafetyTier::caution, ArtifactSafetyTier::warning);
  EXPECT_EQ(displayTitle(ArtifactSafetyTier::caution), "Review");
  EXPECT_TRUE(isReversible(ArtifactSafetyTier::caution));
  EXPECT_FALSE(isReversible(ArtifactSafetyTier::warning));
}

TEST(ByteFormatting, CountsInPowersOf1024) {
  for (const auto& [bytes, text] :
       rowsOf("0 => 0 KB | 100 => 0 KB | 513 => 1 KB | 1048575 => 1024 KB | 1048576 => 1 MB | 1073741823 => 1024 MB | "
              "-2048 => -2 KB | 1073741824 => 1.0 GB | 1610612736 => 1.5 GB | 9223372036854775807 => 8589934592.0 GB"))
    EXPECT_EQ(ByteFormatting::compact(std::stoll(bytes)), text);
  for (const auto& [bytes, text] : rowsOf("0 => 0 B | 17 => 17 B | 1023 => 1023 B | 1024 => 1 KB | 1048576 => 1 MB"))
    EXPECT_EQ(ByteFormatting::readable(std::stoll(bytes)), text);
}

TEST(StableID, IsTheFnv1aHashInSixteenDigits) {
  const std::pair<const char*, const char*> ids[] = {
      {"", "cbf29ce484222325"},         {"a", "af63dc4c8601ec8c"},       {"foobar", "85944171f73967e8"},
      {"/p/größe", "71ca4fc74ab1ed08"}, {"/p/\xFF", "a3eb049c60f15020"}, {"/p/1171289", "0000153fcb951406"}};
  for (const auto& [path, id] : ids) EXPECT_EQ(StableID::make(path), id);
}

TEST(SystemGroupRoot, NamesEveryCategoryAndComesBack) {
  EXPECT_EQ(TidraSystemGroupRoot::forCategory("aiTools"), "__tidra:system:ai_tools__");
  EXPECT_EQ(TidraSystemGroupRoot::forCategory("globalCaches"), "__tidra:system:caches__");
  EXPECT_EQ(TidraSystemGroupRoot::forCategory("docker"), "__tidra:system:docker__");
  for (const auto& category : systemScanCategoryTable)
    EXPECT_EQ(TidraSystemGroupRoot::category(TidraSystemGroupRoot::forCategory(category.key)), category.key);
  for (const char* other :
       {"", "/p", "__tidra:system:", "__tidra:system:_", "__tidra:system:docker", "/__tidra:system:x__"})
    EXPECT_EQ(TidraSystemGroupRoot::category(other), std::nullopt) << other;
}

}  // namespace
}  // namespace tidra
