// The terminal on a standard stream, if any.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/model/scan_vocabulary.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// Colours and emphasis; plain text when off.
class Style {
 public:
  explicit Style(bool colored = false) : colored_(colored) {}

  std::string bold(std::string_view text) const { return wrap("1", text); }
  std::string dim(std::string_view text) const { return wrap("2", text); }
  std::string bar(std::string_view text) const { return wrap("36", text); }
  std::string tier(ArtifactSafetyTier tier, std::string_view text) const;
  std::string activity(ProjectActivity activity, std::string_view text) const;

 private:
  std::string wrap(std::string_view code, std::string_view text) const;

  bool colored_;
};

/// Foreign text without control characters, so that it cannot inject terminal escape sequences.
std::string shown(std::string_view text);

/// As shown(), for labels and hints of rules: dashes, dots and arrows become ASCII where the charset is not UTF-8.
std::string shownWords(std::string_view text);

/// The columns of a compact size, such as "12.3 GB", and of a tier, and the most that a list on a screen spends on a
/// label.
inline constexpr std::size_t sizeWidth = 8;
inline constexpr std::size_t tierWidth = 7;
inline constexpr std::size_t widestLabel = 28;

/// What texts use besides ASCII, or its form in ASCII where the locale's charset is another one than UTF-8.
struct Glyphs {
  bool isUtf8 = true;
  std::string_view ellipsis = "…";
  std::string_view dash = "–";
  std::string_view dot = "·";
};

const Glyphs& glyphs();

/// Chooses the glyphs by LC_ALL, LC_CTYPE and LANG. Call before starting threads.
void chooseGlyphs(const Environment& environment);

/// How to write to a stream.
struct TerminalFacts {
  bool isTerminal = false;
  bool movesCursor = false;  // a terminal that can redraw a line
  bool colored = false;
  std::size_t columns = 80;
};

/// The facts of a standard stream. Colour: "always", "never", or on a terminal without NO_COLOR.
TerminalFacts terminalFacts(int descriptor, std::string_view colorOption, const Environment& environment);

/// Cuts text to a display width; an ellipsis marks a cut.
std::string fitted(std::string_view text, std::size_t width);

/// As fitted(), but cuts in the middle, so that the end of a path stays.
std::string fittedInside(std::string_view text, std::size_t width);

/// Breaks text at blanks into lines of at most `width` columns, at least one; longer words break anywhere.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

/// Text as lines that each end with a line feed, behind `indent` blanks; wrapped on a terminal.
std::string paragraph(std::string_view text, const TerminalFacts& terminal, std::size_t indent = 0);
/// A paragraph of each line of the text.
std::string paragraphs(std::string_view text, const TerminalFacts& terminal);
/// As paragraph(), in dim lines.
std::string dimParagraph(std::string_view text, const TerminalFacts& terminal, std::size_t indent = 0);

/// Pads text with blanks to a display width.
std::string paddedRight(std::string_view text, std::size_t width);
std::string paddedLeft(std::string_view text, std::size_t width);

/// Writes everything to standard output. Throws std::system_error.
void writeOut(std::string_view text);

/// Each of these writes to standard error, one line in a pipe, wrapped on a terminal.
void writeError(std::string_view text);
/// A note about something odd but harmless, unless silenced.
void writeNote(std::string_view text);
/// A note that --quiet does not silence.
void writeLoudNote(std::string_view text);

/// Writes a prompt to standard error, wrapped on a terminal, without a line break at its end.
void writePrompt(std::string_view text);

/// Suppresses notes from now on. Call before starting threads.
void silenceNotes();

}  // namespace tidra
