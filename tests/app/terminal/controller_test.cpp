// Whole journeys over real jobs and a made-up home, without a terminal: keys in, frames out.
#include "app/terminal/plain_ui.h"

#include <random>

#include "app/state/file_preferences_store.h"
#include "tests/app/view/job_fixture.h"
#include "tests/app/view/memory_preferences.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class UiJourney : public JobTest {
 protected:
  UiJourney() {
    for (const char* project : {"a", "b"}) tree_.writeFileOfSize(place(project) + "/f", 4096);
    tree_.writeFileOfSize("code/c/build/f", 1 << 20);
    tree_.writeFile("code/kept.txt", "x");
    environment.newRequest = [this](bool) { return request(); };
    environment.clock = &clock;
    environment.resolver = request().resolver;
    environment.place = "code";
  }
  static std::string place(const std::string& project) { return "code/" + project + "/node_modules"; }

  UiController& start() {
    controller_ =
        std::make_unique<UiController>(environment, UiHost{.wake = bell_.ringing(),
                                                           .suspend = [] {},
                                                           .redraw = [] {},
                                                           .copy = [this](const std::string& text) { copied = text; }});
    controller_->start();
    return *controller_;
  }
  std::string text(ScreenSize size = {100, 30}) {
    Frame frame(size);
    controller_->draw(frame, glyphs_);
    return frame.text();
  }
  void press(std::string_view keys) {
    for (const char key : keys) {
      Key pressed = Key::of(static_cast<char32_t>(key));
      if (key == '\x1b') pressed = {.kind = Key::Kind::escape};
      if (key == '\r') pressed = {.kind = Key::Kind::enter};
      controller_->handle(pressed);
    }
  }
  /// Lets the jobs go on until the screen shows the text.
  void waitFor(const std::string& shown) {
    while (text().find(shown) == std::string::npos) {
      bell_.wait();
      controller_->takeNews();
    }
  }

  void waitWhile(const std::function<bool()>& holds) {
    while (holds()) {
      bell_.wait();
      controller_->takeNews();
    }
  }
  void waitForScan() {
    waitWhile([this] { return controller_->state().scan.isRunning; });
  }
  void waitForRemoval() {
    waitWhile([this] { return controller_->isBusy(); });
  }

  /// Jobs that remove something wait there; call before start().
  void holdRemovalsAt(Gate& gate) {
    environment.clock = [this, &gate, face = std::this_thread::get_id()] {
      if (isHolding && std::this_thread::get_id() != face) gate.pass();
      return clock();
    };
  }

  UiEnvironment environment;
  std::atomic<bool> isHolding{true};
  std::string copied;

 private:
  const ScreenGlyphs glyphs_;
  Bell bell_;
  std::unique_ptr<UiController> controller_;
};

TEST_F(UiJourney, MarksReviewsAndTrashes) {
  start();
  waitForScan();
  EXPECT_THAT(text(), AllOf(HasSubstr("code/a"), HasSubstr("node_modules"), HasSubstr("Nothing is marked")));
  press("/node_modules\ra");
  EXPECT_THAT(text(), HasSubstr("2 marked"));
  press("d");
  waitFor("to the trash? [y/N]");
  const auto before = tree_.snapshot();
  press("n");
  EXPECT_EQ(tree_.snapshot(), before);
  press("d");
  waitFor("[y/N]");
  press("y");
  waitForRemoval();
  EXPECT_FALSE(exists(place("a")) || exists(place("b")));
  EXPECT_TRUE(exists("code/c/build/f") && exists("code/kept.txt"));
  EXPECT_TRUE(exists("home/.local/share/Trash/files/node_modules"));
  EXPECT_THAT(text(), AllOf(HasSubstr("No finding passes the filter"), HasSubstr("2 items are in the trash")));
  press("5");
  EXPECT_THAT(text(), HasSubstr("u undo"));
  press("u");
  waitFor("Bring back 2 items? [y/N]");
  press("y");
  waitFor("2 items are back in place");
  EXPECT_TRUE(exists(place("a") + "/f") && exists(place("b") + "/f"));
  press("2?");
  EXPECT_THAT(text(), HasSubstr("one line up"));
  press("?");
  EXPECT_THAT(text(), HasSubstr("Quarantine and trash"));
  press("5");  // from one screen to the next
  EXPECT_THAT(text(), HasSubstr("2 items have been brought back since"));
  press("1");
  EXPECT_THAT(text(), HasSubstr("code/b"));
}

TEST_F(UiJourney, PurgesAndRestoresWhatLiesInTheStores) {
  start();
  waitForScan();
  press("/node_modules\radxd");
  waitFor("[y/N]");
  press("y");
  waitForRemoval();
  press("2");
  waitFor("node_modules");
  press(" dy");  // nobody has read the question
  EXPECT_THAT(text(), HasSubstr("Delete node_modules ("));
  press("nr");
  waitFor("1 entry is back in place");
  press("d");
  EXPECT_THAT(text(), HasSubstr("for good? [y/N]"));
  press("y");
  waitFor("Nothing is in the trash or in quarantine.");
  EXPECT_EQ(exists(place("a")) ? 1 : 0, exists(place("b")) ? 0 : 1);
  EXPECT_FALSE(exists("home/.local/share/Trash/files/node_modules"));
}

