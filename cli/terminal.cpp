#include "cli/terminal.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/standard_streams.h"

namespace tidra {
namespace {

std::size_t terminalColumns(int descriptor, const Environment& environment) {
  constexpr std::size_t fewest = 40;
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

std::string fitted(std::string_view text, std::size_t width) {
  if (displayWidth(text) <= width) return std::string(text);
  std::string cut;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t next = i + 1;
    while (next < text.size() && isUtf8Continuation(text[next])) ++next;
    if (displayWidth(cut) + displayWidth(text.substr(i, next - i)) + 1 > width) break;
    cut += text.substr(i, next - i);
    i = next;
  }
  return width == 0 ? "" : cut + "…";
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

void writeError(std::string_view text) { writeStandardError(fmt::format("tidra: {}\n", text)); }

void writePrompt(std::string_view text) { writeStandardError(text); }

namespace {
bool notesAreSilenced = false;
}  // namespace

void silenceNotes() { notesAreSilenced = true; }

void writeNote(std::string_view text) {
  if (!notesAreSilenced) writeStandardError(fmt::format("note: {}\n", text));
}

}  // namespace tidra
