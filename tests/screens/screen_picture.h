// A terminal's cells as a picture.
#pragma once

#include <string>

#include "tests/support/virtual_terminal.h"

namespace tidra {

enum class PictureTheme { light, dark };

/// In SVG. Text stays text, in runs that begin at the place of their cells and have their width in any font; blocks and
/// lines are drawn as shapes, without gaps between the rows. `title` stands in the window's frame.
std::string pictureOf(const VirtualTerminal& terminal, TerminalSize size, const std::string& title, PictureTheme theme);

}  // namespace tidra
