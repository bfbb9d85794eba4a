// What a screen looks like, cell by cell, before it goes to a terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tidra {

/// Both in cells.
struct ScreenSize {
  std::size_t columns = 80;
  std::size_t rows = 24;

  bool operator==(const ScreenSize&) const = default;
};

/// The meaning of a colour. Words or marks say the same beside it.
enum class Ink : std::uint8_t { plain, faint, accent, good, attention, bad };

struct Look {
  Ink ink = Ink::plain;
  bool bold = false;
  bool reverse = false;

  bool operator==(const Look&) const = default;
};

struct Cell {
  std::string text = " ";  // one character with its combining marks, in UTF-8; empty: the second half of a wide one
  Look look;

  bool operator==(const Cell&) const = default;
};

struct CellPosition {
  std::size_t row = 0;
  std::size_t column = 0;

  bool operator==(const CellPosition&) const = default;
};

/// A value: equal frames look the same.
class Frame {
 public:
  explicit Frame(ScreenSize size = {0, 0}) : size_(size), cells_(size.columns * size.rows) {}

  ScreenSize size() const { return size_; }
  const Cell& at(std::size_t row, std::size_t column) const { return cells_[row * size_.columns + column]; }
  Cell& at(std::size_t row, std::size_t column) { return cells_[row * size_.columns + column]; }

  /// The text of a row without trailing blanks.
  std::string line(std::size_t row) const;
  /// All rows, each with a line feed.
  std::string text() const;

  std::optional<CellPosition> cursor;  // where the user types; absent: hidden

  bool operator==(const Frame&) const = default;

 private:
  ScreenSize size_;
  std::vector<Cell> cells_;
};

}  // namespace tidra
