#include "tests/screens/screen_picture.h"

#include <fmt/format.h>

#include <array>
#include <map>
#include <optional>
#include <string_view>

#include "core/base/text.h"

namespace tidra {
namespace {

// In pixels.
constexpr double cellWidth = 8.4;
constexpr int cellHeight = 18;
constexpr int baseline = 13;  // below the top of a cell
constexpr int margin = 14;
constexpr int titleHeight = 34;

struct Colors {
  std::string_view text, background, frame, line, quiet;
};

Colors colorsOf(PictureTheme theme) {
  return theme == PictureTheme::light ? Colors{"#1b2422", "#ffffff", "#f4f6f5", "#d5dcd9", "#5d6b67"}
                                      : Colors{"#dce4e1", "#0f1413", "#171f1d", "#2b3633", "#8b9995"};
}

/// Of the fixed part of the palette, as terminals have it.
std::string paletteColor(int index) {
  if (index >= 232) return fmt::format("#{0:02x}{0:02x}{0:02x}", 8 + 10 * (index - 232));
  const auto level = [](int step) { return step == 0 ? 0 : 55 + 40 * step; };
  const int place = index - 16;
  return fmt::format("#{:02x}{:02x}{:02x}", level(place / 36), level(place / 6 % 6), level(place % 6));
}

/// A part of a cell, in shares of its width and height.
struct Shape {
  double left = 0, top = 0, width = 1, height = 1;
};

std::optional<Shape> shapeOf(std::string_view text) {
  constexpr std::array<std::string_view, 9> blocks{"", "▏", "▎", "▍", "▌", "▋", "▊", "▉", "█"};
  for (std::size_t eighths = 1; eighths < blocks.size(); ++eighths) {
    if (text == blocks[eighths]) return Shape{.top = 0.14, .width = static_cast<double>(eighths) / 8, .height = 0.72};
  }
  if (text == "─") return Shape{.top = 0.5, .height = 1.0 / cellHeight};
  if (text == "│") return Shape{.left = 0.5, .width = 1 / cellWidth};
  return std::nullopt;
}

std::string escaped(std::string_view text) {
  std::string safe;
  for (const char c : text) safe += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '"' ? "&quot;" : std::string(1, c);
  return safe;
}

class Picture {
 public:
  Picture(const VirtualTerminal& terminal, TerminalSize size, PictureTheme theme)
      : terminal_(terminal), size_(size), colors_(colorsOf(theme)) {}

  std::string text(const std::string& title) {
    for (std::size_t row = 0; row < size_.rows; ++row) drawRow(row);
    const double width = 2 * margin + size_.columns * cellWidth;
    const int height = titleHeight + margin + size_.rows * cellHeight;
    std::string svg = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0:.6g} {1}\" width=\"{0:.6g}\" height=\"{1}\">\n"
        "<title>{2}</title>\n<style>text{{font:14px ui-monospace,SFMono-Regular,Menlo,\"DejaVu Sans Mono\",Consolas,"
        "monospace;white-space:pre;fill:{3}}}.b{{font-weight:700}}{4}</style>\n",
        width, height, escaped(title), colors_.text, classes_);
    svg +=
        fmt::format("<rect x=\".5\" y=\".5\" width=\"{:.6g}\" height=\"{}\" rx=\"9.5\" fill=\"{}\" stroke=\"{}\"/>\n",
                    width - 1, height - 1, colors_.background, colors_.line);
    svg += fmt::format(
        "<path d=\"M.5 {0}V10A9.5 9.5 0 0 1 10 .5H{1:.6g}A9.5 9.5 0 0 1 {2:.6g} 10V{0}Z\" fill=\"{3}\" "
        "stroke=\"{4}\"/>\n",
        titleHeight - 8.5, width - 10, width - 0.5, colors_.frame, colors_.line);
    svg +=
        fmt::format("<text x=\"{:.6g}\" y=\"17.5\" text-anchor=\"middle\" style=\"font-size:12px;fill:{}\">{}</text>\n",
                    width / 2, colors_.quiet, escaped(title));
    return svg + "<g shape-rendering=\"crispEdges\">\n" + body_ + "</g>\n</svg>\n";
  }

