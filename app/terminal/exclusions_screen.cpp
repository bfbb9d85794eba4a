#include "app/terminal/exclusions_screen.h"

#include <stdexcept>

#include "app/terminal/screen_frame.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"

namespace tidra {
namespace {

std::string effectText(const ExclusionsView::Effect& effect) {
  if (effect.rows == 0) return "It would leave out nothing of these results";
  return "It would leave out " + counted(effect.rows, "finding", "findings") + " of these results (" +
         ByteFormatting::readable(effect.freeableBytes) + ")";
}

}  // namespace

void ExclusionsScreen::draw(Canvas canvas, const ExclusionsView& view, const UiState& state) {
  const auto layout = ScreenLayout::of({canvas.columns(), canvas.rows()});
  if (!layout) return drawTooSmall(canvas);
  const auto& entries = view.entries();
  drawHeader(canvas, *layout, "Exclusions", counted(entries.size(), "entry", "entries"));
  Canvas list = canvas.part(layout->content);
  cursor_.setTotal(entries.size());
  const std::size_t first = cursor_.firstOf(list.rows());
  for (std::size_t row = 0; row < list.rows() && first + row < entries.size(); ++row) {
    const ExclusionEntry& entry = entries[first + row];
    const bool isCursor = first + row == cursor_.line();
    if (isCursor) list.put(row, 0, list.glyphs().cursor, {.ink = Ink::accent, .bold = true});
    list.put(row, 2, rawValue(entry.kind), {.ink = Ink::faint});
    list.putFitted(row, 11, list.columns() - 11, entry.pathDisplay, {.reverse = isCursor}, Canvas::Cut::inside);
  }
  if (entries.empty()) list.put(1, 3, "Scans leave nothing out.", {.ink = Ink::faint});
  if (prompt_) {
    prompt_->draw(canvas, layout->footer.row);
    return drawKeys(canvas, *layout, {{"Enter", "add"}, {"Tab", "try on the results"}, {"Esc", "back"}});
  }
  canvas.putFitted(layout->footer.row, 1, canvas.columns() - 2, news_, {.ink = Ink::attention});
  if (state.isReadOnly) return drawKeys(canvas, *layout, {{"Esc", "back"}});
  drawKeys(canvas, *layout, {{"a", "add"}, {"x", "take off the list"}, {"Esc", "back"}});
}

std::vector<std::string> ExclusionsScreen::texts(const ExclusionsView& view) const {
  std::vector<std::string> texts;
  for (const ExclusionEntry& entry : view.entries()) {
    texts.push_back(std::to_string(texts.size() + 1) + ". " + escapedForTerminal(entry.pathDisplay) + ", " +
                    std::string(rawValue(entry.kind)));
  }
  if (texts.empty()) texts.emplace_back("Scans leave nothing out.");
  if (!news_.empty()) texts.push_back(escapedForTerminal(news_));
  texts.emplace_back(
      "add TEXT adds a folder or pattern; a number chooses an entry, then remove takes it off; back leaves.");
  return texts;
}

bool ExclusionsScreen::goToLine(std::size_t line, const ExclusionsView& view) {
  cursor_.setTotal(view.entries().size());
  return cursor_.moveTo(line);
}

void ExclusionsScreen::typed(const Key& key, ExclusionsView& view, const UiState& state) {
  try {
    if (key.kind == Key::Kind::tab) {
      const std::string text = prompt_->text();
      prompt_.emplace(effectText(view.effectOf(text, state.view)) + ". Folder or pattern:", text);
      return;
    }
    const LinePrompt::Result result = prompt_->handle(key);
    if (result == LinePrompt::Result::cancelled) prompt_.reset();
    if (result != LinePrompt::Result::accepted) return;
    const std::string text = prompt_->text();
    prompt_.reset();
    if (trimmed(text).empty()) return;
    const auto added = view.addTyped(text, state.now);
    news_ = !added.note.empty() ? added.note
            : added.isNew       ? "Scans leave it out from now on"
                                : "It is excluded already";
  } catch (const std::runtime_error& error) {
    news_ = error.what();
  }
}

void ExclusionsScreen::remove(ExclusionsView& view, const UiState& state) {
  if (state.isReadOnly || cursor_.line() >= view.entries().size()) return;
  try {
    const ExclusionEntry entry = view.entries()[cursor_.line()];
    news_ = view.remove(entry) ? "Scans look at " + entry.pathDisplay + " again" : "It was taken off already";
  } catch (const std::runtime_error& error) {
    news_ = error.what();
  }
}

UiAction ExclusionsScreen::handle(const Key& key, ExclusionsView& view, const UiState& state) {
  if (prompt_) {
    typed(key, view, state);
    return {};
  }
  const Command command = commandOf(key);
  cursor_.move(command);
  switch (command) {
    case Command::markShown:  // a
      if (!state.isReadOnly) prompt_.emplace("Folder or pattern:");
      return {};
    case Command::exclude:
      remove(view, state);
      return {};
    case Command::back:
      return {UiAction::Kind::results};
    default:
      return actionBesideList(command);
  }
}

}  // namespace tidra
