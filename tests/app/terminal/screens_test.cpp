// The screens over a model that is filled by hand: what they show at several sizes, and what keys change.
#include <gmock/gmock.h>

#include "app/terminal/help_screen.h"
#include "app/terminal/results_screen.h"
#include "app/terminal/review_screen.h"
#include "app/terminal/summary_screen.h"
#include "core/base/text.h"
#include "tests/app/view/rows.h"

namespace tidra {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr TimePoint today{std::chrono::seconds{1750000000}};

ResultRow datedRow(const std::string& path, std::int64_t megabytes, int days, ProjectActivity activity,
                   ItemMark mark = {}) {
  ResultRow row = rowAt(path, megabytes * 1024 * 1024, mark.kind);
  row.mark = std::move(mark);
  row.sizeBytes = row.freeableBytes + 1;
  row.lastActivity = today - std::chrono::days{days};
  row.activity = activity;
  row.hintKind = ItemHint::Kind::wayBack;
  row.hint = SharedText("npm install");
  return row;
}

class ResultsScreenTest : public testing::Test {
 protected:
  ResultsScreenTest() {
    state_.home = "/home/jo";
    state_.place = "~/code";
    state_.now = today;
    state_.freeBytes = 70LL << 30;
    ResultRow careful = datedRow("/home/jo/code/engine/chroma", 88, 1100, ProjectActivity::dormant);
    careful.tier = ArtifactSafetyTier::warning;
    state_.view.add({datedRow("/home/jo/code/shop/node_modules", 2100, 800, ProjectActivity::dormant), careful,
                     datedRow("/home/jo/code/engine/target", 1600, 1100, ProjectActivity::dormant),
                     datedRow("/home/jo/code/engine/.venv", 40, 1100, ProjectActivity::dormant,
                              {ItemMark::Kind::kept, "is in use by python3 (4121)"}),
                     datedRow("/home/jo/code/日本\x1b/dist", 5, 3, ProjectActivity::active)});
    state_.refresh();
  }

  Frame draw(ScreenSize size) {
    Frame frame(size);
    screen_.draw(Canvas(frame, glyphs_), state_);
    return frame;
  }
  std::string text(ScreenSize size = {80, 24}) { return draw(size).text(); }
  UiAction press(std::string_view keys) {
    UiAction action;
    for (const char key : keys) action = screen_.handle(Key::of(static_cast<char32_t>(key)), state_);
    return action;
  }
  UiAction press(Key::Kind kind) { return screen_.handle({.kind = kind}, state_); }

