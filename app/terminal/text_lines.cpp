#include "app/terminal/text_lines.h"

#include <algorithm>

#include "core/base/display_text.h"
#include "core/base/text.h"

namespace tidra {
namespace {

void drawPiece(Canvas& canvas, std::size_t row, const LinePiece& piece) {
  if (piece.column >= canvas.columns()) return;
  const std::size_t room = canvas.columns() - piece.column;
  const std::size_t width = piece.width == 0 ? room : std::min(piece.width, room);
  if (piece.alignsRight)
    canvas.putRight(row, piece.column + width, piece.text, piece.look);
  else
    canvas.putFitted(row, piece.column, width, piece.text, piece.look, piece.cut);
}

}  // namespace

void ScrolledLines::draw(Canvas canvas, const std::vector<ScreenLine>& lines) {
  total_ = lines.size();
  visible_ = std::max<std::size_t>(canvas.rows(), 1);
  first_ = std::min(first_, total_ > visible_ ? total_ - visible_ : 0);
  for (std::size_t row = 0; row < canvas.rows() && first_ + row < total_; ++row) {
    for (const LinePiece& piece : lines[first_ + row]) drawPiece(canvas, row, piece);
  }
  if (first_ + visible_ < total_ && canvas.rows() > 0)
    canvas.putRight(canvas.rows() - 1, canvas.columns(), " more below", {.ink = Ink::faint});
}

bool ScrolledLines::handle(Command command) {
  const std::size_t last = total_ > visible_ ? total_ - visible_ : 0;
  switch (command) {
    case Command::up:
      first_ -= std::min<std::size_t>(first_, 1);
      return true;
    case Command::down:
      first_ = std::min(first_ + 1, last);
      return true;
    case Command::pageUp:
      first_ -= std::min(first_, visible_ - 1);
      return true;
    case Command::pageDown:
      first_ = std::min(first_ + std::max<std::size_t>(visible_ - 1, 1), last);
      return true;
    case Command::first:
      first_ = 0;
      return true;
    case Command::last:
      first_ = last;
      return true;
    default:
      return false;
  }
}

void addParagraph(std::vector<ScreenLine>& lines, std::size_t columns, std::size_t indent, std::string_view text,
                  Look look) {
  const std::size_t width = columns > indent ? columns - indent : 1;
  for (std::string& line : wrappedToWidth(escapedForTerminal(text), width))
    lines.push_back({{.column = indent, .text = std::move(line), .look = look}});
}

}  // namespace tidra
