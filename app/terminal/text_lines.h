// A text of lines with their looks, which scrolls.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "app/terminal/canvas.h"
#include "app/terminal/keymap.h"

namespace tidra {

/// A piece of a line, at a column of its own.
struct LinePiece {
  std::size_t column = 0;
  std::size_t width = 0;  // 0: to the end of the line
  std::string text;
  Look look = {};
  bool alignsRight = false;
  Canvas::Cut cut = Canvas::Cut::atEnd;
};

using ScreenLine = std::vector<LinePiece>;

class ScrolledLines {
 public:
  void draw(Canvas canvas, const std::vector<ScreenLine>& lines);
  /// Returns whether the command scrolls.
  bool handle(Command command);
  void toTop() { first_ = 0; }

 private:
  std::size_t first_ = 0;
  std::size_t visible_ = 1;
  std::size_t total_ = 0;
};

/// A paragraph as lines.
void addParagraph(std::vector<ScreenLine>& lines, std::size_t columns, std::size_t indent, std::string_view text,
                  Look look = {});

}  // namespace tidra
