// What all screens share: the header, the rule below it and the two lines at the bottom.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/terminal/canvas.h"
#include "app/terminal/keymap.h"
#include "app/terminal/layout.h"
#include "app/terminal/ui_state.h"

namespace tidra {

/// Draws "Tidra" and `title` on the left and `figures` on the right, and the rule with `remark` in it.
void drawHeader(Canvas& canvas, const ScreenLayout& layout, std::string_view title, std::string_view figures,
                std::string_view remark = {});

/// The last line: the keys of the moment, as many as fit; the last two always.
void drawKeys(Canvas& canvas, const ScreenLayout& layout, std::vector<std::pair<std::string, std::string>> keys);

/// The line above it: what is marked or the notice on the left; the scan or the removal on the right.
void drawStatus(Canvas& canvas, const ScreenLayout& layout, const UiState& state);

/// The keys and words of commands, from the keymap's table.
std::vector<std::pair<std::string, std::string>> keysOf(const std::vector<Command>& commands);

/// What stands on a terminal that is too small for the screens.
void drawTooSmall(Canvas& canvas);

}  // namespace tidra
