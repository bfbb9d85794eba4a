#include "app/terminal/undo_screen.h"

#include <algorithm>
#include <utility>

#include "app/terminal/plain_text.h"
#include "app/terminal/screen_frame.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"

namespace tidra {
namespace {

void addItem(std::vector<ScreenLine>& lines, const UndoList::Item& item, std::size_t columns, const UiState& state) {
  constexpr std::size_t sizeEnd = 10;
  constexpr std::size_t path = 12;
  lines.push_back(
      {{.width = sizeEnd, .text = item.bytes ? ByteFormatting::compact(*item.bytes) : "", .alignsRight = true},
       {.column = path,
        .text = placeText(item.path, state.home),
        .look = {.ink = item.reason.empty() ? Ink::plain : Ink::faint},
        .cut = Canvas::Cut::inside}});
  if (!item.reason.empty()) addParagraph(lines, columns, path, reasonText(item.reason), {.ink = Ink::faint});
}

std::string resultText(const UndoList::Result& result, bool isListed) {
  if (result.restored.empty()) return "Nothing came back.";
  const std::string hint = isListed ? "" : " A new scan lists what came back.";
  return counted(result.restored.size(), "item is", "items are") + " back in place." + hint;
}

}  // namespace

void UndoScreen::show(std::shared_ptr<const UndoJob::News> news, bool isListed) {
  news_ = std::move(news);
  isListed_ = isListed;
  isWorking_ = false;
  scroll_.toTop();
}

std::size_t UndoScreen::countOfReturning() const {
  return static_cast<std::size_t>(std::count_if(news_->items.begin(), news_->items.end(),
                                                [](const UndoList::Item& item) { return item.reason.empty(); }));
}

std::vector<ScreenLine> UndoScreen::lines(std::size_t columns, const UiState& state) const {
  std::vector<ScreenLine> lines;
  if (isWorking_ || news_ == nullptr) {
    addParagraph(lines, columns, 1, isWorking_ ? "Bringing back…" : "Reading the history…", {.ink = Ink::faint});
  } else if (!news_->failure.empty()) {
    addParagraph(lines, columns, 1, news_->failure, {.ink = Ink::bad});
  } else if (!news_->run) {
    addParagraph(lines, columns, 1, "There is no removal to undo.");
  } else if (news_->result) {
    addParagraph(lines, columns, 1, resultText(*news_->result, isListed_), {.bold = true});
    for (const TidraDeletionFailure& failure : news_->result->failures) {
      lines.push_back({{.column = 1, .text = placeText(failure.path, state.home), .cut = Canvas::Cut::inside}});
      addParagraph(lines, columns, 3, reasonText(failure.message), {.ink = Ink::faint});
    }
    for (const std::string& note : news_->result->notes) addParagraph(lines, columns, 1, note, {.ink = Ink::faint});
  } else {
    const std::string age = idleText(news_->run->at, state.now);
    addParagraph(lines, columns, 1, "Removed " + (age == "today" ? age : age + " ago") + ":", {.bold = true});
    for (const UndoList::Item& item : news_->items) addItem(lines, item, columns, state);
  }
  return lines;
}

std::string UndoScreen::question() const {
  if (!asks()) return "";
  return "Bring back " + counted(countOfReturning(), "item", "items") + "? [y/N]";
}

std::vector<std::string> UndoScreen::texts(const UiState& state) const {
  std::vector<std::string> texts = plainTexts(lines(columnsOfPlainText, state));
  if (asks()) texts.push_back(question());
  return texts;
}

void UndoScreen::draw(Canvas canvas, const UiState& state) {
  const auto layout = ScreenLayout::of({canvas.columns(), canvas.rows()});
  if (!layout) return drawTooSmall(canvas);
  drawHeader(canvas, *layout, "Undo", "");
  scroll_.draw(canvas.part(layout->content), lines(layout->content.columns, state));
  if (!asks()) return drawKeys(canvas, *layout, {{"Esc", "back"}});
  canvas.put(layout->footer.row, 1, question(), {.bold = true});
  drawKeys(canvas, *layout, {{"y", "yes"}, {"n", "no"}});
}

UndoScreen::Answer UndoScreen::handle(const Key& key) {
  const Command command = commandOf(key);
  if (scroll_.handle(command)) return {};
  if (command == Command::suspend) return {.action = {UiAction::Kind::suspend}};
  if (command == Command::redraw) return {.action = {UiAction::Kind::redraw}};
  if (isYes(key) && asks()) {
    isWorking_ = true;
    return {.id = news_->run->id};
  }
  const bool isNo = key.kind == Key::Kind::character && (key.character == U'n' || key.character == U'N');
  const bool leaves = command == Command::escape || command == Command::quit || command == Command::back ||
                      command == Command::results || command == Command::interrupt || key.kind == Key::Kind::enter ||
                      isNo;
  return {.action = {leaves ? UiAction::Kind::results : UiAction::Kind::none}};
}

}  // namespace tidra
