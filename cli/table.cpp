#include "cli/table.h"

#include <algorithm>
#include <numeric>

#include "core/base/text.h"

namespace tidra {
namespace {

constexpr std::size_t gap = 2;      // blanks between columns
constexpr std::size_t widest = 32;  // maximum of every column but the last on a terminal
constexpr std::size_t least = 8;    // of a column of text that is cut
constexpr std::size_t leastPath = 20;

std::size_t leastOf(const TextTable::Column& column) {
  return column.cut == TextTable::Cut::middle ? leastPath : least;
}

bool mayBeCut(const TextTable::Column& column) { return !column.isNumeric && column.cut != TextTable::Cut::never; }

std::size_t totalOf(const std::vector<std::size_t>& widths) {
  return std::accumulate(widths.begin(), widths.end(), gap * (widths.size() - 1));
}

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
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    std::size_t width = displayWidth(columns_[i].title);
    for (const auto& row : rows_) width = std::max(width, displayWidth(row[i].text));
    if (terminal.isTerminal && i + 1 < columns_.size() && mayBeCut(columns_[i])) width = std::min(width, widest);
    widths.push_back(width);
  }
  if (!terminal.isTerminal) return widths;
  // Narrow the widest text until everything fits; figures and dates stay whole.
  while (totalOf(widths) > terminal.columns) {
    std::size_t chosen = columns_.size();
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (!mayBeCut(columns_[i]) || widths[i] <= leastOf(columns_[i])) continue;
      if (chosen == columns_.size() || widths[i] >= widths[chosen]) chosen = i;
    }
    if (chosen == columns_.size()) return {};
    --widths[chosen];
  }
  return widths;
}

/// A line a cell, "title: text", and a blank line behind each row.
std::string TextTable::listText(const TerminalFacts& terminal) const {
  const Style style(terminal.colored);
  std::string text;
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (row[i].text.empty()) continue;
      const std::string title = columns_[i].title.empty() ? "" : columns_[i].title + ": ";
      for (const std::string& line : wrapped(title + row[i].text, terminal.columns)) {
        text += toned(style, row[i].tone, line) + "\n";
      }
    }
    text += "\n";
  }
  return text;
}

std::string TextTable::text(const TerminalFacts& terminal) const {
  const std::vector<std::size_t> width = widths(terminal);
  if (width.empty()) return listText(terminal);
  const Style style(terminal.colored);
  std::string text;
  const auto addLine = [&](auto&& cellAt, auto&& toneAt) {
    std::string line;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const bool isCutInside = columns_[i].cut == Cut::middle;
      const std::string shown = isCutInside ? fittedInside(cellAt(i), width[i]) : fitted(cellAt(i), width[i]);
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
