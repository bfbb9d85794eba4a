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
    EXPECT_THAT(ran.err, HasSubstr("Interrupted; " + std::to_string(entries - left) + " entr"));
    EXPECT_THAT(ran.err, HasSubstr(" deleted, " + std::to_string(left) + " that w"));
  }
}

}  // namespace
}  // namespace tidra
