// The contract of every preferences store: the file and, where a Foundation is available, NSUserDefaults.
#include "app/state/preferences_store.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>

#include "app/state/exclusions_store.h"
#include "app/state/file_preferences_store.h"
#include "app/state/user_defaults_store_macos.h"
#include "core/platform/path_text.h"
#include "tests/support/matchers.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

class PreferencesStoreTest : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == "userDefaults" && ::getenv("GNUSTEP_CONFIG_FILE") == nullptr) {
      GTEST_SKIP() << "without GNUSTEP_CONFIG_FILE, which ctest sets, this would write into the user's own defaults";
    }
  }

  std::unique_ptr<PreferencesStore> open() {
#ifdef TIDRA_USER_DEFAULTS
    if (GetParam() == "userDefaults")
      return openUserDefaults(std::string(lastPathComponent(tree_.root())), tree_.path("lock"));
#endif
    return std::make_unique<FilePreferencesStore>(tree_.path("preferences.json"),
                                                  [this](const std::string& note) { notes.push_back(note); });
  }

  std::vector<std::string> notes;

 private:
  const TemporaryTree tree_;
};

TEST_P(PreferencesStoreTest, KeepsValuesOfEveryKind) {
  const auto store = open();
  EXPECT_EQ(store->value("a"), std::nullopt);
  const TimePoint date{std::chrono::seconds{1700000000}};
  std::string everyByte;
  for (int i = 0; i < 256; ++i) everyByte += static_cast<char>(i);
  store->apply(
      {{"text", "ä/\n"}, {"bytes", everyByte}, {"yes", true}, {"no", false}, {"date", date}, {"absent", std::nullopt}});
  const auto again = open();
  EXPECT_EQ(again->bytes("text"), "ä/\n");
  EXPECT_EQ(again->bytes("bytes"), everyByte);
  EXPECT_EQ(again->boolean("yes"), true);
  EXPECT_EQ(again->boolean("no"), false);
  EXPECT_EQ(again->date("date"), date);
  EXPECT_EQ(again->bytes("yes"), std::nullopt) << "a value of another kind";
  again->apply({{"yes", std::nullopt}, {"no", "text now"}});
  EXPECT_EQ(store->value("yes"), std::nullopt) << "both read anew";
  EXPECT_EQ(store->bytes("no"), "text now");
  EXPECT_EQ(store->bytes("bytes"), everyByte) << "what nobody changed";
  EXPECT_THAT(notes, IsEmpty());
}

/// Forks a process that runs `work`; returns its id.
template <class Work>
pid_t inChild(Work work) {
  const pid_t child = ::fork();
  if (child != 0) return child;
  try {
    work();
  } catch (...) {
    ::_exit(1);
  }
  ::_exit(0);
}

TEST_P(PreferencesStoreTest, TwoProcessesLoseNoneOfEachOthersChanges) {
  constexpr int rows = 200;
  std::vector<pid_t> children;
  for (const std::string name : {"left", "right"}) {
    children.push_back(inChild([&] {
      const auto store = open();
      PreferencesStore& preferences = *store;
      for (int i = 0; i < rows; ++i) {
        ExclusionsStore(preferences).add(name + std::to_string(i), ExclusionRowKind::pattern, {});
        if (i % 20 == 19) preferences.apply({{name, std::to_string(i)}});
      }
    }));
  }
  for (const pid_t child : children) {
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  const auto store = open();
  PreferencesStore& preferences = *store;
  EXPECT_EQ(ExclusionsStore(preferences).load().size(), 2U * rows);
  EXPECT_EQ(preferences.bytes("left"), "199");
  EXPECT_EQ(preferences.bytes("right"), "199");
}

/// For the file only: GNUstep waits 20 s for its own lock when a process was killed.
class KilledStoreTest : public PreferencesStoreTest {};

TEST_P(KilledStoreTest, KillingAProcessInTheMiddleOfItsSavesLeavesAWholeFile) {
  const auto store = open();
  PreferencesStore& preferences = *store;
  preferences.apply({{"kept", "always"}, {"a", "0"}, {"b", "0"}});
  std::mt19937 random(20260314);
  for (int round = 0; round < 25; ++round) {
    const pid_t child = inChild([&] {
      // Values of varying length reveal torn writes.
      for (int i = 0; i < 100; ++i) {
        const std::string value(static_cast<std::size_t>(1 + i * 377 % 20000), static_cast<char>('a' + i % 26));
        preferences.apply({{"a", value}, {"b", value}});
      }
    });
    ::usleep(random() % 30000);
    ::kill(child, SIGKILL);
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    EXPECT_EQ(preferences.bytes("kept"), "always");
    EXPECT_EQ(preferences.bytes("a"), preferences.bytes("b")) << "all changes of a save or none";
    // The lock of a dead process must not block.
    preferences.apply({{"round", std::to_string(round)}});
  }
  EXPECT_EQ(preferences.bytes("round"), "24");
  EXPECT_THAT(notes, IsEmpty());
}

#ifdef TIDRA_USER_DEFAULTS
INSTANTIATE_TEST_SUITE_P(, PreferencesStoreTest, testing::Values("file", "userDefaults"));
#else
INSTANTIATE_TEST_SUITE_P(, PreferencesStoreTest, testing::Values("file"));
#endif
INSTANTIATE_TEST_SUITE_P(, KilledStoreTest, testing::Values("file"));

}  // namespace
}  // namespace tidra