  ScreenGlyphs glyphs_;
  UiState state_;
  ResultsScreen screen_;
};

TEST_F(ResultsScreenTest, ShowsGroupsAndItemsAtEverySize) {
  const std::string usual = text();
  EXPECT_THAT(usual, HasSubstr(" Tidra  ~/code"));
  EXPECT_THAT(usual, HasSubstr("3.7 GB could be freed · 70.0 GB free"));
  EXPECT_THAT(usual, HasSubstr("▸    2.1 GB ██████████ shop"));
  EXPECT_THAT(usual, HasSubstr("2.1 GB              node_modules"));
  EXPECT_THAT(usual, testing::ContainsRegex("88 MB +chroma +3 y irreversible"));
  EXPECT_THAT(usual, testing::ContainsRegex("40 MB +.venv +3 y kept"));
  const Frame frame = draw({80, 24});
  for (std::size_t row = 3; row < 9; ++row) {
    const bool isKept = frame.line(row).find(".venv") != std::string::npos;
    EXPECT_EQ(frame.at(row, 9).look.ink == Ink::faint, isKept) << frame.line(row);  // what stays frees nothing
  }
  EXPECT_THAT(usual, HasSubstr("日本\\x1b"));
  EXPECT_THAT(usual, HasSubstr("Nothing is marked"));
  EXPECT_THAT(usual, HasSubstr("Space mark  d review  / filter"));
  EXPECT_THAT(text({120, 40}), AllOf(HasSubstr("│"), HasSubstr("~/code/shop"), HasSubstr("back with: npm install")));
  EXPECT_THAT(text({60, 20}), AllOf(HasSubstr("shop"), HasSubstr("Space mark"), HasSubstr("? help  q quit")));
  EXPECT_THAT(text({39, 9}), HasSubstr("Tidra needs 40 columns and 10 rows"));
  for (std::size_t columns = 1; columns < 140; ++columns) {
    const Frame sized = draw({columns, columns % 30 + 1});
    for (std::size_t row = 0; row < sized.size().rows; ++row) EXPECT_LE(displayWidth(sized.line(row)), columns);
  }
}

TEST_F(ResultsScreenTest, MarksOnlyWhatMayGo) {
  press(" ");
  EXPECT_THAT(text(), AllOf(HasSubstr("1 marked, frees 2.1 GB"), HasSubstr("▸✓   2.1 GB")));
  press("jj j");  // on the group of engine, whose third item is kept
  EXPECT_EQ(state_.selection.size(), 3U);
  press("A");
  EXPECT_TRUE(state_.selection.empty());
  press("gjjjjj ");
  EXPECT_THAT(state_.notice, HasSubstr("It stays: it is in use by python3 (4121)"));
  EXPECT_TRUE(state_.selection.empty());
  press("gvGv");
  EXPECT_EQ(state_.selection.size(), 4U);
  EXPECT_EQ(press("d").kind, UiAction::Kind::review);
  state_.isReadOnly = true;
  EXPECT_EQ(press("d").kind, UiAction::Kind::none);
  EXPECT_THAT(text(), HasSubstr("read-only"));
}

TEST_F(ResultsScreenTest, FiltersSortsAndGroups) {
  press("/");
  press("eng tar");
  EXPECT_THAT(text(), AllOf(HasSubstr("Filter: eng tar"), HasSubstr("target"), Not(HasSubstr("chroma"))));
  press(Key::Kind::enter);
  EXPECT_THAT(text(), HasSubstr("only \"eng tar\""));
  press(Key::Kind::escape);
  EXPECT_THAT(text(), HasSubstr("chroma"));
  press("ttt");
  EXPECT_THAT(text(), AllOf(HasSubstr("only irreversible"), HasSubstr("chroma"), Not(HasSubstr("target"))));
  press("tff");
  EXPECT_THAT(text(), AllOf(HasSubstr("only kept"), HasSubstr(".venv"), Not(HasSubstr("target"))));
  press("fffff");
  EXPECT_FALSE(state_.isFiltered());
  press("e");
  EXPECT_THAT(text(), HasSubstr("only npm"));
  press("ebbb");
  EXPECT_THAT(text(), AllOf(HasSubstr("Not grouped"), HasSubstr(" engine/target")));
  press("bssS");
  EXPECT_THAT(text(), HasSubstr("by name, reversed"));
  press("x/zzz");
  EXPECT_THAT(text(), AllOf(HasSubstr("No finding passes the filter"), Not(HasSubstr("Frees"))));
}

TEST_F(ResultsScreenTest, FoldsAndOpensDetails) {
  press("h");
  EXPECT_THAT(text(), AllOf(HasSubstr("shop (1 item)"), Not(HasSubstr("node_modules"))));
  press("lj");
  EXPECT_EQ(press(Key::Kind::enter), (UiAction{UiAction::Kind::readProject, "/home/jo/code/shop"}));
  screen_.setProject(
      {.path = "/home/jo/code/shop", .branch = "main", .status = "2 uncommitted changes", .commit = "x"});
  EXPECT_THAT(text(),
              AllOf(HasSubstr("~/code/shop/node_modules"), HasSubstr("Back with   npm install"),
                    Not(HasSubstr(" of 2.1 GB")), HasSubstr("safe, can be made again"),
                    HasSubstr("2 uncommitted changes"), HasSubstr("2 y, by the files and commits of its project"),
                    Not(HasSubstr("Project")), Not(HasSubstr("  node_modules\n"))));
  press(Key::Kind::escape);
  EXPECT_THAT(text(), Not(HasSubstr("npm install")));
  press("gg");
  EXPECT_EQ(press("o"), (UiAction{UiAction::Kind::openFolder, "/home/jo/code/shop"}));
}

TEST_F(ResultsScreenTest, FollowsARunningScan) {
  state_.scan = {.isRunning = true, .entries = 41207, .findings = 5};
  EXPECT_THAT(text(), AllOf(HasSubstr("scanning… 41,207 entries, 5 findings"), HasSubstr("Esc stop")));
  EXPECT_EQ(press(Key::Kind::escape).kind, UiAction::Kind::stopScan);
  EXPECT_EQ(screen_.handle({.kind = Key::Kind::click, .at = {4, 20}}, state_).kind, UiAction::Kind::none);
  EXPECT_EQ(state_.cursor.line(), 1U);
}

Review reviewOf() {
  Review review;
  const auto item = [](const char* label, ArtifactSafetyTier tier) {
    ReviewItem made;
    made.path = made.place = std::string("~/code/") + label;
    made.label = label;
    made.tier = tier;
    made.freeableBytes = 3 << 20;
    made.hint = std::string("hint of ") + label;
    return made;
  };
  review.parts = {
      {ArtifactSafetyTier::safe, "Safe", {item("target", ArtifactSafetyTier::safe)}, 3 << 20},
      {ArtifactSafetyTier::warning, "Irreversible", {item("sessions", ArtifactSafetyTier::warning)}, 3 << 20}};
  review.parts[1].items[0].isHeldBack = true;
  review.byTools = {item("image", ArtifactSafetyTier::caution)};
  review.byTools[0].command = "docker image rm x";
  review.refused = {{.id = 1, .path = "/v", .place = "~/v", .label = ".venv", .reason = "is in use by python3 (4121)"}};
  review.typedAnswer = "remove 1";
  review.questions = {{Remover::tidra, "Move 1 item (3 MB) to the trash?", 1},
                      {Remover::tool, "Let docker remove 1 item?", 1}};
  review.effect = "1 item goes to the trash and frees 3 MB once it is emptied.";
  review.besides = TrashContents{.entries = 4, .bytes = 1 << 20};
  return review;
}

class ReviewScreenTest : public testing::Test {
 protected:
  ReviewScreenTest() {
    screen_.begin(4, {});
    screen_.show(reviewOf(), {{DisposalMethod::trash, "", "", ""},
                              {DisposalMethod::quarantine, "", "", "The quarantine cannot be used."},
                              {DisposalMethod::delete_, "", "", ""}});
  }
  std::string text(ScreenSize size = {80, 24}) {
    Frame frame(size);
    screen_.draw(Canvas(frame, glyphs_), state_);
    return frame.text();
  }
  ReviewScreen::Answer press(std::string_view keys) {
    ReviewScreen::Answer answer;
    for (const char key : keys)
      answer =
          screen_.handle(key == '\r' ? Key{.kind = Key::Kind::enter} : Key::of(static_cast<char32_t>(key)), state_);
    return answer;
  }

