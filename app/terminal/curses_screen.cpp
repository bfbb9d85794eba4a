#include "app/terminal/curses_screen.h"

// Before <curses.h>: the functions for wide characters, and no macros named as common functions.
#ifndef _XOPEN_SOURCE_EXTENDED
#define _XOPEN_SOURCE_EXTENDED 1
#endif
#define NCURSES_WIDECHAR 1
#define NCURSES_NOMACROS 1
#include <curses.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>
#include <vector>

#include "app/terminal/theme.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/standard_streams.h"

namespace tidra {
namespace {

constexpr int escapeDelay = 25;  // milliseconds after ESC within which a sequence of a key goes on
constexpr int mostRows = 500;    // more are not a size, but a mistake
constexpr int mostColumns = 1000;
constexpr int pasteBegins = KEY_MAX + 1;
constexpr int pasteEnds = KEY_MAX + 2;
constexpr std::string_view pasteOn = "\x1b[?2004h";
constexpr std::string_view pasteOff = "\x1b[?2004l";
constexpr std::array inks{Ink::plain, Ink::faint, Ink::accent, Ink::good, Ink::attention, Ink::bad};

/// Inks without a colour have a pair too, of the default colours: returning to pair 0 takes twice the bytes.
short pairOf(Ink ink) { return static_cast<short>(static_cast<int>(ink) + 1); }

/// The character and its combining marks, as many as a cell of curses holds.
std::wstring wideText(std::string_view utf8) {
  std::wstring wide;
  std::size_t i = 0;
  while (i < utf8.size() && wide.size() < CCHARW_MAX) {
    const auto lead = static_cast<unsigned char>(utf8[i]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    auto value = static_cast<std::uint32_t>(length == 1 ? lead : lead & (0xFFU >> (length + 1)));
    for (std::size_t k = 1; k < length && i + k < utf8.size(); ++k)
      value = (value << 6U) | (static_cast<unsigned char>(utf8[i + k]) & 0x3FU);
    wide += static_cast<wchar_t>(value);
    i += length;
  }
  return wide;
}

Key::Kind kindOf(wint_t code) {
  switch (code) {
    case KEY_UP:
      return Key::Kind::up;
    case KEY_DOWN:
      return Key::Kind::down;
    case KEY_LEFT:
      return Key::Kind::left;
    case KEY_RIGHT:
      return Key::Kind::right;
    case KEY_PPAGE:
      return Key::Kind::pageUp;
    case KEY_NPAGE:
      return Key::Kind::pageDown;
    case KEY_HOME:
      return Key::Kind::home;
    case KEY_END:
      return Key::Kind::end;
    case KEY_ENTER:
      return Key::Kind::enter;
    case KEY_BACKSPACE:
      return Key::Kind::backspace;
    case KEY_DC:
      return Key::Kind::delete_;
    default:
      return Key::Kind::unknown;
  }
}

Key mouseKey() {
  MEVENT event{};
  Key key;
  if (::getmouse(&event) != OK) return key;
  key.at = {static_cast<std::size_t>(std::max(event.y, 0)), static_cast<std::size_t>(std::max(event.x, 0))};
  if ((event.bstate & BUTTON1_DOUBLE_CLICKED) != 0)
    key.kind = Key::Kind::doubleClick;
  else if ((event.bstate & (BUTTON1_CLICKED | BUTTON1_PRESSED)) != 0)
    key.kind = Key::Kind::click;
  else if ((event.bstate & BUTTON4_PRESSED) != 0)
    key.kind = Key::Kind::wheelUp;
#ifdef BUTTON5_PRESSED
  else if ((event.bstate & BUTTON5_PRESSED) != 0)
    key.kind = Key::Kind::wheelDown;
#endif
  return key;
}

Key characterKey(wint_t character) {
  if (character == '\r' || character == '\n') return {.kind = Key::Kind::enter};
  if (character == '\t') return {.kind = Key::Kind::tab};
  if (character == 0x1B) return {.kind = Key::Kind::escape};
  if (character == 0x7F || character == 0x08) return {.kind = Key::Kind::backspace};
  if (character < 0x20) return Key::ctrl(static_cast<char>('a' + character - 1));
  return Key::of(static_cast<char32_t>(character));
}

std::string capability(const char* name) {
  // The interface predates const.
  char* text = ::tigetstr(const_cast<char*>(name));  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  const bool isText = text != nullptr && reinterpret_cast<std::intptr_t>(text) != -1;
  return isText ? std::string(text) : std::string();
}

}  // namespace

struct CursesScreen::State {
  SCREEN* screen = nullptr;
  WINDOW* input = nullptr;  // a pad: reading from a window would redraw it
  int colors = 0;
  bool mayPaste = false;
  bool isPasting = false;
  bool isWhole = true;  // the next frame is drawn as a whole
  Frame shown;
  std::string leaving;

