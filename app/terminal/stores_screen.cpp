#include "app/terminal/stores_screen.h"

#include <algorithm>

#include "app/terminal/keymap.h"
#include "app/terminal/layout.h"
#include "app/terminal/screen_frame.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

std::int64_t freeableBytes(const std::vector<StoredThing>& things) {
  std::int64_t bytes = 0;
  for (const StoredThing& thing : things) bytes = saturatedSum(bytes, thing.freeableBytes());
  return bytes;
}

std::string nameOf(const StoredThing& thing) {
  const std::string from = thing.originalPath();
  return std::string(lastPathComponent(from.empty() ? thing.path() : from));
}

void drawThing(Canvas& canvas, std::size_t row, const StoredThing& thing, bool isMarked, bool isCursor,
               const UiState& state) {
  constexpr std::size_t sizeEnd = 11;
  constexpr std::size_t ageEnd = 18;
  constexpr std::size_t word = 20;
  constexpr std::size_t place = 32;
  if (isCursor) canvas.put(row, 0, canvas.glyphs().cursor, {.ink = Ink::accent, .bold = true});
  if (isMarked) canvas.put(row, 1, canvas.glyphs().marked, {.ink = Ink::accent, .bold = true});
  canvas.putRight(row, sizeEnd, ByteFormatting::compact(thing.freeableBytes()));
  canvas.putRight(row, ageEnd, idleText(thing.since(), state.now), {.ink = Ink::faint});
  canvas.put(row, word, thing.isInTrash() ? "trash" : "quarantine", {.ink = Ink::faint});
  const std::string from = thing.originalPath();
  const std::size_t width = canvas.columns() > place ? canvas.columns() - place : 0;
  canvas.putFitted(row, place, width,
                   from.empty() ? std::string(lastPathComponent(thing.path())) : placeText(from, state.home),
                   {.reverse = isCursor}, Canvas::Cut::inside);
}

std::string doneText(const StoresJob::Result& result, StoresOrder::Act act) {
  if (!result.failure.empty()) return result.failure;
  std::string text;
  if (act == StoresOrder::Act::restore && result.done > 0)
    text = counted(result.done, "entry is", "entries are") + " back in place";
  if (act == StoresOrder::Act::purge && result.done > 0) {
    text = counted(result.done, "entry is", "entries are") + " deleted, " +
           ByteFormatting::readable(result.freedBytes) + " freed";
  }
  if (result.failures.empty()) return text;
  const TidraDeletionFailure& failure = result.failures.front();
  return text + (text.empty() ? "" : "; ") + std::string(lastPathComponent(failure.path)) + ": " + failure.message;
}

}  // namespace

void StoresScreen::begin() {
  *this = {};
  news_ = "Reading…";
}

void StoresScreen::show(const StoresJob::Result& result) {
  things_ = result.things;
  news_ = doneText(result, act_);
  isWorking_ = false;
  marked_.clear();
  cursor_.setTotal(things_.size());
}

std::vector<StoredThing> StoresScreen::chosen() const {
  std::vector<StoredThing> chosen;
  for (std::size_t i = 0; i < things_.size(); ++i) {
    if (marked_.empty() ? i == cursor_.line() : marked_.contains(things_[i].path())) chosen.push_back(things_[i]);
  }
  return chosen;
}

std::string StoresScreen::question() const {
  if (!asksToPurge_) return "";
  const auto things = chosen();
  // By its name, since a face of lines shows no cursor.
  const std::string what = things.size() == 1 ? nameOf(things.front()) : counted(things.size(), "entry", "entries");
  return "Delete " + what + " (" + ByteFormatting::readable(freeableBytes(things)) + ") for good? [y/N]";
}

void StoresScreen::draw(Canvas canvas, const UiState& state) {
  const auto layout = ScreenLayout::of({canvas.columns(), canvas.rows()});
  if (!layout) return drawTooSmall(canvas);
  drawHeader(canvas, *layout, "Quarantine and trash",
             ByteFormatting::compact(freeableBytes(things_)) + " could be freed");
  Canvas list = canvas.part(layout->content);
  const std::size_t first = cursor_.firstOf(list.rows());
  for (std::size_t row = 0; row < list.rows() && first + row < things_.size(); ++row) {
    const StoredThing& thing = things_[first + row];
    drawThing(list, row, thing, marked_.contains(thing.path()), first + row == cursor_.line(), state);
  }
  if (things_.empty() && !isWorking_) list.put(1, 3, "Nothing is in the trash or in quarantine.", {.ink = Ink::faint});
  const std::size_t row = layout->footer.row;
  if (asksToPurge_) {
    canvas.putFitted(row, 1, canvas.columns() - 2, question(), {.bold = true}, Canvas::Cut::inside);
    return drawKeys(canvas, *layout, {{"y", "yes"}, {"n", "no"}});
  }
  canvas.putFitted(row, 1, canvas.columns() - 2, news_, {.ink = Ink::attention});
  if (state.isReadOnly) return drawKeys(canvas, *layout, {{"Esc", "back"}});
  drawKeys(canvas, *layout, {{"Space", "mark"}, {"r", "bring back"}, {"d", "delete for good"}, {"Esc", "back"}});
}

std::vector<std::string> StoresScreen::texts(const UiState& state) const {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < things_.size(); ++i) {
    const StoredThing& thing = things_[i];
    const std::string from = thing.originalPath();
    texts.push_back(std::to_string(i + 1) + ". " + (marked_.contains(thing.path()) ? "marked, " : "") +
                    ByteFormatting::compact(thing.freeableBytes()) + ", " +
                    escapedForTerminal(placeText(from.empty() ? thing.path() : from, state.home)) + ", " +
                    (thing.isInTrash() ? "trash" : "quarantine") + ", since " + idleText(thing.since(), state.now));
  }
  if (things_.empty() && !isWorking_) texts.emplace_back("Nothing is in the trash or in quarantine.");
  if (!news_.empty()) texts.push_back(escapedForTerminal(news_));
  texts.push_back(asksToPurge_ ? escapedForTerminal(question())
                               : "A number marks; restore brings back, purge deletes for good; back leaves.");
  return texts;
}

void StoresScreen::mark() {
  if (cursor_.line() >= things_.size()) return;
  const std::string path = things_[cursor_.line()].path();
  if (marked_.erase(path) == 0) marked_.insert(path);
  cursor_.move(Command::down);
}

StoresScreen::Answer StoresScreen::begin(StoresOrder::Act act, std::string_view news) {
  act_ = act;
  isWorking_ = true;
  news_ = news;
  return {.order = StoresOrder{act, chosen()}};
}

StoresScreen::Answer StoresScreen::handle(const Key& key, UiState& state) {
  const Command command = commandOf(key);
  if (asksToPurge_) {
    if (command == Command::suspend) return {.action = {UiAction::Kind::suspend}};
    asksToPurge_ = false;
    if (!isYes(key)) return {};
    return begin(StoresOrder::Act::purge, "Deleting…");
  }
  cursor_.move(command);
  const bool isIdle = !isWorking_ && !things_.empty();
  const bool mayAct = isIdle && !state.isReadOnly;
  switch (command) {
    case Command::mark:
      mark();
      return {};
    case Command::scanAgain:
    case Command::undo:
      if (!mayAct) return {};
      return begin(StoresOrder::Act::restore, "Bringing back…");
    case Command::review:
      asksToPurge_ = mayAct;
      return {};
    case Command::back:
      return {.action = {UiAction::Kind::results}};
    default:
      return {.action = actionBesideList(command)};
  }
}

}  // namespace tidra
