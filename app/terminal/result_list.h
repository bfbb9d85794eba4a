// The lines of the results: groups and their items.
#pragma once

#include <cstddef>
#include <optional>

#include "app/terminal/canvas.h"
#include "app/terminal/ui_state.h"

namespace tidra {

class ResultList {
 public:
  /// The first row has the titles of the columns.
  void draw(Canvas canvas, const UiState& state);

  /// Lines that fit, as last drawn.
  std::size_t visibleLines() const { return visible_; }
  /// The line of the list that was last drawn at a row of the canvas.
  std::optional<std::size_t> lineAt(std::size_t row, const UiState& state) const;

 private:
  std::size_t first_ = 0;
  std::size_t visible_ = 0;
};

}  // namespace tidra
