#include "app/terminal/layout.h"

#include <algorithm>

namespace tidra {
namespace {

constexpr ScreenSize fewestCells{40, 10};
constexpr std::size_t columnsForDetail = 100;

}  // namespace

std::optional<ScreenLayout> ScreenLayout::of(ScreenSize size) {
  if (size.columns < fewestCells.columns || size.rows < fewestCells.rows) return std::nullopt;
  ScreenLayout layout;
  layout.header = {0, 0, size.columns, 1};
  layout.headerRule = 1;
  layout.content = {0, 2, size.columns, size.rows - 4};
  layout.footer = {0, size.rows - 2, size.columns, 2};
  layout.list = layout.content;
  if (size.columns >= columnsForDetail) {
    const std::size_t listColumns = size.columns * 58 / 100;
    layout.list.columns = listColumns;
    layout.detail = Rectangle{listColumns + 2, 2, size.columns - listColumns - 2, layout.content.rows};
  }
  return layout;
}

std::size_t firstVisible(std::size_t former, std::size_t chosen, std::size_t total, std::size_t visible) {
  if (visible == 0 || total <= visible) return 0;
  std::size_t first = std::min(former, total - visible);
  first = std::min(first, chosen);
  if (chosen >= first + visible) first = chosen - visible + 1;
  return first;
}

ResultColumns ResultColumns::of(std::size_t columns) {
  ResultColumns widths;
  constexpr std::size_t marks = 3;  // cursor, mark, blank
  constexpr std::size_t size = 8;
  widths.sizeEnd = marks + size;
  std::size_t next = widths.sizeEnd + 1;
  const bool hasBar = columns >= 56;
  widths.bar = next;
  widths.barWidth = hasBar ? 10 : 0;
  if (hasBar) next += widths.barWidth + 1;
  widths.wordWidth = columns >= 48 ? 12 : 0;
  widths.ageWidth = 5;
  widths.name = next;
  constexpr std::size_t margin = 1;  // to the edge, or to the line before the details
  std::size_t behind = widths.ageWidth + 1 + margin;
  if (widths.wordWidth > 0) behind += widths.wordWidth + 1;
  widths.nameWidth = columns > next + behind ? columns - next - behind : 0;
  widths.age = next + widths.nameWidth + 1;
  widths.word = widths.age + widths.ageWidth + 1;
  return widths;
}

}  // namespace tidra