  ScreenGlyphs glyphs_;
  UiState state_;
  ReviewScreen screen_;
};

TEST_F(ReviewScreenTest, ShowsTiersRefusalsAndTheQuestion) {
  for (const ScreenSize size : {ScreenSize{80, 24}, ScreenSize{120, 40}, ScreenSize{60, 20}}) {
    const std::string shown = text(size);
    EXPECT_THAT(shown, AllOf(HasSubstr("Review"), testing::ContainsRegex("safe +3 MB +target +~/code/target"),
                             HasSubstr("type \"remove 1\""), HasSubstr("docker image rm x"),
                             HasSubstr("it is in use by python3 (4121)"), HasSubstr("4 other entries (1 MB)"),
                             HasSubstr("Move 1 item (3 MB) to the trash? [y/N]")))
        << shown;
  }
}

TEST_F(ReviewScreenTest, AsksForEachRemoverAndTakesNoAsDefault) {
  struct Case {
    const char* keys;
    ReviewScreen::Wish wish;
    UiAction::Kind action;
    bool own, tool;
  };
  using Wish = ReviewScreen::Wish;
  using Kind = UiAction::Kind;
  for (const Case& one : std::vector<Case>{{"yy", Wish::start, Kind::none, true, true},
                                           {"yn", Wish::start, Kind::none, true, false},
                                           {"y\r", Wish::start, Kind::none, true, false},
                                           {"ny", Wish::start, Kind::none, false, true},
                                           {"nn", Wish::none, Kind::back, false, false},
                                           {"\r\r", Wish::none, Kind::back, false, false},
                                           {"d a1", Wish::none, Kind::none, false, false},
                                           {"q", Wish::none, Kind::back, false, false}}) {
    screen_.show(reviewOf(), {});
    const ReviewScreen::Answer answer = press(one.keys);
    EXPECT_EQ(answer.wish, one.wish) << one.keys;
    EXPECT_EQ(answer.action.kind, one.action) << one.keys;
    EXPECT_EQ(screen_.includes(Remover::tidra), one.own) << one.keys;
    EXPECT_EQ(screen_.includes(Remover::tool), one.tool) << one.keys;
  }
}

TEST_F(ReviewScreenTest, TakesATypedWordForWhatDoesNotComeBack) {
  EXPECT_EQ(press("remove 2\r").wish, ReviewScreen::Wish::none);
  EXPECT_FALSE(screen_.choice().includesIrreversible);
  EXPECT_THAT(state_.notice, HasSubstr("nothing was included"));
  press("r");
  for (const char c : std::string_view("emove 1"))
    screen_.handle({.kind = Key::Kind::character, .character = static_cast<char32_t>(c), .isPasted = true}, state_);
  EXPECT_EQ(press("\r").wish, ReviewScreen::Wish::none);
  EXPECT_EQ(press("remove 1\r").wish, ReviewScreen::Wish::choiceChanged);
  EXPECT_TRUE(screen_.choice().includesIrreversible);
}

TEST_F(ReviewScreenTest, SwitchesToAPossibleMethod) {
  EXPECT_EQ(press("m").wish, ReviewScreen::Wish::choiceChanged);
  EXPECT_EQ(screen_.choice().method, DisposalMethod::delete_);
  EXPECT_THAT(text(), HasSubstr("deleted for good"));
  EXPECT_EQ(press("m").wish, ReviewScreen::Wish::choiceChanged);
  EXPECT_EQ(screen_.choice().method, DisposalMethod::trash);
}

TEST(HelpScreen, ShowsEveryKeyAndScrolls) {
  HelpScreen help;
  const ScreenGlyphs glyphs;
  Frame tall({80, 60});
  help.draw(Canvas(tall, glyphs));
  for (const KeyBinding& row : keyBindings()) EXPECT_THAT(tall.text(), HasSubstr(std::string(row.keys)));
  EXPECT_THAT(tall.text(), HasSubstr("irreversible  does not come back"));
  Frame small({80, 20});
  help.draw(Canvas(small, glyphs));
  EXPECT_THAT(small.text(), Not(HasSubstr("does not come back")));
  EXPECT_EQ(help.handle(Key::of(U'G')).kind, UiAction::Kind::none);
  Frame scrolled({80, 20});
  help.draw(Canvas(scrolled, glyphs));
  EXPECT_THAT(scrolled.text(), HasSubstr("does not come back"));
  EXPECT_EQ(help.handle({.kind = Key::Kind::escape}).kind, UiAction::Kind::back);
}

TEST(SummaryScreen, NamesFailuresAndTheWayBack) {
  RemovalSummary summary;
  summary.freedBytes = 3 << 20;
  summary.removed = 2;
  summary.stored = {{DisposalMethod::trash, 2, 3 << 20}};
  summary.notes = {"a remainder"};
  summary.failures = {{"/home/jo/x", "Permission denied"}};
  SummaryScreen screen;
  screen.show(summary, {"a note"});
  Frame frame({80, 24});
  UiState state;
  state.home = "/home/jo";
  screen.draw(Canvas(frame, ScreenGlyphs::ascii()), state);
  EXPECT_THAT(frame.text(), AllOf(HasSubstr("1 item stays:"), HasSubstr("~/x"), HasSubstr("Permission denied"),
                                  HasSubstr("a remainder"), HasSubstr("a note"), HasSubstr("u undo")));
  EXPECT_EQ(screen.handle(Key::of(U'u')).kind, UiAction::Kind::undo);
}

}  // namespace
}  // namespace tidra
