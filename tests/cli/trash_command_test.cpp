// Emptying the trash in every way: what is removed, what stays, and the messages.
#include <signal.h>

#include <filesystem>
#include <iterator>
#include <thread>

#include "core/base/joining_thread.h"
#include "core/platform/directory_reader.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

class TrashCommand : public CliTest {
 protected:
  static constexpr const char* trash = ".local/share/Trash/";

  /// Adds an entry: "old" was trashed in 2020, "orphan" has no info file.
  void put(const std::string& name, std::size_t bytes = 5000) const {
    tree().writeFile(trash + ("files/" + name) + "/f", std::string(bytes, 'x'));
    tree().makeFolder(trash + std::string("info"));
    if (name != "orphan") {
      tree().writeFile(trash + ("info/" + name) + ".trashinfo", "Path=/x\nDeletionDate=2020-01-01T00:00:00\n");
    }
    for (const char* folder : {"", "files", "info"}) tree().setMode(trash + std::string(folder), 0700);
  }
  void empty() const { fs::remove_all(tree().path(".local/share/Trash")); }
  bool has(const std::string& name) const {
    return static_cast<bool>(pathFacts(tree().path(trash + ("files/" + name))));
  }
  std::ptrdiff_t countLeft() const {
    return std::distance(fs::directory_iterator(tree().path(trash + std::string("info"))), {});
  }
};

const std::vector<std::string> selecting{"clean", "--category", "agentHost", "--tier", "caution"};
const std::vector<std::string> afterwards{"clean", "~/code/snake", "--no-system", "--tier", "warning", "--empty-trash"};
const std::vector<std::string> purging{"trash", "purge", "--older-than", "0d"};

