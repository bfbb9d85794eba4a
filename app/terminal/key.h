// What a person does at a terminal.
#pragma once

#include "app/terminal/frame.h"

namespace tidra {

struct Key {
  enum class Kind {
    character,
    control,  // Ctrl with the letter `character`
    up,
    down,
    left,
    right,
    pageUp,
    pageDown,
    home,
    end,
    enter,
    escape,
    backspace,
    delete_,
    tab,
    click,  // of the left button at `at`
    doubleClick,
    wheelUp,
    wheelDown,
    unknown,
  };

  Kind kind = Kind::unknown;
  char32_t character = 0;
  CellPosition at = {};
  bool isPasted = false;  // text that no finger typed: for prompts only, never a command
  bool isHasty = false;   // came with other keys at once, or again and again from one held down: answers no question

  static Key of(char32_t character) { return {.kind = Kind::character, .character = character}; }
  static Key ctrl(char letter) { return {.kind = Kind::control, .character = static_cast<char32_t>(letter)}; }

  bool operator==(const Key&) const = default;
};

}  // namespace tidra
