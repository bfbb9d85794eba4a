// Whole journeys on a terminal: what a person types and sees, what is on the disk afterwards, how the terminal is left.
#include <signal.h>
#include <sys/stat.h>

#include "tests/cli/cli_fixture.h"
#include "tests/support/virtual_terminal.h"

namespace tidra {
namespace {

using testing::HasSubstr;

class UiCommand : public CliTest {
 protected:
  VirtualTerminal& start(std::vector<std::string> arguments = {"ui", "--no-system", "code"}, TerminalSize size = {},
                         Environment more = {}) {
    arguments.insert(arguments.begin(), TIDRA_PROGRAM);
    more.insert(
        {{"HOME", tree().root()}, {"PATH", "/usr/bin:/bin"}, {"TERM", "xterm-256color"}, {"LC_ALL", "C.UTF-8"}});
    terminal_ = std::make_unique<VirtualTerminal>(size, std::move(arguments), std::move(more), tree().root());
    return *terminal_;
  }
  /// Started, with the results of the whole scan.
  VirtualTerminal& showResults(TerminalSize size = {}) {
    VirtualTerminal& terminal = start({"ui", "--no-system", "code"}, size);
    EXPECT_TRUE(terminal.waitUntil([&] { return terminal.shows("target") && !terminal.shows("Esc stop"); }))
        << terminal.text();
    return terminal;
  }
  static void expectLeft(VirtualTerminal& terminal, int status) {
    EXPECT_EQ(terminal.waitForExit(), status) << terminal.text();
    EXPECT_FALSE(terminal.isOnAlternateScreen() || terminal.isRaw() || terminal.takesMouse());
    EXPECT_TRUE(terminal.isCursorVisible());
  }
  static void step(VirtualTerminal& terminal, std::string_view typed, std::string_view shown) {
    terminal.type(typed);
    EXPECT_TRUE(terminal.waitForText(shown)) << typed << terminal.text();
  }