TEST_F(UiJourney, RemovesWhatIsUnderTheCursorWhenNothingIsMarked) {
  environment.usualRemoval = [] { return ReviewChoice{DisposalMethod::delete_}; };
  start();
  waitForScan();
  press("/build\rjd");
  waitFor("for good? [y/N]");
  press("y");
  waitForRemoval();
  EXPECT_FALSE(exists("code/c/build"));
  EXPECT_TRUE(exists(place("a")) && exists(place("b")));
}

TEST_F(UiJourney, TakesAYesToAShownQuestionOnly) {
  UiController& ui = start();
  waitForScan();
  press("/build\rjd");
  waitForRemoval();  // the review is there
  press("y");        // typed ahead
  text({39, 9});     // too small for it
  press("y");
  EXPECT_THAT(text(), HasSubstr("[y/N]"));
  Key hasty = Key::of(U'y');
  hasty.isHasty = true;
  ui.handle(hasty);
  EXPECT_FALSE(ui.isBusy());
  EXPECT_TRUE(ui.isInReview());
  press("y");
  waitForRemoval();
  EXPECT_FALSE(exists("code/c/build"));
}

TEST_F(UiJourney, LeavesTheTrashToAnotherMethod) {
  const std::string letter = "home/.local/share/Trash/files/letter";
  tree_.writeFile(letter, "x");
  tree_.writeFile("home/.local/share/Trash/info/letter.trashinfo",
                  "[Trash Info]\nPath=/letter\nDeletionDate=2020-01-01T00:00:00\n");
  environment.usualRemoval = [] { return ReviewChoice{DisposalMethod::trash, true}; };
  start();
  waitForScan();
  press("/build\rjd");
  waitFor("which is emptied");
  press("mmm");  // to the trash again, which is not emptied any more
  EXPECT_THAT(text(), HasSubstr("to the trash? [y/N]"));
  press("m");
  EXPECT_THAT(text(), HasSubstr("into quarantine? [y/N]"));
  press("y");
  waitForRemoval();
  EXPECT_FALSE(exists("code/c/build"));
  EXPECT_TRUE(exists(letter));
}

TEST_F(UiJourney, KeepsWhatIsExcludedOrKeptMeanwhile) {
  MemoryStore store;
  environment.preferences = &store;
  UiController& ui = start();
  waitForScan();
  press("/build\rjax");
  EXPECT_TRUE(ui.state().selection.empty());
  press("d");
  EXPECT_THAT(text(), HasSubstr("It is excluded now, and stays"));
  press(
      "\x1b"
      "ad");
  waitFor("Move 2 items");
  tree_.writeFile("code/a/.tidra-keep", "");
  press("y");
  waitForRemoval();
  EXPECT_THAT(text({120, 30}), HasSubstr("1 item stays, 5 says why. 1 item is in the trash"));
  EXPECT_TRUE(exists("code/c/build") && exists(place("a")));
}

TEST_F(UiJourney, BeginsReviewsAsTheSettingsWereAtTheScan) {
  ReviewChoice usual;
  environment.usualRemoval = [&] { return usual; };
  start();
  waitForScan();
  usual.method = DisposalMethod::delete_;
  press("/build\rd");
  waitFor("to the trash? [y/N]");
  press("nr");
  waitForScan();
  press("d");
  waitFor("for good? [y/N]");
}

TEST_F(UiJourney, ReadsTheProjectForDetails) {
  tree_.writeFile("code/c/.git/HEAD", "ref: refs/heads/topic\n");
  for (const char* part : {"objects", "refs"}) tree_.makeFolder(std::string("code/c/.git/") + part);
  for (const char* keys : {"/build\ri", "/build\rji", "/build\rjl"}) {
    start();
    waitForScan();
    press(keys);
    waitForRemoval();
    EXPECT_THAT(text(), HasSubstr("topic")) << keys;
  }
}

TEST_F(UiJourney, SaysWhatBecameOfARemovalThatTheUserLeft) {
  Gate gate;
  holdRemovalsAt(gate);
  UiController& ui = start();
  waitForScan();
  press("/build\rd");
  waitFor("[y/N]");
  press("y");
  gate.waitForArrival();
  press("/\x1b/node_modules\rad");
  waitFor("[y/N]");
  press("m");
  EXPECT_THAT(text(), HasSubstr("quarantine? [y/N]"));
  press("y");  // another method
  EXPECT_THAT(text(), HasSubstr("Another removal is still running"));
  EXPECT_EQ(ui.state().selection.size(), 2U);
  EXPECT_TRUE(ui.stopRemoval());
  gate.open();
  waitForRemoval();
  EXPECT_TRUE(ui.isDone());
  EXPECT_THAT(ui.lastWords(), testing::Contains(HasSubstr("Interrupted")));
  EXPECT_TRUE(exists("code/c/build") && exists(place("a")));
}

