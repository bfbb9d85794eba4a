// Screens as lines that are read out or printed one after the other.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "app/terminal/text_lines.h"
#include "app/terminal/ui_state.h"

namespace tidra {

/// Lines are not broken; terminals and readers do that.
inline constexpr std::size_t columnsOfPlainText = 10000;

/// The pieces of a line with blanks between them.
std::string plainText(const ScreenLine& line);
std::vector<std::string> plainTexts(const std::vector<ScreenLine>& lines);

/// The lines of the list from `first` on, at most `count`, each with its number: "3. marked, 2.1 GB, target, safe, idle
/// 2 y".
std::vector<std::string> numberedLines(const UiState& state, std::size_t first, std::size_t count);

}  // namespace tidra
