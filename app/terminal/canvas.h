// Draws text into a rectangle of a frame.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "app/terminal/frame.h"
#include "app/terminal/layout.h"

namespace tidra {

/// The characters besides ASCII that screens use, or their form in ASCII.
struct ScreenGlyphs {
  bool isUtf8 = true;
  std::string_view ellipsis = "…";
  std::string_view cursor = "▸";
  std::string_view marked = "✓";
  std::string_view partlyMarked = "−";
  std::string_view folded = "+";
  std::string_view horizontal = "─";
  std::string_view vertical = "│";
  std::string_view dot = "·";

  static ScreenGlyphs ascii();
  /// Of the charset that the locale variables name.
  static ScreenGlyphs of(std::string_view locale);
};

/// A view of a frame; what does not fit is clipped. Rows and columns count from the rectangle's corner. All text is
/// foreign: control characters, malformed UTF-8 and zero-width characters are escaped.
class Canvas {
 public:
  Canvas(Frame& frame, const ScreenGlyphs& glyphs)
      : Canvas(frame, glyphs, {0, 0, frame.size().columns, frame.size().rows}) {}

  std::size_t columns() const { return area_.columns; }
  std::size_t rows() const { return area_.rows; }
  const ScreenGlyphs& glyphs() const { return glyphs_; }

  /// Clipped to this one.
  Canvas part(const Rectangle& area) const;

  /// Returns the column behind the text.
  std::size_t put(std::size_t row, std::size_t column, std::string_view text, Look look = {});

  enum class Cut { atEnd, inside };
  /// At most `width` columns; an ellipsis marks a cut. Returns the column behind the text.
  std::size_t putFitted(std::size_t row, std::size_t column, std::size_t width, std::string_view text, Look look = {},
                        Cut cut = Cut::atEnd);
  /// Ends before the column `end`.
  void putRight(std::size_t row, std::size_t end, std::string_view text, Look look = {});
  /// Wraps at blanks. Returns the row behind the text.
  std::size_t putParagraph(std::size_t row, std::size_t column, std::string_view text, Look look = {});

  /// A bar of `share` (0 to 1) of `width` columns, in eighths of a column.
  void putBar(std::size_t row, std::size_t column, std::size_t width, double share, Look look = {});
  void putRule(std::size_t row, Look look = {});
  void putColumn(std::size_t column, Look look = {});

  /// Where the user types.
  void setCursor(std::size_t row, std::size_t column);

 private:
  Canvas(Frame& frame, const ScreenGlyphs& glyphs, const Rectangle& area)
      : frame_(frame), glyphs_(glyphs), area_(area) {}

  /// Text without control characters.
  std::size_t putCells(std::size_t row, std::size_t column, std::string_view text, Look look);
  std::string screenText(std::string_view text) const;

  Frame& frame_;
  const ScreenGlyphs& glyphs_;
  Rectangle area_;
};

}  // namespace tidra
