#include "cli/terminal.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "core/base/display_text.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/standard_streams.h"

namespace tidra {
namespace {

std::size_t terminalColumns(int descriptor, const Environment& environment) {
  constexpr std::size_t fewest = 20;
  winsize size{};
  if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return std::max<std::size_t>(size.ws_col, fewest);
  if (const auto columns = environment.find("COLUMNS"); columns != environment.end()) {
    const unsigned long given = std::strtoul(columns->second.c_str(), nullptr, 10);
    if (given >= fewest) return given;
  }
  return TerminalFacts{}.columns;
}

}  // namespace

std::string shown(std::string_view text) { return escapedForTerminal(text); }

std::string shownWords(std::string_view text) {
  std::string words = shown(text);
  if (glyphs().isUtf8) return words;
  constexpr std::array<std::pair<std::string_view, std::string_view>, 5> marks{
      {{"·", "-"}, {"–", "-"}, {"—", "-"}, {"→", ">"}, {"…", "..."}}};
  for (const auto& [mark, ascii] : marks) {
    for (auto at = words.find(mark); at != std::string::npos; at = words.find(mark, at)) {
      words.replace(at, mark.size(), ascii);
    }
  }
  return words;
}

std::string Style::wrap(std::string_view code, std::string_view text) const {
  return colored_ ? fmt::format("\x1b[{}m{}\x1b[0m", code, text) : std::string(text);
}

std::string Style::tier(ArtifactSafetyTier tier, std::string_view text) const {
  switch (tier) {
    case ArtifactSafetyTier::safe:
      return wrap("32", text);
    case ArtifactSafetyTier::caution:
      return wrap("33", text);
    case ArtifactSafetyTier::warning:
      return wrap("31", text);
  }
  return std::string(text);
}

std::string Style::activity(ProjectActivity activity, std::string_view text) const {
  switch (activity) {
    case ProjectActivity::active:
      return wrap("32", text);
    case ProjectActivity::recent:
      return wrap("36", text);
    case ProjectActivity::inactive:
      return wrap("33", text);
    case ProjectActivity::dormant:
      return wrap("31", text);
  }
  return std::string(text);
}

TerminalFacts terminalFacts(int descriptor, std::string_view colorOption, const Environment& environment) {
  TerminalFacts facts;
  facts.isTerminal = ::isatty(descriptor) == 1;
  const auto noColor = environment.find("NO_COLOR");
  const bool refused = noColor != environment.end() && !noColor->second.empty();
  const auto terminalType = environment.find("TERM");
  const bool dumb = terminalType != environment.end() && terminalType->second == "dumb";
  facts.movesCursor = facts.isTerminal && !dumb;
  facts.colored = colorOption == "always" || (colorOption == "auto" && facts.isTerminal && !refused && !dumb);
  facts.columns = terminalColumns(descriptor, environment);
  return facts;
}

namespace {

Glyphs chosenGlyphs;

}  // namespace

const Glyphs& glyphs() { return chosenGlyphs; }

void chooseGlyphs(const Environment& environment) {
  std::string charset;
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const auto found = environment.find(name);
    if (found == environment.end() || found->second.empty()) continue;
    charset = asciiLowered(found->second);
    break;
  }
  const bool isUtf8 = charset.find("utf-8") != std::string::npos || charset.find("utf8") != std::string::npos;
  chosenGlyphs = isUtf8 ? Glyphs{} : Glyphs{.isUtf8 = false, .ellipsis = "...", .dash = "-", .dot = "|"};
}

std::string fitted(std::string_view text, std::size_t width) { return cutAtEnd(text, width, glyphs().ellipsis); }

std::string fittedInside(std::string_view text, std::size_t width) { return cutInside(text, width, glyphs().ellipsis); }

std::vector<std::string> wrapped(std::string_view text, std::size_t width) { return wrappedToWidth(text, width); }

namespace {

std::string styledParagraph(std::string_view text, const TerminalFacts& terminal, std::size_t indent, bool isDim) {
  const std::string blanks(indent, ' ');
  const Style style(terminal.colored);
  std::vector<std::string> lines{std::string(text)};
  if (terminal.isTerminal) lines = wrapped(text, terminal.columns > indent ? terminal.columns - indent : 1);
  std::string whole;
  for (const std::string& line : lines) whole += blanks + (isDim ? style.dim(line) : line) + '\n';
  return whole;
}

}  // namespace

std::string paragraph(std::string_view text, const TerminalFacts& terminal, std::size_t indent) {
  return styledParagraph(text, terminal, indent, false);
}

std::string paragraphs(std::string_view text, const TerminalFacts& terminal) {
  std::string all;
  for (const std::string_view line : splitNonEmpty(text, '\n')) all += paragraph(line, terminal);
  return all;
}

std::string dimParagraph(std::string_view text, const TerminalFacts& terminal, std::size_t indent) {
  return styledParagraph(text, terminal, indent, true);
}

std::string paddedRight(std::string_view text, std::size_t width) {
  const std::size_t taken = displayWidth(text);
  return std::string(text) + std::string(width > taken ? width - taken : 0, ' ');
}

std::string paddedLeft(std::string_view text, std::size_t width) {
  const std::size_t taken = displayWidth(text);
  return std::string(width > taken ? width - taken : 0, ' ') + std::string(text);
}

void writeOut(std::string_view text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  if (!written) throw std::system_error(lastSystemError(), "standard output");
}

namespace {

bool notesAreSilenced = false;

/// The text as a paragraph for standard error.
std::string errorParagraph(std::string_view text) {
  if (::isatty(STDERR_FILENO) != 1) return std::string(text) + '\n';
  return paragraph(text, terminalFacts(STDERR_FILENO, "never", processEnvironment()));
}

}  // namespace

void silenceNotes() { notesAreSilenced = true; }

void writeError(std::string_view text) { writeStandardError(errorParagraph(fmt::format("tidra: {}", text))); }

void writeLoudNote(std::string_view text) { writeStandardError(errorParagraph(fmt::format("note: {}", text))); }

void writeNote(std::string_view text) {
  if (!notesAreSilenced) writeLoudNote(text);
}

void writePrompt(std::string_view text) {
  std::string prompt = errorParagraph(text);
  prompt.back() = ' ';
  writeStandardError(prompt);
}

}  // namespace tidra
