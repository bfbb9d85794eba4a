// The terminal that the program writes to, if it is one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "core/model/scan_vocabulary.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// Colours and emphasis; plain text when switched off.
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

/// How a stream wants to be written to.
struct TerminalFacts {
  bool isTerminal = false;
  bool movesCursor = false;  // a terminal that can redraw a line
  bool colored = false;
  std::size_t columns = 80;
};

/// Facts of a standard stream. Colour follows `colorOption` ("always", "never", or a terminal without NO_COLOR set).
TerminalFacts terminalFacts(int descriptor, std::string_view colorOption, const Environment& environment);

/// Text cut to a display width, with "…" as its last character when something was cut.
std::string fitted(std::string_view text, std::size_t width);

/// Text padded with blanks on the right or left up to a display width.
std::string paddedRight(std::string_view text, std::size_t width);
std::string paddedLeft(std::string_view text, std::size_t width);

/// Writes everything to a standard stream. Throws std::system_error when it cannot take it.
void writeOut(std::string_view text);

/// A line on standard error that tells what went wrong.
void writeError(std::string_view text);

/// A question on standard error, without a line break after it.
void writePrompt(std::string_view text);

/// A line on standard error that tells of something odd which does not stop the work. Nothing once they are silenced.
void writeNote(std::string_view text);

/// From now on no notes are written. Before any thread is started.
void silenceNotes();

}  // namespace tidra