TEST_F(UiJourney, GoesOnWithWhatTheStoresScreenBegan) {
  Gate gate;
  holdRemovalsAt(gate);
  isHolding = false;
  UiController& ui = start();
  waitForScan();
  press("/node_modules\rad");
  waitFor("[y/N]");
  press("y");
  waitForRemoval();
  press("2");
  waitFor("node_modules");
  isHolding = true;
  press("d");
  EXPECT_THAT(text(), HasSubstr("[y/N]"));
  press("y");
  gate.waitForArrival();
  press("1q");
  EXPECT_FALSE(ui.isDone());
  EXPECT_THAT(text(), HasSubstr("q again"));
  press("2");
  EXPECT_THAT(text(), HasSubstr("Deleting"));
  gate.open();
  waitForRemoval();
  EXPECT_THAT(text(), HasSubstr("1 entry is deleted"));
}

TEST_F(UiJourney, RemovesNothingReadOnly) {
  environment.isReadOnly = true;
  start();
  waitForScan();
  const auto before = tree_.snapshot();
  press("adydy\r");
  EXPECT_EQ(tree_.snapshot(), before);
  EXPECT_THAT(text(), Not(HasSubstr("[y/N]")));
}

TEST_F(UiJourney, StopsAScanAndKeepsWhatWasFound) {
  Gate gate;
  environment.newRequest = [&](bool) {
    ScanRequest request = this->request();
    request.onProgress = [&](const ScanProgress&) { gate.pass(); };
    return request;
  };
  UiController& ui = start();
  gate.waitForArrival();
  press("\x1b");
  EXPECT_THAT(text(), HasSubstr("stopping…"));
  gate.open();
  waitForScan();
  EXPECT_THAT(text(), HasSubstr("Partial scan"));
  press("ad");
  EXPECT_TRUE(ui.state().selection.empty());
}

TEST_F(UiJourney, GoesLineByLine) {
  struct Step {
    const char* typed;
    const char* written;  // afterwards
  };
  const std::vector<Step> steps{{"help", "review             look at"},
                                {"find node_modules", "could be freed in 3 findings. 0 marked"},
                                {"wrong", "\"wrong\" is no word"},
                                {"2", "2. marked, "},
                                {"add y", "is no word that"},  // no prompt: must not be keys
                                {"4 99", "2 marked"},
                                {"show 2", "node_modules"},
                                {"fold 2", ", folded"},
                                {"unfold 1", "2. marked, "},
                                {"review", "Move 2 items"},
                                {"y", "2 items are in the trash"},
                                {"undo", "Bring back 2 items? [y/N]"},
                                {"yes", "2 items are back in place"},
                                {"back", "could be freed"},
                                {"stores", "Nothing is in the trash"},
                                {"quit", ""}};
  std::string written;
  std::size_t step = 0;
  PlainUi ui(environment, {.write = [&](std::string_view text) { written += text; },
                           .readLine = [&]() -> std::optional<std::string> {
                             EXPECT_THAT(written, HasSubstr(step > 0 ? steps[step - 1].written : "")) << step;
                             written.clear();
                             if (step == steps.size()) return std::nullopt;
                             return steps[step++].typed;
                           },
                           .interrupted = [] { return false; }});
  ui.run();
  EXPECT_EQ(step, steps.size());
  EXPECT_TRUE(exists(place("a") + "/f") && exists(place("b") + "/f"));
}

/// Any keys but a yes, at any size.
TEST_F(UiJourney, RemovesNothingWithoutAYes) {
  const auto before = withoutFolderTimes(snapshotOf(tree_.path("code")));
  UiController& ui = start();
  waitForScan();
  std::mt19937 random(20);  // NOLINT(cert-msc51-cpp): the same events each time
  const auto upTo = [&](std::size_t most) { return static_cast<std::size_t>(random() % most); };
  for (int event = 0; event < 4000; ++event) {
    Key key{.kind = static_cast<Key::Kind>(upTo(static_cast<std::size_t>(Key::Kind::unknown) + 1)),
            .character = static_cast<char32_t>(' ' + upTo(95)),
            .at = {upTo(40), upTo(150)},
            .isPasted = upTo(9) == 0};
    if (upTo(2) == 0) key.kind = Key::Kind::character;
    // Letters in the middle of filters and the like may be any; each of these is a scan of the disk.
    if (key.character == U'y' || key.character == U'Y' || key.character == U'R' ||
        (key.character == U'r' && upTo(50) > 0))
      continue;
    ui.handle(key);
    if (upTo(20) == 0) ui.takeNews();
    Frame frame({upTo(150), upTo(40)});
    ui.draw(frame, ScreenGlyphs{});
  }
  EXPECT_EQ(withoutFolderTimes(snapshotOf(tree_.path("code"))), before);
}

}  // namespace
}  // namespace tidra
