#include "app/terminal/review_screen.h"

#include <algorithm>
#include <utility>

#include "app/terminal/plain_text.h"
#include "app/terminal/screen_frame.h"
#include "app/terminal/theme.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"

namespace tidra {
namespace {

constexpr std::size_t wordWidth = 13;
constexpr std::size_t bytesEnd = wordWidth + 9;
constexpr std::size_t labelColumn = bytesEnd + 2;

std::string_view methodWord(DisposalMethod method) {
  switch (method) {
    case DisposalMethod::trash:
      return "to the trash";
    case DisposalMethod::quarantine:
      return "into quarantine";
    case DisposalMethod::delete_:
      return "deleted for good";
  }
  return "";
}

Look lookOf(ArtifactSafetyTier tier) { return {.ink = inkOf(tier), .bold = tier == ArtifactSafetyTier::warning}; }

}  // namespace

void ReviewScreen::begin(std::size_t items, const ReviewChoice& choice) {
  *this = {};
  waitingFor_ = items;
  choice_ = choice;
}

void ReviewScreen::show(Review review, std::vector<MethodChoice> methods) {
  review_ = std::move(review);
  methods_ = std::move(methods);
  answers_.clear();
}

void ReviewScreen::fail(std::string sentence) { failure_ = std::move(sentence); }

bool ReviewScreen::includes(Remover remover) const {
  for (std::size_t i = 0; review_ && i < answers_.size(); ++i) {
    if (review_->questions[i].remover == remover) return answers_[i];
  }
  return false;
}

/// As wide as the longest of all parts, if the room behind the size suffices: what follows them gets the rest.
ReviewScreen::TextWidths ReviewScreen::textWidths(std::size_t room, bool isWide) const {
  constexpr std::size_t gap = 2;
  std::size_t label = 0;
  std::size_t path = 0;
  const auto add = [&](const auto& items) {
    for (const auto& item : items) {
      label = std::max(label, displayWidth(escapedForTerminal(item.label)) + gap);
      path = std::max(path, displayWidth(escapedForTerminal(item.place)) + gap);
    }
  };
  for (const ReviewPart& part : review_->parts) add(part.items);
  add(review_->byTools);
  add(review_->refused);
  label = std::min<std::size_t>({label, room * 2 / 5, 24});
  return {label, isWide ? std::min(path, room * 2 / 5) : room - label};
}

/// Label and place in the room behind the size; in a wide terminal the way back behind them, else below.
void ReviewScreen::addItems(std::vector<ScreenLine>& lines, const std::vector<ReviewItem>& items, std::string_view word,
                            Look look, std::size_t columns) const {
  const bool isWide = columns >= 100;
  const std::size_t room = columns > labelColumn ? columns - labelColumn : 0;
  const auto [labelWidth, pathWidth] = textWidths(room, isWide);
  for (const ReviewItem& item : items) {
    const std::string note = item.isHeldBack ? "does not come back: type \"" + review_->typedAnswer + "\" to include it"
                             : item.command.empty() ? item.hint
                                                    : item.command;
    lines.push_back({{.column = 1, .width = wordWidth, .text = std::string(word), .look = look},
                     {.width = bytesEnd,
                      .text = ByteFormatting::compact(item.freeableBytes),
                      .look = {.ink = item.isHeldBack ? Ink::faint : Ink::plain},
                      .alignsRight = true},
                     {.column = labelColumn, .width = labelWidth - 1, .text = item.label},
                     {.column = labelColumn + labelWidth,
                      .width = pathWidth > 1 ? pathWidth - 1 : 1,
                      .text = item.place,
                      .look = {.ink = Ink::faint},
                      .cut = Canvas::Cut::inside}});
    if (note.empty()) continue;
    const Look noteLook{.ink = item.isHeldBack ? Ink::attention : Ink::faint};
    if (isWide && !item.isHeldBack) {
      lines.back().push_back({.column = labelColumn + labelWidth + pathWidth, .text = note, .look = noteLook});
    } else if (item.isHeldBack || item.tier != ArtifactSafetyTier::safe || !item.command.empty()) {
      addParagraph(lines, columns, labelColumn, note, noteLook);
    }
  }
}

void ReviewScreen::addRefused(std::vector<ScreenLine>& lines, std::size_t columns) const {
  for (const RefusedItem& item : review_->refused) {
    const std::size_t room = columns > labelColumn ? columns - labelColumn : 0;
    const std::size_t labelWidth = textWidths(room, false).label;
    lines.push_back({{.column = 1, .width = wordWidth, .text = "kept", .look = {.ink = Ink::faint}},
                     {.column = labelColumn, .width = labelWidth - 1, .text = item.label},
                     {.column = labelColumn + labelWidth,
                      .text = item.place,
                      .look = {.ink = Ink::faint},
                      .cut = Canvas::Cut::inside}});
    addParagraph(lines, columns, labelColumn, reasonText(item.reason), {.ink = Ink::attention});
  }
}

std::vector<ScreenLine> ReviewScreen::lines(std::size_t columns) const {
  std::vector<ScreenLine> lines;
  if (!failure_.empty()) addParagraph(lines, columns, 1, failure_, {.ink = Ink::bad});
  if (!review_) {
    if (failure_.empty())
      addParagraph(lines, columns, 1, "Looking at " + counted(waitingFor_, "item", "items") + "…", {.ink = Ink::faint});
    return lines;
  }
  if (!review_->effect.empty()) addParagraph(lines, columns, 1, review_->effect, {.bold = true});
  if (review_->besides && review_->besides->entries && *review_->besides->entries > 0) {
    addParagraph(lines, columns, 1,
                 "Emptying the trash deletes " + counted(*review_->besides->entries, "other entry", "other entries") +
                     " (" + ByteFormatting::readable(review_->besides->bytes) + ") for good.",
                 {.ink = Ink::bad, .bold = true});
  }
  lines.emplace_back();
  for (const ReviewPart& part : review_->parts)
    addItems(lines, part.items, asciiLowered(part.title), lookOf(part.tier), columns);
  addItems(lines, review_->byTools, "by its tool", {.ink = Ink::attention}, columns);
  addRefused(lines, columns);
  return lines;
}

std::string ReviewScreen::question() const {
  if (!review_) return "";
  if (answers_.size() < review_->questions.size()) return review_->questions[answers_.size()].text + " [y/N]";
  return review_->typedAnswer.empty() ? "Nothing of this can be removed." : "Nothing goes unless it is included.";
}

std::vector<std::string> ReviewScreen::texts() const {
  std::vector<std::string> texts = plainTexts(lines(columnsOfPlainText));
  texts.push_back("Items go: " + std::string(methodWord(choice_.method)) + "; method changes that.");
  texts.push_back(escapedForTerminal(question()));
  return texts;
}

void ReviewScreen::draw(Canvas canvas, const UiState& state) {
  const auto layout = ScreenLayout::of({canvas.columns(), canvas.rows()});
  if (!layout) return drawTooSmall(canvas);
  drawHeader(canvas, *layout, "Review", methodWord(choice_.method));
  const std::vector<std::string> asked = [&] {
    std::vector<ScreenLine> wrapped;
    addParagraph(wrapped, canvas.columns() - 2, 0, question());
    std::vector<std::string> texts;
    texts.reserve(wrapped.size());
    for (const ScreenLine& line : wrapped) texts.push_back(line.front().text);
    return texts;
  }();
  const std::size_t questionRows = std::min<std::size_t>(asked.size(), layout->content.rows / 2);
  Rectangle content = layout->content;
  content.rows -= questionRows > 0 ? questionRows - 1 : 0;
  const bool hasNotice = !typing_ && !state.notice.empty();
  if (hasNotice && !asked.empty()) content.rows -= std::min<std::size_t>(content.rows, 1);
  scroll_.draw(canvas.part(content), lines(content.columns));
  if (typing_) {
    typing_->draw(canvas, layout->footer.row);
  } else {
    const std::size_t first = layout->footer.row + 1 - questionRows;
    for (std::size_t i = 0; i < questionRows; ++i) canvas.put(first + i, 1, asked[i], {.bold = true});
    if (hasNotice) {
      const std::size_t row = asked.empty() ? layout->footer.row : content.row + content.rows;
      canvas.put(row, 1, state.notice, {.ink = Ink::attention});
    }
  }
  std::vector<std::pair<std::string, std::string>> keys;
  if (review_ && answers_.size() < review_->questions.size()) keys = {{"y", "yes"}, {"n", "no"}};
  if (review_) keys.emplace_back("m", "another method");
  if (review_ && !review_->typedAnswer.empty()) keys.emplace_back("r", "include what does not come back");
  keys.emplace_back("Esc", "back");
  drawKeys(canvas, *layout,
           typing_ ? std::vector<std::pair<std::string, std::string>>{{"Enter", "include"}, {"Esc", "back"}} : keys);
}

ReviewScreen::Answer ReviewScreen::typed(const Key& key, UiState& state) {
  if (key.isPasted) return {};  // typing it is the point
  const LinePrompt::Result result = typing_->handle(key);
  if (result == LinePrompt::Result::cancelled) typing_.reset();
  if (result != LinePrompt::Result::accepted) return {};
  const bool isRight = typing_->text() == review_->typedAnswer;
  typing_.reset();
  if (!isRight) {
    state.notice = "That is not \"" + review_->typedAnswer + "\"; nothing was included";
    return {};
  }
  choice_.includesIrreversible = true;
  return {.wish = Wish::choiceChanged};
}

ReviewScreen::Answer ReviewScreen::answer(bool agrees) {
  answers_.push_back(agrees);
  if (answers_.size() < review_->questions.size()) return {};
  if (std::find(answers_.begin(), answers_.end(), true) == answers_.end()) return {.action = {UiAction::Kind::back}};
  return {.wish = Wish::start};
}

ReviewScreen::Answer ReviewScreen::switchMethod(UiState& state) {
  const auto present = std::find_if(methods_.begin(), methods_.end(),
                                    [&](const MethodChoice& one) { return one.method == choice_.method; });
  for (std::size_t i = 1; i <= methods_.size(); ++i) {
    const auto& next = methods_[static_cast<std::size_t>(present - methods_.begin() + static_cast<std::ptrdiff_t>(i)) %
                                methods_.size()];
    if (!next.obstacle.empty()) {
      state.notice = next.obstacle;
      continue;
    }
    choice_.method = next.method;
    choice_.emptiesTrash = choice_.emptiesTrash && next.method == DisposalMethod::trash;
    return {.wish = Wish::choiceChanged};
  }
  return {};
}

ReviewScreen::Answer ReviewScreen::handle(const Key& key, UiState& state) {
  state.notice.clear();
  if (typing_) return typed(key, state);
  const Command command = commandOf(key);
  if (scroll_.handle(command)) return {};
  if (command == Command::interrupt || command == Command::suspend || command == Command::redraw)
    return {.action = {command == Command::suspend  ? UiAction::Kind::suspend
                       : command == Command::redraw ? UiAction::Kind::redraw
                                                    : UiAction::Kind::back}};
  if (command == Command::escape || command == Command::quit || command == Command::back)
    return {.action = {UiAction::Kind::back}};
  if (!review_) return {};
  const bool asks = answers_.size() < review_->questions.size();
  if (key.kind == Key::Kind::enter) return asks ? answer(false) : Answer{.action = {UiAction::Kind::back}};
  if (key.kind != Key::Kind::character || key.isPasted) return {};
  if (key.character == U'm') return switchMethod(state);
  if (key.character == U'r' && !review_->typedAnswer.empty()) {
    typing_.emplace("Type \"" + review_->typedAnswer + "\":", "r");
    return {};
  }
  if (asks && isYes(key)) return answer(true);
  if (asks && (key.character == U'n' || key.character == U'N')) return answer(false);
  return {};
}

}  // namespace tidra