  void drawCell(std::size_t row, std::size_t column, const Cell& cell) const;
  void drawRow(const Frame& frame, std::size_t row) const;
};

CursesScreen::CursesScreen(const Choices& choices) : state_(std::make_unique<State>()) {
  ::set_escdelay(escapeDelay);
  state_->screen = ::newterm(choices.terminalType.c_str(), stdout, stdin);
  if (state_->screen == nullptr || capability("cup").empty()) {
    if (state_->screen != nullptr) {
      ::endwin();
      ::delscreen(state_->screen);
    }
    throw InputError("The terminal type \"" + escapedForTerminal(choices.terminalType) +
                     "\" cannot show screens; tidra scan prints the same results as lines");
  }
  state_->leaving = capability("cnorm") + capability("sgr0") + capability("rmkx") + capability("rmcup");
  // Only terminals that are compatible with xterm know what follows.
  state_->mayPaste = capability("kmous").starts_with("\x1b[");
  if (state_->mayPaste) state_->leaving = "\x1b[?1000l\x1b[?1006l" + std::string(pasteOff) + state_->leaving;
  ::raw();
  ::noecho();
  ::nonl();
  ::typeahead(-1);
  ::idlok(stdscr, TRUE);  // scrolls where that needs fewer bytes
  if (choices.colored && ::has_colors() && ::start_color() == OK && ::use_default_colors() == OK)
    state_->colors = COLORS;
  if (state_->colors > 0) {
    for (const Ink ink : inks) ::init_pair(pairOf(ink), styleOf(ink, state_->colors).color.value_or(-1), -1);
    cchar_t blank{};
    ::setcchar(&blank, L" ", A_NORMAL, pairOf(Ink::plain), nullptr);
    ::wbkgrndset(stdscr, &blank);
  }
  state_->input = ::newpad(1, 1);
  ::keypad(state_->input, TRUE);
  ::nodelay(state_->input, TRUE);
  if (choices.mouse) {
    mmask_t wanted = BUTTON1_PRESSED | BUTTON1_CLICKED | BUTTON1_DOUBLE_CLICKED | BUTTON4_PRESSED;
#ifdef BUTTON5_PRESSED
    wanted |= BUTTON5_PRESSED;
#endif
    ::mousemask(wanted, nullptr);
    ::mouseinterval(0);  // a press counts at once
  }
  ::define_key("\x1b[200~", pasteBegins);
  ::define_key("\x1b[201~", pasteEnds);
  enter();
}

CursesScreen::~CursesScreen() {
  leave();
  ::delwin(state_->input);
  ::delscreen(state_->screen);
}

ScreenSize CursesScreen::size() const {
  return {static_cast<std::size_t>(::getmaxx(stdscr)), static_cast<std::size_t>(::getmaxy(stdscr))};
}

void CursesScreen::adoptSize() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0)
    ::resizeterm(std::min<int>(size.ws_row, mostRows), std::min<int>(size.ws_col, mostColumns));
  state_->isWhole = true;
}

void CursesScreen::State::drawCell(std::size_t row, std::size_t column, const Cell& cell) const {
  std::wstring text = wideText(cell.text);
  const auto width = static_cast<int>(displayWidth(cell.text));
  // Where the C library counts other columns, the characters behind would move.
  if (text.empty() || ::wcwidth(text.front()) != width) text = width == 2 ? L"??" : L"?";
  const InkStyle style = styleOf(cell.look.ink, colors);
  attr_t attributes = A_NORMAL;
  if (style.bold || cell.look.bold) attributes |= A_BOLD;
  if (style.dim) attributes |= A_DIM;
  if (cell.look.reverse) attributes |= A_REVERSE;
  const short pair = colors > 0 ? pairOf(cell.look.ink) : static_cast<short>(0);
  const auto place = [&](std::size_t at, const wchar_t* characters) {
    cchar_t made{};
    ::setcchar(&made, characters, attributes, pair, nullptr);
    ::mvadd_wch(static_cast<int>(row), static_cast<int>(at), &made);
  };
  if (text == L"??") {
    place(column, L"?");
    place(column + 1, L"?");
  } else {
    place(column, text.c_str());
  }
}

void CursesScreen::State::drawRow(const Frame& frame, std::size_t row) const {
  for (std::size_t column = 0; column < frame.size().columns; ++column) {
    if (!frame.at(row, column).text.empty()) drawCell(row, column, frame.at(row, column));
  }
}

void CursesScreen::show(const Frame& frame) {
  if (!state_->isWhole && frame == state_->shown) return;
  const bool isWhole = state_->isWhole || frame.size() != state_->shown.size();
  if (isWhole) ::clearok(stdscr, TRUE);
  for (std::size_t row = 0; row < frame.size().rows; ++row) {
    bool differs = isWhole;
    for (std::size_t column = 0; !differs && column < frame.size().columns; ++column)
      differs = frame.at(row, column) != state_->shown.at(row, column);
    if (differs) state_->drawRow(frame, row);
  }
  ::curs_set(frame.cursor ? 1 : 0);
  ::leaveok(stdscr, frame.cursor ? FALSE : TRUE);
  if (frame.cursor) ::move(static_cast<int>(frame.cursor->row), static_cast<int>(frame.cursor->column));
  ::refresh();
  state_->shown = frame;
  state_->isWhole = false;
}

std::optional<Key> CursesScreen::readKey() {
  wint_t code = 0;
  const int kind = ::wget_wch(state_->input, &code);
  if (kind == ERR) return std::nullopt;
  if (kind == KEY_CODE_YES && code == pasteBegins) state_->isPasting = true;
  if (kind == KEY_CODE_YES && code == pasteEnds) state_->isPasting = false;
  Key key;
  if (kind == KEY_CODE_YES)
    key = code == KEY_MOUSE ? mouseKey() : Key{.kind = kindOf(code)};
  else
    key = characterKey(code);
  key.isPasted = state_->isPasting;
  return key;
}

void CursesScreen::leave() {
  if (state_->mayPaste) writeSequence(pasteOff);
  ::endwin();
}

void CursesScreen::enter() {
  state_->isWhole = true;
  ::refresh();  // sets the modes again after endwin()
  adoptSize();
  if (state_->mayPaste) writeSequence(pasteOn);
}

const std::string& CursesScreen::leavingBytes() const { return state_->leaving; }

void CursesScreen::writeSequence(std::string_view bytes) {
  try {
    writeToDescriptor(STDOUT_FILENO, bytes);
  } catch (const std::system_error&) {
    // The terminal is gone, which reading from it reports.
  }
}

}  // namespace tidra
