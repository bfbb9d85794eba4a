#include "app/terminal/line_prompt.h"

#include <utility>

#include "core/base/display_text.h"
#include "core/base/text.h"

namespace tidra {
namespace {

void dropLastCharacter(std::string& text) {
  const auto characters = displayCharacters(text);
  if (!characters.empty()) text.resize(text.size() - characters.back().size());
}

void dropLastWord(std::string& text) {
  while (text.ends_with(' ')) text.pop_back();
  while (!text.empty() && !text.ends_with(' ')) text.pop_back();
}

}  // namespace

LinePrompt::Result LinePrompt::handle(const Key& key) {
  constexpr std::size_t mostBytes = 4096;
  const std::string former = text_;
  switch (key.kind) {
    case Key::Kind::character:
      if (text_.size() < mostBytes) appendUtf8(text_, key.character);
      break;
    case Key::Kind::backspace:
      dropLastCharacter(text_);
      break;
    case Key::Kind::control:
      if (key.character == U'u') text_.clear();
      if (key.character == U'w') dropLastWord(text_);
      if (key.character == U'c' || key.character == U'g') return Result::cancelled;
      break;
    case Key::Kind::enter:
      return key.isPasted ? Result::open : Result::accepted;
    case Key::Kind::escape:
      return Result::cancelled;
    default:
      break;
  }
  return text_ == former ? Result::open : Result::changed;
}

void LinePrompt::draw(Canvas& canvas, std::size_t row) const {
  std::size_t column = canvas.put(row, 1, question_ + " ", {.ink = Ink::accent, .bold = true});
  const std::string shown = escapedForTerminal(text_);
  const std::size_t room = canvas.columns() > column + 1 ? canvas.columns() - column - 1 : 0;
  column = canvas.put(row, column, displayWidth(shown) > room ? displaySuffix(shown, room) : shown);
  canvas.setCursor(row, column);
}

}  // namespace tidra
