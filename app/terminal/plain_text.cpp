#include "app/terminal/plain_text.h"

#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {
namespace {

std::string groupText(const ResultsGroup& group, const UiState& state) {
  std::string text = group.name.string() + ", " + ByteFormatting::compact(group.freeableBytes) + ", " +
                     counted(group.count, "item", "items") + ", idle " + idleText(group.lastActivity, state.now);
  if (group.isFolded) text += ", folded";
  if (group.marked > 0) text += ", " + std::to_string(group.marked) + " marked";
  return text;
}

std::string itemText(const ResultRow& row, const UiState& state) {
  std::string text = state.selection.contains(row.id) ? "marked, " : "";
  text += ByteFormatting::compact(row.freeableBytes) + ", " + placeText(row.path, state.home) + ", " +
          asciiLowered(displayTitle(row.tier)) + ", idle " + idleText(row.lastActivity, state.now);
  if (row.mark.kind == ItemMark::Kind::kept) text += ", kept" + (row.mark.reason.empty() ? "" : ": " + row.mark.reason);
  return text;
}

}  // namespace

std::string plainText(const ScreenLine& line) {
  std::string text;
  for (const LinePiece& piece : line) {
    if (piece.text.empty()) continue;
    if (!text.empty()) text += "  ";
    text += piece.text;
  }
  return escapedForTerminal(text);
}

std::vector<std::string> plainTexts(const std::vector<ScreenLine>& lines) {
  std::vector<std::string> texts;
  for (const ScreenLine& line : lines) {
    if (!line.empty()) texts.push_back(plainText(line));
  }
  return texts;
}

std::vector<std::string> numberedLines(const UiState& state, std::size_t first, std::size_t count) {
  std::vector<std::string> texts;
  const auto& lines = state.list->lines;
  for (std::size_t i = first; i < lines.size() && i - first < count; ++i) {
    const ResultRow* item = state.list->itemOf(lines[i]);
    texts.push_back(std::to_string(i + 1) + ". " +
                    escapedForTerminal(item == nullptr ? groupText(state.list->groups[lines[i].group], state)
                                                       : itemText(*item, state)));
  }
  return texts;
}

}  // namespace tidra
