#include "cli/help_text.h"

#include "cli/terminal.h"
#include "core/base/text.h"

namespace tidra {
namespace {

constexpr std::size_t indentOfMore = 6;  // of what has no room beside its beginning

std::string wrappedLines(std::string_view text, std::size_t indent, std::size_t columns) {
  TerminalFacts terminal;
  terminal.isTerminal = true;
  terminal.columns = columns;
  return paragraph(text, terminal, indent);
}

/// Where the second column of "  --json     Print…" begins; npos if there is none.
std::size_t secondColumn(std::string_view line) {
  const auto first = line.find_first_not_of(' ');
  const auto gap = line.find("  ", first);
  return gap == std::string_view::npos ? gap : line.find_first_not_of(' ', gap);
}

std::string fittedLine(const std::string& line, bool isExample, std::size_t columns) {
  constexpr std::size_t leastRoom = 24;
  if (displayWidth(line) <= columns) return line + '\n';
  const auto second = secondColumn(line);
  if (line.front() != ' ') return wrappedLines(line, 0, columns);
  if (second == std::string::npos) {
    return isExample ? line + '\n' : wrappedLines(line, line.find_first_not_of(' '), columns);
  }
  const std::string left = line.substr(0, line.find_last_not_of(' ', second - 1) + 1);
  const std::string text = line.substr(second);
  if (isExample || second + leastRoom > columns) return left + '\n' + wrappedLines(text, indentOfMore, columns);
  return line.substr(0, second) + wrappedLines(text, second, columns).substr(second);
}

}  // namespace

std::string fittedHelp(std::string_view help, std::size_t columns) {
  std::string fitted;
  bool isExample = false;
  bool afterBlank = false;
  for (const std::string_view line : split(help, '\n')) {
    if (line == "Examples:") isExample = true;
    if (line.empty() && afterBlank) continue;
    afterBlank = line.empty();
    fitted += fittedLine(std::string(line), isExample, columns);
  }
  // The last line feed ended a line, and began no empty one.
  if (fitted.ends_with("\n\n")) fitted.pop_back();
  return fitted;
}

}  // namespace tidra
