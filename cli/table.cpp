#include "cli/table.h"

#include <algorithm>

#include "core/base/text.h"

namespace tidra {
namespace {

constexpr std::size_t gap = 2;      // blanks between columns
constexpr std::size_t widest = 32;  // maximum of every column but the last on a terminal
constexpr std::size_t least = 8;    // minimum of the last column

}  // namespace

std::string toned(const Style& style, TextTable::Tone tone, std::string_view text) {
  switch (tone) {
    case TextTable::Tone::plain:
      return std::string(text);
    case TextTable::Tone::good:
      return style.tier(ArtifactSafetyTier::safe, text);
    case TextTable::Tone::attention:
      return style.tier(ArtifactSafetyTier::caution, text);
    case TextTable::Tone::bad:
      return style.tier(ArtifactSafetyTier::warning, text);
  }
  return std::string(text);
}

std::vector<std::size_t> TextTable::widths(const TerminalFacts& terminal) const {
  std::vector<std::size_t> widths;
  std::size_t used = 0;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    std::size_t width = displayWidth(columns_[i].title);
    for (const auto& row : rows_) width = std::max(width, displayWidth(row[i].text));
    const bool isLast = i + 1 == columns_.size();
    if (terminal.isTerminal) {
      const std::size_t left = terminal.columns > used + least ? terminal.columns - used : least;
      width = std::min(width, isLast ? left : widest);
    }
    widths.push_back(width);
    used += width + gap;
  }
  return widths;
}

std::string TextTable::text(const TerminalFacts& terminal) const {
  const std::vector<std::size_t> width = widths(terminal);
  const Style style(terminal.colored);
  std::string text;
  const auto addLine = [&](auto&& cellAt, auto&& toneAt) {
    std::string line;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const std::string shown = fitted(cellAt(i), width[i]);
      if (i > 0) line += std::string(gap, ' ');
      // Lines end at the last text: do not pad the last column.
      const bool isOpen = i + 1 == columns_.size() && !columns_[i].isNumeric;
      const std::string padded = columns_[i].isNumeric ? paddedLeft(shown, width[i])
                                 : isOpen              ? shown
                                                       : paddedRight(shown, width[i]);
      line += toneAt(i, padded);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  };
  addLine([&](std::size_t i) { return columns_[i].title; },
          [&](std::size_t, const std::string& shown) { return style.dim(shown); });
  for (const auto& row : rows_) {
    addLine([&](std::size_t i) { return row[i].text; },
            [&](std::size_t i, const std::string& shown) { return toned(style, row[i].tone, shown); });
  }
  return text;
}

}  // namespace tidra