 private:
  /// Cells of one row that look the same, in one piece of text or one bar.
  struct Run {
    std::size_t column = 0;
    std::size_t columns = 0;
    std::string text;
    TerminalCell cell;  // the first one
    std::string last;   // the text of the last one
  };

  /// Whether blocks, which come after whole ones only, or a line go on.
  static bool continuesBar(const Run& run, std::string_view text) {
    return text == run.cell.text || (run.cell.text == "█" && shapeOf(text)->height == shapeOf("█")->height);
  }

  static bool looksLike(const TerminalCell& cell, const TerminalCell& other) {
    return cell.look == other.look && cell.color == other.color;
  }

  void drawRow(std::size_t row) {
    Run run;
    for (std::size_t column = 0; column < size_.columns; ++column) {
      const TerminalCell cell = terminal_.cellAt(row, column);
      if (cell.text.empty()) {
        ++run.columns;
        continue;
      }
      const bool isShape = shapeOf(cell.text).has_value();
      const bool endsRun = run.columns == 0 || !looksLike(cell, run.cell) || displayWidth(run.cell.text) != 1 ||
                           displayWidth(cell.text) != 1 || shapeOf(run.cell.text).has_value() != isShape ||
                           (isShape && !continuesBar(run, cell.text)) || run.text.ends_with("  ");
      if (endsRun) {
        draw(row, run);
        run = {.column = column, .columns = 0, .text = {}, .cell = cell, .last = {}};
      }
      ++run.columns;
      run.text += cell.text;
      run.last = cell.text;
    }
    draw(row, run);
  }

  void draw(std::size_t row, Run run) {
    const double top = static_cast<double>(row) * cellHeight + titleHeight - 4;
    if (run.cell.look.reverse) drawRectangle(run, top, {}, fill(run.cell));
    while (run.text.ends_with(' ')) {
      run.text.pop_back();
      --run.columns;
    }
    for (; run.text.starts_with(' '); run.text.erase(0, 1), --run.columns) ++run.column;
    if (run.text.empty()) return;
    if (shapeOf(run.cell.text)) return drawRectangle(run, top, *shapeOf(run.last), fill(run.cell));
    std::string classes = run.cell.look.bold ? "b" : "";
    if (run.cell.color) classes += (classes.empty() ? "" : " ") + classOf(*run.cell.color);
    body_ += fmt::format(
        "<text x=\"{:.6g}\" y=\"{:.6g}\" textLength=\"{:.6g}\"{}{}>{}</text>\n", left(run.column), top + baseline,
        static_cast<double>(run.columns) * cellWidth, classes.empty() ? "" : " class=\"" + classes + "\"",
        run.cell.look.reverse ? fmt::format(" style=\"fill:{}\"", colors_.background) : "", escaped(run.text));
  }

  void drawRectangle(const Run& run, double top, const Shape& shape, const std::string& color) {
    const double width = (static_cast<double>(run.columns) - 1 + shape.width) * cellWidth;
    body_ += fmt::format("<rect x=\"{:.6g}\" y=\"{:.6g}\" width=\"{:.6g}\" height=\"{:.6g}\" {}/>\n",
                         left(run.column) + shape.left * cellWidth, top + shape.top * cellHeight, width,
                         shape.height * cellHeight, color);
  }

  static double left(std::size_t column) { return margin + static_cast<double>(column) * cellWidth; }

  std::string fill(const TerminalCell& cell) {
    return cell.color ? "class=\"" + classOf(*cell.color) + "\"" : fmt::format("fill=\"{}\"", colors_.text);
  }

  std::string classOf(std::uint8_t color) {
    const auto name = fmt::format("c{}", color);
    if (known_.try_emplace(color).second) classes_ += fmt::format(".{}{{fill:{}}}", name, paletteColor(color));
    return name;
  }

  const VirtualTerminal& terminal_;
  const TerminalSize size_;
  const Colors colors_;
  std::map<std::uint8_t, bool> known_;
  std::string classes_;
  std::string body_;
};

}  // namespace

std::string pictureOf(const VirtualTerminal& terminal, TerminalSize size, const std::string& title,
                      PictureTheme theme) {
  return Picture(terminal, size, theme).text(title);
}

}  // namespace tidra
