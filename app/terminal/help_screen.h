// Keys, from the table of the keymap, and what the words mean.
#pragma once

#include "app/terminal/text_lines.h"
#include "app/terminal/ui_action.h"

namespace tidra {

class HelpScreen {
 public:
  void draw(Canvas canvas);
  UiAction handle(const Key& key);

 private:
  ScrolledLines scroll_;
};

}  // namespace tidra
