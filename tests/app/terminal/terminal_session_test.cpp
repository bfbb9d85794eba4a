// A small face on a terminal of cells: what a person sees, and that the terminal is given back on every way out.
#include "app/terminal/terminal_session.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

#include "app/terminal/canvas.h"
#include "core/base/errors.h"
#include "tests/support/tables.h"
#include "tests/support/virtual_terminal.h"

namespace tidra {
namespace {

struct Face {
  bool mouse = true;
  Environment environment{{"TERM", "xterm-256color"}};
};

std::string nameOf(const Key& key) {
  if (key.isHasty && key.character == U'b') return "hasty";
  if (key.kind == Key::Kind::character)
    return key.isPasted ? "pasted" : std::string(1, static_cast<char>(key.character));
  if (key.kind == Key::Kind::control) return std::string("^") + static_cast<char>(key.character);
  return std::to_string(static_cast<int>(key.kind)) + "@" + std::to_string(key.at.row) + "," +
         std::to_string(key.at.column);
}

/// Shows the size and the last key; some keys end it in different ways.
int runFace(const Face& face) {
  ::setenv("LC_ALL", "C.UTF-8", 1);
  try {
    TerminalSession session({.mouse = face.mouse, .environment = face.environment});
    std::string last = "none";
    const ScreenGlyphs glyphs;
    for (bool hangs = false;;) {
      Frame frame(session.size());
      Canvas canvas(frame, glyphs);
      canvas.put(0, 0, std::to_string(canvas.columns()) + "x" + std::to_string(canvas.rows()));
      canvas.put(1, 0, "last " + last, {.ink = Ink::bad, .bold = true});
      canvas.put(2, 0,
                 "\xE8\xA1\xA8"
                 "e\xCC\x81|\x1b[1m|\xff|",
                 {.ink = Ink::accent, .reverse = true});
      session.show(frame);
      const TerminalSession::Events events = session.wait(-1, std::nullopt);
      if (events.lost) return 77;
      if (events.endedBy && !hangs) return 100 + *events.endedBy;
      if (events.endedBy) last = "signal";
      for (const Key& key : events.keys) {
        last = nameOf(key);
        if (last == "q") return 0;
        if (last == "x") throw std::runtime_error("x");
        if (last == "t") std::thread([] { throw std::runtime_error("t"); }).join();
        if (last == "c") session.copyToClipboard("path");
        if (last == "^z") session.suspend();
        hangs = hangs || last == "w";
      }
    }
  } catch (const InputError& error) {
    [[maybe_unused]] const auto written = ::write(STDOUT_FILENO, error.what(), std::string_view(error.what()).size());
    return 2;
  } catch (const std::runtime_error&) {
    return 9;
  }
}

class TerminalFace : public testing::Test {
 protected:
  VirtualTerminal& start(const Face& face = {}, TerminalSize size = {}) {
    terminal_ = std::make_unique<VirtualTerminal>(size, [face] { return runFace(face); });
    return *terminal_;
  }

