// The history of removals: private, bounded, never lost between processes, damage kept aside.
#include "app/state/removal_history.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "app/state/file_preferences_store.h"
#include "app/state/preferences_store.h"
#include "app/state/removal_journal.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/mounted_file_system.h"
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
    for (; items > 0; --items) {
      run.add(RemovedItem{{path, DisposalMethod::trash, "/t/files/node_modules", 5, {}}, 0, 4096, {}});
    }
    return run;
  }

  const TemporaryTree tree_;
  std::vector<std::string> notes_;
};

TEST_F(RemovalHistoryTest, KeepsTheNewestRunsWithinItsBoundsForItsOwnerOnly) {
  EXPECT_THAT(history().load(), IsEmpty());
  for (std::size_t i = 0; i <= RemovalHistory::mostRuns; ++i) history().finish(runOf(1, "/" + std::to_string(i)));
  auto runs = history().load();
  ASSERT_THAT(runs, SizeIs(RemovalHistory::mostRuns));
  EXPECT_EQ(runs.front().items[0].path, "/200");
  EXPECT_EQ(runs.back().items[0].path, "/1");
  const std::string odd = "/p/\xff" + std::string(500, 'x');
  for (int i = 0; i < 4; ++i) history().finish(runOf(RemovalRun::mostItems + 7, odd));
  EXPECT_LE(pathFacts(file())->sizeBytes, 2U << 20);
  runs = history().load();
  EXPECT_THAT(runs[0].items, SizeIs(RemovalRun::mostItems));
  EXPECT_EQ(runs[0].moreItems, 7);
  EXPECT_EQ(runs[0].items[0].path, odd);
  EXPECT_EQ(pathFacts(file())->permissions, 0600U);
  EXPECT_EQ(pathFacts(tree_.path("state"))->permissions, 0700U);
}

