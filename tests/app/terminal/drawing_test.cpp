// Frames, layouts, colours and keys, without a terminal.
#include <gmock/gmock.h>

#include <cmath>
#include <set>

#include "app/terminal/canvas.h"
#include "app/terminal/keymap.h"
#include "app/terminal/layout.h"
#include "app/terminal/theme.h"
#include "core/base/display_text.h"
#include "core/base/text.h"

namespace tidra {
namespace {

TEST(Canvas, ClipsAndEscapesForeignText) {
  struct Case {
    std::string text;
    std::string atEnd;
    std::string inside;
  };
  const ScreenGlyphs glyphs;
  for (const Case& one : std::vector<Case>{{"short", "short", "short"},
                                           {"0123456789", "0123456…", "01…56789"},
                                           {"日本語日本語", "日本語…", "日…本語"},
                                           {"a\x1b[2Jbcd", "a\\x1b[2…", "a\\…2Jbcd"},
                                           {"\xff\xfe\xfd", "\\xff\\xf…", "\\x…e\\xfd"},
                                           {"e\xCC\x81"
                                            "12345678",
                                            "e\xCC\x81"
                                            "123456…",
                                            "e\xCC\x81"
                                            "1…45678"}}) {
    Frame frame({8, 3});
    Canvas canvas(frame, glyphs);
    canvas.putFitted(0, 0, 99, one.text);
    canvas.putFitted(1, 0, 99, one.text, {}, Canvas::Cut::inside);
    canvas.put(2, 0, one.text);
    EXPECT_EQ(frame.line(0), one.atEnd);
    EXPECT_EQ(frame.line(1), one.inside);
    EXPECT_LE(displayWidth(frame.line(2)), 8U);
  }
}

TEST(Canvas, StaysInItsPart) {
  for (const ScreenGlyphs& glyphs : {ScreenGlyphs{}, ScreenGlyphs::ascii()}) {
    Frame frame({12, 5});
    Canvas part = Canvas(frame, glyphs).part({4, 1, 5, 2}).part({1, 0, 99, 99});
    const Frame untouched = frame;
    part.put(2, 0, "below");
    part.put(0, 9, "right");
    part.setCursor(2, 0);
    EXPECT_EQ(frame, untouched);
    part.putParagraph(0, 0, "日本 · wide and long words");
    part.putBar(1, 0, 9, 0.99);
    part.putRule(0);
    part.putColumn(3);
    part.putRight(1, 4, "1234567");
    part.setCursor(1, 3);
    EXPECT_EQ(frame.cursor, (CellPosition{2, 8}));
    for (std::size_t row = 0; row < 5; ++row) {
      for (std::size_t column = 0; column < 12; ++column) {
        const bool inside = row >= 1 && row < 3 && column >= 5 && column < 9;
        EXPECT_TRUE(inside || frame.at(row, column) == Cell{}) << row << ' ' << column;
      }
    }
    EXPECT_EQ(frame.line(1).substr(5), glyphs.isUtf8 ? "───│" : "---|");
  }
}

TEST(Canvas, DrawsBarsInEighths) {
  const ScreenGlyphs glyphs;
  for (const auto& [share, bar] : std::vector<std::pair<double, std::string>>{
           {0, ""}, {0.5, "██"}, {0.53125, "██▏"}, {0.99, "████"}, {7, "████"}, {-1, ""}}) {
    Frame frame({9, 1});
    Canvas(frame, glyphs).putBar(0, 0, 4, share);
    EXPECT_EQ(frame.line(0), bar) << share;
  }
}

TEST(DisplayText, BreaksAndCutsAtAnyWidth) {
  for (const std::string& text :
       {std::string("one two  three"), std::string("日本語 e\xCC\x81\xCC\x82 x"), std::string()}) {
    for (std::size_t width = 0; width < 16; ++width) {
      EXPECT_LE(displayWidth(cutAtEnd(text, width, "...")), width);
      EXPECT_LE(displayWidth(cutInside(text, width, "…")), width);
      std::string whole;
      for (const std::string& line : wrappedToWidth(text, width)) {
        EXPECT_LE(displayWidth(line), std::max<std::size_t>(width, 2)) << text;
        whole += line;
      }
      std::erase(whole, ' ');
      std::string expected = text;
      std::erase(expected, ' ');
      EXPECT_EQ(whole, expected);
    }
  }
}

TEST(ScreenLayout, HasItsPartsAtEverySize) {
  EXPECT_EQ(ScreenLayout::of({39, 24}), std::nullopt);
  EXPECT_EQ(ScreenLayout::of({80, 9}), std::nullopt);
  for (std::size_t columns = 40; columns < 240; ++columns) {
    for (const std::size_t rows : {10U, 24U, 60U}) {
      const auto layout = ScreenLayout::of({columns, rows});
      ASSERT_TRUE(layout);
      EXPECT_EQ(layout->content.rows + 4, rows);
      EXPECT_EQ(layout->footer, (Rectangle{0, rows - 2, columns, 2}));
      EXPECT_EQ(layout->detail.has_value(), columns >= 100);
      EXPECT_EQ(layout->detail ? layout->detail->column + layout->detail->columns : columns, columns);
      const ResultColumns widths = ResultColumns::of(layout->list.columns);
      EXPECT_GE(widths.nameWidth, 13U) << columns;
      const std::size_t end = widths.wordWidth > 0 ? widths.word + widths.wordWidth : widths.age + widths.ageWidth;
      EXPECT_LT(end, layout->list.columns) << columns;
    }
  }
}

TEST(FirstVisible, ShowsTheChosenLineAndMovesLittle) {
  struct Case {
    std::size_t former, chosen, total, visible, first;
  };
  for (const Case& one : std::vector<Case>{{0, 0, 0, 5, 0},
                                           {3, 2, 5, 5, 0},
                                           {0, 5, 9, 5, 1},
                                           {4, 3, 9, 5, 3},
                                           {2, 4, 9, 5, 2},
                                           {8, 8, 9, 5, 4},
                                           {3, 3, 9, 0, 0}}) {
    EXPECT_EQ(firstVisible(one.former, one.chosen, one.total, one.visible), one.first);
  }
}

/// By the definition of WCAG 2.
double contrast(double luminance, double other) {
  return (std::max(luminance, other) + 0.05) / (std::min(luminance, other) + 0.05);
}

/// Of a colour in the fixed part of the palette.
double luminanceOf(int color) {
  const auto linear = [](int level) {
    const double share = level / 255.0;
    return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
  };
  const auto cube = [](int step) { return step == 0 ? 0 : 55 + 40 * step; };
  if (color >= 232) return linear(8 + 10 * (color - 232));
  const int place = color - 16;
  return 0.2126 * linear(cube(place / 36)) + 0.7152 * linear(cube(place / 6 % 6)) + 0.0722 * linear(cube(place % 6));
}

TEST(Theme, IsReadableOnLightAndDark) {
  for (const Ink ink : {Ink::faint, Ink::accent, Ink::good, Ink::attention, Ink::bad}) {
    const auto color = styleOf(ink, 256).color;
    ASSERT_TRUE(color && *color >= 16);
    EXPECT_GE(contrast(luminanceOf(*color), 0), 3.8) << *color;
    EXPECT_GE(contrast(luminanceOf(*color), 1), 3.8) << *color;
    EXPECT_EQ(styleOf(ink, 0).color, std::nullopt);
  }
}

TEST(Keymap, HasEveryCommandOnceAndNoKeyThatRemoves) {
  std::set<Command> bound;
  for (const KeyBinding& row : keyBindings()) EXPECT_TRUE(bound.insert(row.command).second) << row.does;
  EXPECT_EQ(bound.size(), static_cast<std::size_t>(Command::none));
  std::set<Command> reached;
  for (char32_t c = ' '; c < 0x7F; ++c) {
    reached.insert(commandOf(Key::of(c)));
    reached.insert(commandOf(Key{.kind = Key::Kind::control, .character = c}));
    EXPECT_EQ(commandOf(Key{.kind = Key::Kind::character, .character = c, .isPasted = true}), Command::none);
  }
  for (int kind = 0; kind <= static_cast<int>(Key::Kind::unknown); ++kind)
    reached.insert(commandOf({.kind = static_cast<Key::Kind>(kind)}));
  reached.insert(Command::none);
  EXPECT_EQ(reached.size(), bound.size() + 1);
}

}  // namespace
}  // namespace tidra
