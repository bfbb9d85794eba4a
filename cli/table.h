// Rows of text in columns that are as wide as they need to be.
#pragma once

#include <string>
#include <vector>

#include "cli/terminal.h"

namespace tidra {

class TextTable {
 public:
  enum class Tone { plain, good, attention, bad };

  struct Column {
    std::string title;
    bool isNumeric = false;  // stands on the right
  };

  struct Cell {
    Cell(std::string shown) : text(std::move(shown)) {}
    Cell(const char* shown) : text(shown) {}
    Cell(std::string shown, Tone chosen) : text(std::move(shown)), tone(chosen) {}

    std::string text;  // already safe for a terminal
    Tone tone = Tone::plain;
  };

  explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// As many cells as there are columns.
  void add(std::vector<Cell> row) { rows_.push_back(std::move(row)); }

  /// The titles and the rows, a line each. On a terminal long texts are cut; elsewhere they are complete.
  std::string text(const TerminalFacts& terminal) const;

 private:
  std::vector<std::size_t> widths(const TerminalFacts& terminal) const;

  std::vector<Column> columns_;
  std::vector<std::vector<Cell>> rows_;
};

/// A text in a tone.
std::string toned(const Style& style, TextTable::Tone tone, std::string_view text);

}  // namespace tidra
