// The cursor of a plain list that scrolls.
#pragma once

#include <algorithm>
#include <cstddef>

#include "app/terminal/keymap.h"
#include "app/terminal/layout.h"

namespace tidra {

class ListCursor {
 public:
  std::size_t line() const { return line_; }

  /// Stays within the list.
  void setTotal(std::size_t total) {
    total_ = total;
    line_ = std::min(line_, total == 0 ? 0 : total - 1);
  }
  /// The first line to show of those that fit.
  std::size_t firstOf(std::size_t visible) {
    visible_ = std::max<std::size_t>(visible, 1);
    first_ = firstVisible(first_, line_, total_, visible_);
    return first_;
  }
  /// Returns whether there is such a line.
  bool moveTo(std::size_t line) {
    if (line >= total_) return false;
    line_ = line;
    return true;
  }
  void move(Command command) {
    const std::size_t last = total_ == 0 ? 0 : total_ - 1;
    if (command == Command::up) line_ -= std::min<std::size_t>(line_, 1);
    if (command == Command::down) line_ = std::min(line_ + 1, last);
    if (command == Command::pageUp) line_ -= std::min(line_, visible_);
    if (command == Command::pageDown) line_ = std::min(line_ + visible_, last);
    if (command == Command::first) line_ = 0;
    if (command == Command::last) line_ = last;
  }

 private:
  std::size_t line_ = 0;
  std::size_t total_ = 0;
  std::size_t first_ = 0;
  std::size_t visible_ = 1;
};

}  // namespace tidra