 private:
  std::unique_ptr<VirtualTerminal> terminal_;
};

TEST_F(UiCommand, ScansMarksReviewsTrashesAndUndoes) {
  VirtualTerminal& terminal = showResults();
  step(terminal, "/node_modules\r", "only \"node_modules\"");
  step(terminal, "a", "1 marked");
  step(terminal, "d", "[y/N]");
  EXPECT_THAT(terminal.text(), HasSubstr("to the trash?"));
  step(terminal, "\r", "1 marked");  // No is the default
  EXPECT_TRUE(exists("code/web/node_modules"));
  step(terminal, "d", "[y/N]");
  step(terminal, "y", "in the trash");
  EXPECT_FALSE(exists("code/web/node_modules"));
  EXPECT_TRUE(exists("code/tool/target") && exists("code/web/dist"));
  step(terminal, "u", "Bring back 1 item?");
  step(terminal, "y", "1 item is back in place");
  EXPECT_TRUE(exists("code/web/node_modules/a/f"));
  terminal.type("qq");
  expectLeft(terminal, 0);
}

TEST_F(UiCommand, StopsAScanThatHangs) {
  tree().writeFile("code/r/.git/HEAD", "ref: refs/heads/main\n");
  for (const char* part : {"objects", "refs"}) tree().makeFolder(std::string("code/r/.git/") + part);
  tree().writeFile("code/r/package.json", R"({"dependencies": {"a": "1"}})");
  tree().writeFile("code/r/node_modules/.package-lock.json", "{}");
  ::mkfifo(tree().path("code/r/.git/index").c_str(), 0600);
  VirtualTerminal& terminal = start();
  EXPECT_TRUE(terminal.waitForText("Esc stop"));
  step(terminal, "\x1b", "Partial scan");
  terminal.type("q");
  expectLeft(terminal, 0);
}

TEST_F(UiCommand, FitsEverySize) {
  VirtualTerminal& terminal = showResults();
  for (const TerminalSize size : {TerminalSize{120, 40}, TerminalSize{60, 20}}) {
    terminal.resize(size);
    EXPECT_TRUE(terminal.waitUntil([&] { return terminal.line(size.rows - 1U).starts_with(" Space mark"); }))
        << terminal.text();
    EXPECT_THAT(terminal.text(), HasSubstr("target"));
  }
  terminal.resize({20, 5});
  EXPECT_TRUE(terminal.waitForText("Tidra needs 40")) << terminal.text();
  terminal.resize({80, 24});
  EXPECT_TRUE(terminal.waitForText("could be freed")) << terminal.text();
}

TEST_F(UiCommand, IsStoppedAndContinued) {
  VirtualTerminal& terminal = showResults();
  terminal.type("\x1a");
  ASSERT_TRUE(terminal.waitForStop());
  EXPECT_FALSE(terminal.isOnAlternateScreen() || terminal.isRaw());
  terminal.continueJob();
  EXPECT_TRUE(terminal.waitUntil([&] { return terminal.isOnAlternateScreen() && terminal.shows("could be freed"); }));
  step(terminal, "?", "to the first line");
  terminal.type("qq");
  expectLeft(terminal, 0);
}

TEST_F(UiCommand, EndsWithSignalsAndItsTerminal) {
  for (const auto& [signal, status] : {std::pair{SIGTERM, 130}, std::pair{SIGINT, 130}, std::pair{SIGHUP, 129}}) {
    VirtualTerminal& terminal = showResults();
    terminal.signalJob(signal);
    expectLeft(terminal, status);
  }
  VirtualTerminal& terminal = showResults();
  terminal.hangUp();
  EXPECT_EQ(terminal.waitForExit(), 129);
}

TEST_F(UiCommand, SendsLittleForAKey) {
  VirtualTerminal& terminal = showResults();
  step(terminal, "j", "▸");
  const std::size_t before = terminal.bytesReceived();
  constexpr int keys = 4;
  for (int i = 0; i < keys; ++i) {
    const std::string former = terminal.text();
    terminal.type("j");
    ASSERT_TRUE(terminal.waitUntil([&] { return terminal.text() != former; }));
  }
  EXPECT_LE(terminal.bytesReceived() - before, keys * 400U);
}

TEST_F(UiCommand, OpensOnATerminalOnly) {
  VirtualTerminal& bare = start({});
  EXPECT_TRUE(bare.waitForText("could be freed")) << bare.text();
  EXPECT_TRUE(bare.isOnAlternateScreen());
  EXPECT_THAT(refused({"ui"}), HasSubstr("tidra scan"));
  VirtualTerminal& dumb = start({"ui"}, {200, 10}, {{"TERM", "dumb"}});
  EXPECT_EQ(dumb.waitForExit(), 2);
  EXPECT_THAT(dumb.text(), HasSubstr("tidra scan"));
  EXPECT_THAT(refused({"ui", "no-such-folder"}), HasSubstr("no-such-folder"));
}

TEST_F(UiCommand, ShowsTheLastScanReadOnly) {
  EXPECT_EQ(scan({"code"}).status, 0);
  tree().writeFile("elsewhere/node_modules/a/f", "x");
  VirtualTerminal& terminal = start({"ui", "--last", "--read-only"});
  EXPECT_TRUE(terminal.waitForText("from the last scan")) << terminal.text();
  const auto before = tree().snapshot();
  step(terminal, "adu", "read-only");
  terminal.type("r");
  EXPECT_TRUE(terminal.waitUntil([&] {
    return terminal.shows("target") && !terminal.shows("from the last scan") && !terminal.shows("Esc stop");
  }));
  EXPECT_FALSE(terminal.shows("elsewhere")) << terminal.text();
  terminal.type("q");
  expectLeft(terminal, 0);
  EXPECT_EQ(tree().snapshot(), before);
}

TEST_F(UiCommand, RemovesFromTheLastScanAndStoresItAgain) {
  EXPECT_EQ(scan({"code"}).status, 0);
  VirtualTerminal& terminal = start({"ui", "--last"});
  step(terminal, "/tool\r", "only \"tool\"");
  step(terminal, "ad", "to the trash? [y/N]");
  step(terminal, "y", "in the trash");
  EXPECT_FALSE(exists("code/tool/target"));
  terminal.type("q");
  expectLeft(terminal, 0);
  EXPECT_THAT(run({"scan", "--last"}).out, testing::Not(HasSubstr("code/tool")));
}

TEST_F(UiCommand, GoesLineByLine) {
  for (const bool byVariable : {false, true}) {
    std::vector<std::string> arguments{"ui", "--no-system", "code"};
    if (!byVariable) arguments.emplace_back("--plain");
    const ProgramRun ran = run(arguments, {.environment = {{"ACCESSIBLE", byVariable ? "1" : "0"}},
                                           .typed = "find dist\nall\nreview\nn\nquit\n"});
    EXPECT_EQ(ran.status, 0) << ran;
    EXPECT_THAT(ran.out, testing::AllOf(HasSubstr("1 marked"), HasSubstr("[y/N]"))) << ran;
    EXPECT_TRUE(exists("code/web/dist"));
  }
}

}  // namespace
}  // namespace tidra
