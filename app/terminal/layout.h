// Where the parts of a screen stand, by its size.
#pragma once

#include <cstddef>
#include <optional>

#include "app/terminal/frame.h"

namespace tidra {

/// In cells, from the upper left corner of what contains it.
struct Rectangle {
  std::size_t column = 0;
  std::size_t row = 0;
  std::size_t columns = 0;
  std::size_t rows = 0;

  bool operator==(const Rectangle&) const = default;
};

/// Header, content and two footer lines; the content of results has a list and, if wide enough, details.
struct ScreenLayout {
  Rectangle header;
  Rectangle content;
  Rectangle footer;
  Rectangle list;                   // within the screen, as the others
  std::optional<Rectangle> detail;  // absent in fewer than 100 columns
  std::size_t headerRule = 0;       // the row of the line below the header

  /// nullopt below 40 × 10.
  static std::optional<ScreenLayout> of(ScreenSize size);

  bool operator==(const ScreenLayout&) const = default;
};

/// The first row that is shown of `total`, so that `chosen` is visible: it moves as little as possible from `former`.
std::size_t firstVisible(std::size_t former, std::size_t chosen, std::size_t total, std::size_t visible);

/// The columns of a line of results. A width of 0 leaves the column out.
struct ResultColumns {
  std::size_t sizeEnd = 0;  // sizes align right
  std::size_t bar = 0;
  std::size_t barWidth = 0;
  std::size_t name = 0;
  std::size_t nameWidth = 0;
  std::size_t age = 0;
  std::size_t ageWidth = 0;
  std::size_t word = 0;  // activity or tier
  std::size_t wordWidth = 0;

  static ResultColumns of(std::size_t columns);

  bool operator==(const ResultColumns&) const = default;
};

}  // namespace tidra
