// The history of removals: private, bounded, never lost between processes, damage kept aside.
#include "app/state/removal_history.h"

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "app/state/preferences_store.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

class RemovalHistoryTest : public testing::Test {
 protected:
  RemovalHistory history() {
    return {tree_.path("state"), [this](const std::string& note) { notes_.push_back(note); }};
  }
  std::string file() const { return tree_.path("state/history.json"); }
  static RemovalRun runOf(std::size_t items, const std::string& path = "/p/node_modules") {
    RemovalRun run;
    run.items.assign(items, {{path, DisposalMethod::trash, "/t/files/node_modules", 5, {}}, 0, 4096, {}});
    return run;
  }

  const TemporaryTree tree_;
  std::vector<std::string> notes_;
};

TEST_F(RemovalHistoryTest, KeepsTheNewestRunsWithinItsBoundsForItsOwnerOnly) {
  EXPECT_THAT(history().load(), IsEmpty());
  for (std::size_t i = 0; i <= RemovalHistory::mostRuns; ++i) history().append(runOf(1, "/" + std::to_string(i)));
  auto runs = history().load();
  ASSERT_THAT(runs, SizeIs(RemovalHistory::mostRuns));
  EXPECT_EQ(runs.front().items[0].path, "/200");
  EXPECT_EQ(runs.back().items[0].path, "/1");
  const std::string odd = "/p/\xff" + std::string(500, 'x');
  for (int i = 0; i < 4; ++i) history().append(runOf(RemovalHistory::mostItems + 7, odd));
  EXPECT_LE(pathFacts(file())->sizeBytes, 2U << 20);
  runs = history().load();
  EXPECT_THAT(runs[0].items, SizeIs(RemovalHistory::mostItems));
  EXPECT_EQ(runs[0].moreItems, 7);
  EXPECT_EQ(runs[0].items[0].path, odd);
  EXPECT_EQ(pathFacts(file())->permissions, 0600U);
  EXPECT_EQ(pathFacts(tree_.path("state"))->permissions, 0700U);
}

TEST_F(RemovalHistoryTest, WhatMovesBackIsMarkedInTheNewestRunThatMovedIt) {
  const MovedBack item{"/t/files/node_modules", "/p/node_modules"};
  history().append(runOf(1));
  RemovalRun newer = runOf(1);
  newer.items.push_back({{"/p/dist", DisposalMethod::quarantine, "/q/dist", 5, {}}, 0, 4096, {}});
  newer.items.push_back({{"/p/gone", DisposalMethod::delete_, {}, 5, {}}, 4096, 4096, {}});
  history().append(newer);
  const auto undone = [&](const std::vector<MovedBack>& items) {
    history().markRestored(items, TimePoint{std::chrono::seconds{7}});
    std::string text;
    for (const RemovalRun& run : history().load()) text += run.undoneAt ? 'u' : '-';
    return text;
  };
  EXPECT_EQ(undone({{item.from, "/elsewhere"}}), "--");
  EXPECT_EQ(undone({item}), "--");
  EXPECT_EQ(undone({{"/q/dist", "/p/dist"}}), "u-") << "what was deleted does not come back";
  EXPECT_EQ(undone({item}), "uu");
}

TEST_F(RemovalHistoryTest, ARunIsChangedByItsIdentifier) {
  history().append(runOf(1));
  history().append(runOf(2));
  RemovalRun expected = history().load()[1];
  expected.undoneAt = TimePoint{std::chrono::seconds{7}};
  history().update(expected.id, [&](RemovalRun& run) { run.undoneAt = expected.undoneAt; });
  history().update("of a run that was dropped", [](RemovalRun& run) { run.items.clear(); });
  EXPECT_EQ(history().load()[1], expected);
  EXPECT_FALSE(history().load()[0].undoneAt);
}

TEST_F(RemovalHistoryTest, ProcessesLoseNoneOfEachOthersRuns) {
  constexpr int each = 20;
  const auto work = [&] {
    for (int i = 0; i < each; ++i) history().append(runOf(1));
  };
  const pid_t child = ::fork();
  if (child == 0) {
    work();
    std::_Exit(0);
  }
  work();
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(history().load(), SizeIs(2 * each));
}

TEST_F(RemovalHistoryTest, DamageIsKeptAsideByTheNextRunAndTold) {
  history().append(runOf(1));
  const std::string whole = *readFile(file());
  for (std::size_t length = 0; length + 2 < whole.size(); length += 29) {
    tree_.writeFile("state/history.json", whole.substr(0, length));
    EXPECT_THAT(messageOf<PreferencesError>([&] { history().load(); }), HasSubstr("is damaged")) << length;
  }
  const std::string torn = *readFile(file());
  history().append(runOf(3));
  EXPECT_THAT(notes_, ElementsAre(HasSubstr("history.json.damaged")));
  EXPECT_EQ(*readFile(file() + ".damaged"), torn);
  EXPECT_THAT(history().load(), SizeIs(1));
  tree_.writeFile("state/history.json", R"({"runs": [], "schemaVersion": 2})");
  EXPECT_THAT(messageOf<PreferencesError>([&] { history().append(runOf(1)); }), HasSubstr("newer version"));
  EXPECT_EQ(*readFile(file()), R"({"runs": [], "schemaVersion": 2})");
}

}  // namespace
}  // namespace tidra
