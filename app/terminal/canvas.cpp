#include "app/terminal/canvas.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/base/display_text.h"
#include "core/base/text.h"

namespace tidra {

ScreenGlyphs ScreenGlyphs::ascii() {
  return {.isUtf8 = false,
          .ellipsis = "...",
          .cursor = ">",
          .marked = "*",
          .partlyMarked = "-",
          .folded = "+",
          .horizontal = "-",
          .vertical = "|",
          .dot = "-"};
}

ScreenGlyphs ScreenGlyphs::of(std::string_view locale) {
  const std::string name = asciiLowered(locale);
  const bool isUtf8 = name.find("utf-8") != std::string::npos || name.find("utf8") != std::string::npos;
  return isUtf8 ? ScreenGlyphs{} : ascii();
}

Canvas Canvas::part(const Rectangle& area) const {
  const std::size_t column = std::min(area.column, area_.columns);
  const std::size_t row = std::min(area.row, area_.rows);
  return {frame_,
          glyphs_,
          {.column = area_.column + column,
           .row = area_.row + row,
           .columns = std::min(area.columns, area_.columns - column),
           .rows = std::min(area.rows, area_.rows - row)}};
}

std::size_t Canvas::putCells(std::size_t row, std::size_t column, std::string_view text, Look look) {
  if (row >= area_.rows) return column;
  for (const std::string_view character : displayCharacters(text)) {
    const std::size_t width = displayWidth(character);
    if (width == 0) continue;  // a combining mark without a character
    if (column + width > area_.columns) break;
    for (std::size_t i = 0; i < width; ++i) {
      frame_.at(area_.row + row, area_.column + column + i) = {std::string(i == 0 ? character : ""), look};
    }
    column += width;
  }
  return column;
}

std::string Canvas::screenText(std::string_view text) const {
  std::string shown = escapedForTerminal(text);
  if (glyphs_.isUtf8) return shown;
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 8> marks{
      {{"·", "-"}, {"–", "-"}, {"—", "-"}, {"…", "..."}, {"→", "Right"}, {"←", "Left"}, {"↑", "Up"}, {"↓", "Down"}}};
  for (const auto& [mark, ascii] : marks) {
    for (auto at = shown.find(mark); at != std::string::npos; at = shown.find(mark, at))
      shown.replace(at, mark.size(), ascii);
  }
  return shown;
}

std::size_t Canvas::put(std::size_t row, std::size_t column, std::string_view text, Look look) {
  return putCells(row, column, screenText(text), look);
}

std::size_t Canvas::putFitted(std::size_t row, std::size_t column, std::size_t width, std::string_view text, Look look,
                              Cut cut) {
  if (column >= area_.columns) return column;
  width = std::min(width, area_.columns - column);
  const std::string shown = screenText(text);
  return putCells(
      row, column,
      cut == Cut::inside ? cutInside(shown, width, glyphs_.ellipsis) : cutAtEnd(shown, width, glyphs_.ellipsis), look);
}

void Canvas::putRight(std::size_t row, std::size_t end, std::string_view text, Look look) {
  const std::string shown = screenText(text);
  const std::size_t width = displayWidth(shown);
  putCells(row, end > width ? end - width : 0, shown, look);
}

std::size_t Canvas::putParagraph(std::size_t row, std::size_t column, std::string_view text, Look look) {
  if (column >= area_.columns) return row;
  for (const std::string& line : wrappedToWidth(screenText(text), area_.columns - column))
    putCells(row++, column, line, look);
  return row;
}

void Canvas::putBar(std::size_t row, std::size_t column, std::size_t width, double share, Look look) {
  constexpr std::array<std::string_view, 8> parts{"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
  const auto eighths =
      static_cast<std::size_t>(std::lround(std::clamp(share, 0.0, 1.0) * static_cast<double>(width * 8)));
  std::string bar;
  for (std::size_t i = 0; i < eighths / 8; ++i) bar += glyphs_.isUtf8 ? "█" : "#";
  if (glyphs_.isUtf8) bar += parts[eighths % 8];
  putCells(row, column, bar, look);
}

void Canvas::putRule(std::size_t row, Look look) {
  for (std::size_t column = 0; column < area_.columns; ++column) putCells(row, column, glyphs_.horizontal, look);
}

void Canvas::putColumn(std::size_t column, Look look) {
  for (std::size_t row = 0; row < area_.rows; ++row) putCells(row, column, glyphs_.vertical, look);
}

void Canvas::setCursor(std::size_t row, std::size_t column) {
  if (row < area_.rows && column < area_.columns) frame_.cursor = CellPosition{area_.row + row, area_.column + column};
}

}  // namespace tidra