 private:
  std::unique_ptr<VirtualTerminal> terminal_;
};

TEST_F(TerminalFace, GivesTheTerminalBackOnEveryWayOut) {
  struct Way {
    const char* name;
    const char* typed;
    std::vector<int> signals;
    int status;
  };
  for (const Way& way : std::vector<Way>{{"quit", "q", {}, 0},
                                         {"exception", "x", {}, 9},
                                         {"uncaught on a thread", "t", {}, 128 + SIGABRT},
                                         {"terminated", "", {SIGTERM}, 100 + SIGTERM},
                                         {"interrupted", "", {SIGINT}, 100 + SIGINT},
                                         {"quit by a signal", "", {SIGQUIT}, 128 + SIGQUIT},
                                         {"hung up", "", {SIGHUP}, 100 + SIGHUP},
                                         {"hangs", "w", {SIGTERM, SIGINT}, 128 + SIGINT}}) {
    SCOPED_TRACE(way.name);
    VirtualTerminal& terminal = start();
    ASSERT_TRUE(terminal.waitForText("last none"));
    EXPECT_TRUE(terminal.isOnAlternateScreen() && terminal.isRaw() && terminal.takesMouse());
    EXPECT_FALSE(terminal.isCursorVisible());
    terminal.type(way.typed);
    ASSERT_TRUE(*way.typed != 'w' || terminal.waitForText("last w"));
    for (const int signal : way.signals) {
      terminal.signalJob(signal);
      if (way.signals.size() > 1) terminal.waitForText("last signal");
    }
    EXPECT_EQ(terminal.waitForExit(), way.status);
    EXPECT_FALSE(terminal.isOnAlternateScreen() || terminal.isRaw() || terminal.takesMouse());
    EXPECT_TRUE(terminal.isCursorVisible());
  }
}

TEST_F(TerminalFace, EndsWithItsTerminal) {
  VirtualTerminal& terminal = start();
  ASSERT_TRUE(terminal.waitForText("last none"));
  terminal.hangUp();
  EXPECT_EQ(terminal.waitForExit(), 77);
}

TEST_F(TerminalFace, StopsAndGoesOn) {
  for (const bool bySignal : {false, true}) {
    VirtualTerminal& terminal = start();
    ASSERT_TRUE(terminal.waitForText("last none"));
    if (bySignal)
      terminal.signalJob(SIGTSTP);
    else
      terminal.type("\x1a");
    ASSERT_TRUE(terminal.waitForStop());
    EXPECT_FALSE(terminal.isOnAlternateScreen() || terminal.isRaw());
    terminal.resize({60, 20});
    terminal.continueJob();
    EXPECT_TRUE(terminal.waitForText("60x20")) << terminal.text();
    EXPECT_TRUE(terminal.isOnAlternateScreen() && terminal.isRaw());
    terminal.type("j");
    EXPECT_TRUE(terminal.waitForText("last j"));
  }
}

TEST_F(TerminalFace, FollowsTheSize) {
  VirtualTerminal& terminal = start();
  for (const TerminalSize size :
       {TerminalSize{20, 5}, TerminalSize{132, 50}, TerminalSize{1, 1}, TerminalSize{80, 24}}) {
    terminal.resize(size);
    const std::string shown = std::to_string(size.columns) + "x" + std::to_string(size.rows);
    EXPECT_TRUE(terminal.waitForText(shown.substr(0, size.columns))) << terminal.text();
  }
  terminal.resize({5000, 24});
  EXPECT_TRUE(terminal.waitForText("1000x24"));
}

TEST_F(TerminalFace, ShowsForeignTextInItsColumns) {
  VirtualTerminal& terminal = start();
  ASSERT_TRUE(terminal.waitForText("\\xff|"));  // the end of what is drawn
  EXPECT_EQ(terminal.line(2),
            "\xE8\xA1\xA8"
            "e\xCC\x81|\\x1b[1m|\\xff|");
  EXPECT_EQ(terminal.lookAt(1, 0), (CellLook{.bold = true, .colored = true}));
  EXPECT_EQ(terminal.lookAt(2, 0), (CellLook{.reverse = true, .colored = true}));
  VirtualTerminal& plain = start({.environment = {{"TERM", "xterm-256color"}, {"NO_COLOR", "1"}}});
  ASSERT_TRUE(plain.waitForText("last none"));
  EXPECT_EQ(plain.lookAt(1, 0), CellLook{.bold = true});
}

TEST_F(TerminalFace, ReadsKeys) {
  const auto code = [](Key::Kind kind) { return std::to_string(static_cast<int>(kind)) + "@"; };
  const auto rows = std::vector<std::pair<std::string, std::string>>{{"a", "a"},
                                                                     {"bb", "hasty"},
                                                                     {"b", "b"},
                                                                     {"jb", "hasty"},
                                                                     {"\x03", "^c"},
                                                                     {"\r", code(Key::Kind::enter)},
                                                                     {"\x7f", code(Key::Kind::backspace)},
                                                                     {"\x1bOA", code(Key::Kind::up)},
                                                                     {"\x1b[6~", code(Key::Kind::pageDown)},
                                                                     {"\x1b", code(Key::Kind::escape)},
                                                                     {"\x1b[<0;5;3M", code(Key::Kind::click) + "2,4"},
                                                                     {"\x1b[<65;1;1M", code(Key::Kind::wheelDown)},
                                                                     {"\x1b[200~d\x1b[201~", code(Key::Kind::unknown)}};
  VirtualTerminal& terminal = start();
  ASSERT_TRUE(terminal.waitForText("last none"));
  for (const auto& [typed, name] : rows) {
    terminal.type("_");
    ASSERT_TRUE(terminal.waitForText("last _"));
    terminal.type(typed);
    EXPECT_TRUE(terminal.waitForText("last " + name)) << testing::PrintToString(typed) << terminal.text();
  }
  EXPECT_EQ(terminal.output().find("pasted"), std::string::npos);
}

TEST_F(TerminalFace, WritesOnlyWhatChanged) {
  VirtualTerminal& terminal = start();
  ASSERT_TRUE(terminal.waitForText("last none"));
  terminal.type("j");
  ASSERT_TRUE(terminal.waitForText("last j"));
  const std::size_t before = terminal.bytesReceived();
  terminal.type("jjjjk");
  ASSERT_TRUE(terminal.waitForText("last k"));
  EXPECT_LT(terminal.bytesReceived() - before, 40U);
  terminal.type("c");
  EXPECT_TRUE(terminal.waitUntil([&] { return terminal.output().find("\x1b]52;c;cGF0aA==\a") != std::string::npos; }));
}

TEST_F(TerminalFace, RefusesWhatCannotShowScreens) {
  for (const char* type : {"dumb", "", "no-such-terminal"}) {
    VirtualTerminal& terminal = start({.environment = {{"TERM", type}}}, {200, 5});
    EXPECT_EQ(terminal.waitForExit(), 2) << type;
    EXPECT_THAT(terminal.text(), testing::HasSubstr("tidra scan prints the same results as lines")) << type;
    EXPECT_FALSE(terminal.isRaw());
  }
}

TEST_F(TerminalFace, TakesNoMouseUnlessWanted) {
  VirtualTerminal& terminal = start({.mouse = false});
  ASSERT_TRUE(terminal.waitForText("last none"));
  EXPECT_FALSE(terminal.takesMouse());
}

}  // namespace
}  // namespace tidra