TEST_F(RemovalHistoryTest, WhatMovesBackIsMarkedInTheNewestRunThatMovedIt) {
  const MovedBack item{"/t/files/node_modules", "/p/node_modules"};
  history().finish(runOf(1));
  RemovalRun newer = runOf(1);
  newer.items.push_back({{"/p/dist", DisposalMethod::quarantine, "/q/dist", 5, {}}, 0, 4096, {}});
  newer.items.push_back({{"/p/gone", DisposalMethod::delete_, {}, 5, {}}, 4096, 4096, {}});
  history().finish(newer);
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
  history().finish(runOf(1));
  history().finish(runOf(2));
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
    for (int i = 0; i < each; ++i) history().finish(runOf(1));
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

/// A killed process leaves the lines that it wrote, the last one perhaps torn.
TEST_F(RemovalHistoryTest, AnItemOfAKilledProcessStaysKnownWhenItComesBack) {
  RemovalRun run;
  run.method = DisposalMethod::trash;
  auto journal = history().begin(run);
  journal->begin(tree_.path("item"));
  journal.reset();
  history().takeOverKilled();
  tree_.writeFile("item");
  history().update(run.id, [](RemovalRun& stored) { stored.items.at(0).restoredAt = TimePoint{}; });
  ASSERT_THAT(history().load(), SizeIs(1));
  EXPECT_THAT(history().load()[0].items, SizeIs(1));
}

TEST_F(RemovalHistoryTest, WhatAKilledProcessRemovedIsTakenOverOnce) {
  tree_.writeFile("still/here");
  using Method = DisposalMethod;
  for (const auto& [begun, method, torn, expected] : {std::tuple{"", Method::trash, 0, "/p/a at /t/a"},
                                                      {"", Method::trash, 3, "/p/a at ?"},
                                                      {"/p/gone", Method::delete_, 0, "/p/a at /t/a, /p/gone in part"},
                                                      {"/p/gone", Method::quarantine, 0, "/p/a at /t/a, /p/gone at ?"},
                                                      {"HERE", Method::delete_, 0, "/p/a at /t/a"},
                                                      {"HERE", Method::trash, 0, "/p/a at /t/a, HERE at ?"},
                                                      {"docker:image", Method::delete_, 0, "/p/a at /t/a"}}) {
    std::filesystem::remove_all(tree_.path("state"));
    RemovalRun run;
    run.method = method;
    auto journal = history().begin(run);
    journal->begin("/p/a");
    journal->add(RemovedItem{{"/p/a", Method::trash, "/t/a", 5, {}}, 0, 4096, {}});
    if (*begun != 0) journal->begin(std::string(begun) == "HERE" ? tree_.path("still/here") : begun);
    EXPECT_THAT(history().load(), IsEmpty()) << "it is under way";
    const std::string path = journal->path();
    history().markRestored({}, {});
    history().finish(runOf(1));
    EXPECT_TRUE(pathExists(path)) << "it is under way";
    journal.reset();
    const std::string text = *readFile(path);
    std::filesystem::resize_file(path, text.size() - static_cast<std::size_t>(torn));
    for (int changes = 0; changes < 2; ++changes) {
      std::string listed;
      const auto runs = history().load();
      for (const RemovalRun& each : runs) {
        if (each.id != run.id) continue;
        for (const RemovedItem& item : each.items) {
          listed += (listed.empty() ? "" : ", ") + (item.path == tree_.path("still/here") ? "HERE" : item.path) +
                    (item.isPartial ? " in part" : " at " + item.destination.value_or("?"));
        }
      }
      EXPECT_EQ(listed, expected) << begun;
      EXPECT_EQ(pathExists(path), changes == 0);
      history().finish(runOf(1));
    }
  }
}

/// Each is set aside once, with a note, and what can be read of it counts.
TEST_F(RemovalHistoryTest, WhatIsNoJournalOfARunIsKeptUnderAnotherName) {
  RemovalRun run;
  auto journal = history().begin(run);
  const std::string path = journal->path();
  journal->add(RemovedItem{{"/p/a", DisposalMethod::trash, "/t/a", 5, {}}, 0, 4096, {}});
  journal.reset();
  const std::string whole = *readFile(path);
  std::string negative = whole;
  negative.replace(negative.find("\"freedBytes\":0", whole.find('\n')), 14, "\"freedBytes\":-5");
  const auto write = [&](const std::string& text) {
    return [=, this] { tree_.writeFile("state/history-x.journal", text); };
  };
  const std::pair<std::function<void()>, std::size_t> cases[]{
      {write("x\ny\n"), 0},
      {write(whole + "x\n"), 1},
      {write(negative), 0},
      {[&] { tree_.makeFolder("state/history-x.journal"); }, 0},
      {[&] {
         std::filesystem::create_symlink(tree_.writeFile("target", whole), tree_.path("state/history-x.journal"));
       },
       0},
      {[&] { ASSERT_EQ(::mkfifo(tree_.path("state/history-x.journal").c_str(), 0600), 0); }, 0}};
  for (const auto& [plant, readable] : cases) {
    std::filesystem::remove_all(tree_.path("state"));
    tree_.makeFolder("state");
    plant();
    notes_.clear();
    EXPECT_THAT(history().load(), SizeIs(readable));
    for (int change = 1; change < 3; ++change) history().finish(runOf(1));
    EXPECT_THAT(notes_, ElementsAre(HasSubstr("history-x.journal is damaged; it is kept as")));
    EXPECT_TRUE(pathExists(tree_.path("state/history-x.journal.damaged")));
    EXPECT_THAT(history().load(), SizeIs(readable + 2));
  }
  EXPECT_EQ(*readFile(tree_.path("target")), whole);
}

TEST_F(RemovalHistoryTest, AFolderThatOthersMayWriteToIsClosed) {
  for (const auto& [before, after] : {std::pair{0777U, 0700U}, {0770U, 0700U}, {0755U, 0755U}}) {
    tree_.makeFolder("state");
    tree_.setMode("state", before);
    history().finish(runOf(1));
    EXPECT_EQ(pathFacts(tree_.path("state"))->permissions, after);
  }
}

TEST_F(RemovalHistoryTest, DamageIsKeptAsideByTheNextRunAndTold) {
  history().finish(runOf(1));
  const std::string whole = *readFile(file());
  for (std::size_t length = 0; length + 2 < whole.size(); length += 29) {
    tree_.writeFile("state/history.json", whole.substr(0, length));
    EXPECT_THAT(messageOf<PreferencesError>([&] { history().load(); }), HasSubstr("is damaged")) << length;
  }
  const std::string torn = *readFile(file());
  history().finish(runOf(3));
  EXPECT_THAT(notes_, ElementsAre(HasSubstr("history.json.damaged")));
  EXPECT_EQ(*readFile(file() + ".damaged"), torn);
  EXPECT_THAT(history().load(), SizeIs(1));
  tree_.writeFile("state/history.json", R"({"runs": [], "schemaVersion": 2})");
  EXPECT_THAT(messageOf<PreferencesError>([&] { history().finish(runOf(1)); }), HasSubstr("newer version"));
  EXPECT_EQ(*readFile(file()), R"({"runs": [], "schemaVersion": 2})");
}

TEST_F(RemovalHistoryTest, SaysOnceThatOthersCanReadItOnAVolumeWithoutPermissions) {
  const MountedFileSystem volume(tree_, R"(
    truncate -s 16M $W/image; mkfs.ntfs -F -Q $W/image; ntfs-3g -o no_detach,umask=022 $W/image $V 9>&- &
    until mountpoint -q $V; do kill -0 $!; sleep 0.02; done)");
  if (!volume) GTEST_SKIP() << "cannot be mounted here";
  for (int i = 0; i < 2; ++i) {
    const auto note = [this](const std::string& text) { notes_.push_back(text); };
    RemovalHistory(volume.path("state"), note).finish(runOf(1));
    FilePreferencesStore(volume.path("state/preferences.json"), note).apply({{"key", PreferencesStore::Value(true)}});
  }
  EXPECT_THAT(notes_,
              ElementsAre(HasSubstr("history.json can be read by"), HasSubstr("preferences.json can be read by")));
}

}  // namespace
}  // namespace tidra
