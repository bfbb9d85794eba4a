#include "app/terminal/keymap.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <utility>

namespace tidra {
namespace {

constexpr std::array<std::pair<char32_t, Command>, 32> characters{{
    {U'k', Command::up},
    {U'j', Command::down},
    {U'g', Command::first},
    {U'G', Command::last},
    {U'l', Command::open},
    {U'h', Command::back},
    {U' ', Command::mark},
    {U'v', Command::markRange},
    {U'a', Command::markShown},
    {U'A', Command::markNone},
    {U'd', Command::review},
    {U'u', Command::undo},
    {U'/', Command::filterText},
    {U'f', Command::filterKept},
    {U't', Command::filterTier},
    {U'e', Command::filterEcosystem},
    {U's', Command::sort},
    {U'S', Command::reverse},
    {U'b', Command::group},
    {U'i', Command::details},
    {U'o', Command::openFolder},
    {U'y', Command::copyPath},
    {U'x', Command::exclude},
    {U'r', Command::scanAgain},
    {U'R', Command::scanEverything},
    {U'2', Command::stores},
    {U'3', Command::exclusions},
    {U'4', Command::settings},
    {U'?', Command::help},
    {U'q', Command::quit},
    {U'5', Command::summary},
    {U'1', Command::results},
}};

Command commandOfControl(char32_t letter) {
  switch (letter) {
    case U'c':
      return Command::interrupt;
    case U'z':
      return Command::suspend;
    case U'l':
      return Command::redraw;
    case U'b':
      return Command::pageUp;
    case U'f':
      return Command::pageDown;
    default:
      return Command::none;
  }
}

}  // namespace

const std::vector<KeyBinding>& keyBindings() {
  static const std::vector<KeyBinding> bindings{
      {Command::up, "↑ k", "one line up", ""},
      {Command::down, "↓ j", "one line down", ""},
      {Command::pageUp, "PgUp", "one page up", ""},
      {Command::pageDown, "PgDn", "one page down", ""},
      {Command::first, "g Home", "to the first line", ""},
      {Command::last, "G End", "to the last line", ""},
      {Command::open, "→ l Enter", "open or unfold", "open"},
      {Command::back, "← h", "back or fold", ""},
      {Command::mark, "Space", "mark what is under the cursor, or all of a group", "mark"},
      {Command::markRange, "v", "mark from here on: move, then v again", ""},
      {Command::markShown, "a", "mark everything that is shown", ""},
      {Command::markNone, "A", "mark nothing", ""},
      {Command::review, "d", "review what is marked, or what is under the cursor; only then can it be removed",
       "review"},
      {Command::undo, "u", "undo the last removal", "undo"},
      {Command::filterText, "/", "filter by text", "filter"},
      {Command::filterKept, "f", "filter by what is kept and by activity", ""},
      {Command::filterTier, "t", "filter by tier", ""},
      {Command::filterEcosystem, "e", "filter by ecosystem", ""},
      {Command::sort, "s", "sort by what is freed, age or name", "sort"},
      {Command::reverse, "S", "reverse the order", ""},
      {Command::group, "b", "group by project, ecosystem, activity, or not at all", "group"},
      {Command::details, "i", "details", ""},
      {Command::openFolder, "o", "open the folder in a file manager", ""},
      {Command::copyPath, "y", "copy the path to the clipboard", ""},
      {Command::exclude, "x", "never find this folder again", ""},
      {Command::scanAgain, "r", "scan this folder again", ""},
      {Command::scanEverything, "R", "scan everything again", ""},
      {Command::results, "1", "the list of results", ""},
      {Command::stores, "2", "what is in quarantine and trash", ""},
      {Command::exclusions, "3", "exclusions", ""},
      {Command::settings, "4", "settings", ""},
      {Command::summary, "5", "what the last removal did", ""},
      {Command::help, "?", "this help", "help"},
      {Command::quit, "q", "quit", "quit"},
      {Command::escape, "Esc", "back, or stop the scan", ""},
      {Command::interrupt, "Ctrl-C", "stop, or quit", ""},
      {Command::suspend, "Ctrl-Z", "suspend", ""},
      {Command::redraw, "Ctrl-L", "draw the screen again", ""},
  };
  return bindings;
}

Command commandOf(const Key& key) {
  if (key.isPasted) return Command::none;
  switch (key.kind) {
    case Key::Kind::character: {
      const auto* found = std::find_if(characters.begin(), characters.end(),
                                       [&](const auto& row) { return row.first == key.character; });
      return found == characters.end() ? Command::none : found->second;
    }
    case Key::Kind::control:
      return commandOfControl(key.character);
    case Key::Kind::up:
    case Key::Kind::wheelUp:
      return Command::up;
    case Key::Kind::down:
    case Key::Kind::wheelDown:
      return Command::down;
    case Key::Kind::left:
      return Command::back;
    case Key::Kind::right:
    case Key::Kind::enter:
      return Command::open;
    case Key::Kind::pageUp:
      return Command::pageUp;
    case Key::Kind::pageDown:
      return Command::pageDown;
    case Key::Kind::home:
      return Command::first;
    case Key::Kind::end:
      return Command::last;
    case Key::Kind::escape:
      return Command::escape;
    default:
      return Command::none;
  }
}

bool isYes(const Key& key) {
  const bool isLetter = key.kind == Key::Kind::character && (key.character == U'y' || key.character == U'Y');
  return isLetter && !key.isPasted && !key.isHasty;
}

const KeyBinding& bindingOf(Command command) {
  const auto& bindings = keyBindings();
  const auto found =
      std::find_if(bindings.begin(), bindings.end(), [&](const KeyBinding& row) { return row.command == command; });
  assert(found != bindings.end());
  return *found;
}

}  // namespace tidra
