#include "app/terminal/help_screen.h"

#include "app/terminal/screen_frame.h"
#include "core/base/text.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {
namespace {

std::vector<ScreenLine> helpLines(std::size_t columns) {
  constexpr std::size_t keys = 11;
  std::vector<ScreenLine> lines;
  for (const KeyBinding& row : keyBindings()) {
    const std::size_t first = lines.size();
    addParagraph(lines, columns, keys + 2, row.does);
    lines[first].push_back({.column = 1, .width = keys, .text = std::string(row.keys), .look = {.bold = true}});
  }
  lines.emplace_back();
  const auto word = [&](std::string_view name, std::string_view meaning) {
    const std::size_t first = lines.size();
    addParagraph(lines, columns, 15, meaning);
    lines[first].push_back({.column = 1, .width = 13, .text = asciiLowered(name), .look = {.bold = true}});
  };
  word(displayTitle(ArtifactSafetyTier::safe), "can be made again, and nobody misses it");
  word(displayTitle(ArtifactSafetyTier::caution), "worth a look: making it again takes time, or it may hold your work");
  word(displayTitle(ArtifactSafetyTier::warning), "does not come back");
  word("kept", "stays even if it is marked; the details say why");
  for (const ProjectActivity activity : allCases<ProjectActivity>()) word(rawValue(activity), legendText(activity));
  return lines;
}

}  // namespace

void HelpScreen::draw(Canvas canvas) {
  const auto layout = ScreenLayout::of({canvas.columns(), canvas.rows()});
  if (!layout) return drawTooSmall(canvas);
  drawHeader(canvas, *layout, "Help", "");
  Rectangle content = layout->content;
  content.rows += 1;
  scroll_.draw(canvas.part(content), helpLines(content.columns));
  drawKeys(canvas, *layout, {{"Esc", "back"}});
}

UiAction HelpScreen::handle(const Key& key) {
  const Command command = commandOf(key);
  if (scroll_.handle(command)) return {};
  if (command == Command::suspend) return {UiAction::Kind::suspend};
  if (command == Command::redraw) return {UiAction::Kind::redraw};
  return {command == Command::none ? UiAction::Kind::none : UiAction::Kind::back};
}

}  // namespace tidra
