// A text table with columns as wide as needed.
#pragma once

#include <string>
#include <vector>

#include "cli/terminal.h"

namespace tidra {

class TextTable {
 public:
  enum class Tone { plain, good, attention, bad };
  enum class Cut { end, middle, never };

  struct Column {
    std::string title;
    bool isNumeric = false;  // aligned right, never cut
    Cut cut = Cut::end;      // where a long text is cut; paths in the middle
  };

  struct Cell {
    Cell(std::string shown) : text(std::move(shown)) {}
    Cell(const char* shown) : text(shown) {}
    Cell(std::string shown, Tone chosen) : text(std::move(shown)), tone(chosen) {}

    std::string text;  // already escaped for terminals
    Tone tone = Tone::plain;
  };

  explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// `row` has one cell a column.
  void add(std::vector<Cell> row) { rows_.push_back(std::move(row)); }

  /// Titles and rows, a line each. Long texts are cut on a terminal only; one that is too narrow for what must stay
  /// readable gets a line a cell instead.
  std::string text(const TerminalFacts& terminal) const;

 private:
  /// Empty when the columns do not fit.
  std::vector<std::size_t> widths(const TerminalFacts& terminal) const;
  std::string listText(const TerminalFacts& terminal) const;

  std::vector<Column> columns_;
  std::vector<std::vector<Cell>> rows_;
};

/// A text in a tone.
std::string toned(const Style& style, TextTable::Tone tone, std::string_view text);

}  // namespace tidra