std::vector<std::string> operator+(std::vector<std::string> arguments, const std::vector<std::string>& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

TEST_F(TrashCommand, UndatedEntriesStayAndAreNoted) {
  for (const auto& way : {selecting, afterwards, purging}) {
    empty();
    put("old");
    put("orphan", 700);
    const auto dry = run(way + std::vector<std::string>{"--dry-run"});
    EXPECT_THAT(dry.out, Not(HasSubstr("orphan"))) << way[1];
    EXPECT_TRUE(has("old")) << way[1];
    const auto ran = run(way + std::vector<std::string>{"--yes"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_TRUE(has("orphan") && !has("old")) << way[1];
    EXPECT_THAT(ran.err, AllOf(HasSubstr("in the trash"), HasSubstr("orphan has no info file"))) << way[1];
    EXPECT_THAT(ran.out, AllOf(Not(HasSubstr("is emptied, ")), Not(HasSubstr("Nothing was")))) << way[1];
    // Now nothing is left to remove.
    const auto again = run(way + std::vector<std::string>{"--yes"});
    EXPECT_THAT(again.err, HasSubstr("orphan has no info file")) << way[1];
    EXPECT_THAT(again.out, AllOf(Not(HasSubstr("trash is emptied")), Not(HasSubstr("0 entries go")))) << way[1];
    EXPECT_EQ(run(way + std::vector<std::string>{"--yes", "--include-unlisted"}).status, 0) << way[1];
    EXPECT_FALSE(has("orphan")) << way[1];
  }
}

TEST_F(TrashCommand, AnInfoFileAloneIsNoFailureAndAnEmptyTrashNoFinding) {
  put("old");
  put("gone");
  const std::string info = trash + std::string("info/gone.trashinfo");
  tree().writeFile(info);
  tree().setModified(info, TimePoint{std::chrono::seconds{1000000000}});
  fs::remove_all(tree().path(trash + std::string("files/gone")));
  EXPECT_THAT(run(selecting + std::vector<std::string>{"--yes"}), succeeds(HasSubstr("The trash is emptied, ")));
  EXPECT_EQ(countLeft(), 0);
  EXPECT_THAT(run(selecting + std::vector<std::string>{"--yes"}), succeeds("Nothing to remove.\n"));
}

TEST_F(TrashCommand, AQuestionOffersWhatNothingDates) {
  for (const auto& [answers, hasOld, hasOrphan] :
       {std::tuple{"n\n", true, true}, {"y\nn\n", false, true}, {"y\ny\n", false, false}}) {
    for (const auto& way : {selecting, afterwards, purging}) {
      empty();
      put("old");
      put("orphan", 2 << 20);
      const auto ran = run(way, {.errIsTerminal = true, .typed = answers});
      EXPECT_EQ(ran.status, 0) << ran.err;
      EXPECT_EQ(has("old"), hasOld) << answers << ran.err;
      EXPECT_EQ(has("orphan"), hasOrphan) << answers << ran.err;
      // The size in this question covers its own entries only.
      if (way == selecting) {
        EXPECT_THAT(ran.err, testing::ContainsRegex("Empty the trash .[0-9]+ KB. for good"));
      }
    }
  }
}

TEST_F(TrashCommand, AnInterruptedEmptyingCountsWhatIsGoneAndWhatStays) {
  constexpr int entries = 300;
  for (const auto& way : {afterwards, purging}) {
    empty();
    for (int i = 0; i < entries; ++i) put(std::to_string(i), 1);
    ProgramOptions options{.typed = "y\n"};
    JoiningThread interrupter;
    // The question is the first output on standard error.
    options.onFirstError = [&](pid_t program) {
      interrupter = JoiningThread([&, program] {
        while (countLeft() == entries) std::this_thread::yield();
        ::kill(program, SIGINT);
      });
    };
    const auto ran = run(way, options);
    interrupter.join();
    const auto left = countLeft();
    if (left == 0) GTEST_SKIP() << "all was gone before the interruption arrived";
    EXPECT_EQ(ran.status, 130) << ran.err;
    // One may have been deleted in part.
    const auto interrupted = [&](auto gone) { return HasSubstr("Interrupted; " + std::to_string(gone) + " entr"); };
    EXPECT_THAT(ran.err, testing::AnyOf(interrupted(entries - left), interrupted(entries - left - 1)));
    EXPECT_THAT(ran.err, HasSubstr(", " + std::to_string(left) + " that w"));
  }
}

/// Sends the signal to a run that is asked first, once the condition holds; what it waits for must come.
ProgramOptions signalled(int signal, std::function<bool()> holds, JoiningThread& sender) {
  ProgramOptions options{.typed = "y\n"};
  options.onFirstError = [=, &sender](pid_t program) {
    sender = JoiningThread([=] {
      while (!holds()) std::this_thread::yield();
      ::kill(program, signal);
    });
  };
  return options;
}

TEST_F(TrashCommand, AnItemThatIsDeletedInPartIsSaidAndCountedAndItsRestListedAndPurged) {
  const std::vector<std::string> ofWeb{"clean", "~/code/web/node_modules", "--no-system", "--empty-trash"};
  const std::pair<std::vector<std::string>, std::string> cases[]{{ofWeb, "code/web/node_modules"},
                                                                 {purging, trash + std::string("files/old")}};
  for (const auto& [way, place] : cases) {
    empty();
    put("old");
    if (way == ofWeb) empty();
    for (int i = 0; i < 20000; ++i) tree().writeFile(place + ("/many/" + std::to_string(i)), "x");
    const auto isBegun = [&] {
      std::error_code gone;
      for (const auto& each : fs::directory_iterator(tree().path(trash + std::string("files")), gone)) {
        if (each.path().filename().string().starts_with(".tidra-removing")) return true;
      }
      return false;
    };
    JoiningThread sender;
    const auto ran = run(way, signalled(SIGHUP, isBegun, sender));
    sender.join();
    if (ran.status == 0) GTEST_SKIP() << "all was gone before the interruption arrived";
    EXPECT_EQ(ran.status, 129) << ran.err;
    EXPECT_THAT(ran.out, AllOf(HasSubstr("1 item deleted in part, "), Not(HasSubstr("undo")))) << way[1];
    EXPECT_EQ(way == ofWeb, run({"undo", "1", "-y"}).err.find("tidra trash list shows the rest") != std::string::npos);
    EXPECT_THAT(ran.err, AllOf(HasSubstr("what is left lies in"), HasSubstr("are deleted, 1 is deleted in part")))
        << way[1];
    const auto items = documentOf(run({"history", "1", "--json"}))["items"];
    ASSERT_EQ(items.size(), 1U) << items;
    EXPECT_TRUE(items[0].value("partial", false) && items[0]["method"] == "delete") << items;
    EXPECT_THAT(run({"trash", "list"}).out, HasSubstr("the rest of a deletion")) << way[1];
    EXPECT_THAT(run({"trash", "purge", "--all", "--yes"}), succeeds(HasSubstr("1 item deleted, "))) << way[1];
    EXPECT_EQ(run({"trash", "list"}).out, "The trash is empty.\n");
    EXPECT_THAT(run({"history", "1"}).out, HasSubstr("Trash/files/.tidra-removing-"));
  }
}

TEST_F(TrashCommand, TheHistoryKnowsWhatAKilledPurgeHasDeleted) {
  constexpr int entries = 300;
  for (const auto& way : {afterwards, purging}) {
    empty();
    fs::remove_all(tree().path(".local/share/tidra"));  // runs of one second have no order
    for (int i = 0; i < entries; ++i) put(std::to_string(i), 1);
    JoiningThread sender;
    run(way, signalled(
                 SIGKILL, [&] { return countLeft() < entries; }, sender));
    sender.join();
    const auto items = documentOf(run({"history", "1", "--json"}))["items"].size();
    const auto gone = static_cast<std::size_t>(entries - countLeft());
    EXPECT_THAT(items, testing::AnyOf(gone, gone + 1)) << way[1];
  }
}

}  // namespace
}  // namespace tidra
