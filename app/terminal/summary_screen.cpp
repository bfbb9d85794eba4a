#include "app/terminal/summary_screen.h"

#include <algorithm>
#include <utility>

#include "app/terminal/plain_text.h"
#include "app/terminal/screen_frame.h"
#include "app/view/duration_text.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/path_text.h"

namespace tidra {

namespace {

/// An item with the folder that it lies in.
std::string shortPath(const std::string& path) {
  const std::string folder = parentPath(path);
  const std::string_view name = lastPathComponent(path);
  const std::string_view above = lastPathComponent(folder);
  return above.empty() ? std::string(name) : std::string(above) + "/" + std::string(name);
}

}  // namespace

std::string removalLine(const CleanupJobProgress& progress) {
  const CleanupProgress& removal = progress.removal;
  std::string line = "removing " + std::to_string(std::min(removal.itemsDone + 1, removal.items)) + " of " +
                     std::to_string(removal.items);
  if (removal.entriesRemoved > 0) line += " · " + counted(removal.entriesRemoved, "file", "files");
  if (progress.pace.bytesPerSecond >= 1)
    line +=
        " · " + ByteFormatting::compact(static_cast<std::int64_t>(std::min(progress.pace.bytesPerSecond, 1e15))) + "/s";
  if (progress.pace.secondsLeft) line += " · " + timeLeftText(*progress.pace.secondsLeft);
  if (!removal.currentPath.empty()) line += " · " + shortPath(removal.currentPath);
  return line;
}

void SummaryScreen::show(RemovalSummary summary, std::vector<std::string> notes) {
  summary_ = std::move(summary);
  notes_ = std::move(notes);
  restored_ = 0;
  scroll_.toTop();
}

std::vector<ScreenLine> SummaryScreen::lines(std::size_t columns, const UiState& state) const {
  std::vector<ScreenLine> lines;
  if (!summary_) return lines;
  Look look{.bold = true};
  for (const std::string& sentence : summary_->sentences()) {
    addParagraph(lines, columns, 1, sentence, look);
    look = {};
  }
  if (restored_ > 0) {
    addParagraph(lines, columns, 1, counted(restored_, "item has", "items have") + " been brought back since.",
                 {.bold = true});
  }
  for (const auto* notes : {&summary_->notes, &notes_}) {
    for (const std::string& note : *notes) addParagraph(lines, columns, 1, note, {.ink = Ink::faint});
  }
  if (summary_->failures.empty()) return lines;
  lines.emplace_back();
  addParagraph(lines, columns, 1, counted(summary_->failures.size(), "item stays:", "items stay:"),
               {.ink = Ink::attention});
  for (const TidraDeletionFailure& failure : summary_->failures) {
    lines.push_back({{.column = 1, .text = placeText(failure.path, state.home), .cut = Canvas::Cut::inside}});
    addParagraph(lines, columns, 3, failure.message, {.ink = Ink::faint});
  }
  return lines;
}

std::vector<std::string> SummaryScreen::texts(const UiState& state) const {
  return plainTexts(lines(columnsOfPlainText, state));
}

void SummaryScreen::draw(Canvas canvas, const UiState& state) {
  const auto layout = ScreenLayout::of({canvas.columns(), canvas.rows()});
  if (!layout) return drawTooSmall(canvas);
  drawHeader(canvas, *layout, "What the removal did", "");
  scroll_.draw(canvas.part(layout->content), lines(layout->content.columns, state));
  drawStatus(canvas, *layout, state);
  std::vector<std::pair<std::string, std::string>> keys{{"Esc", "back to the list"}};
  if (summary_ && summary_->canBeUndone()) keys.insert(keys.begin(), {"u", "undo"});
  drawKeys(canvas, *layout, keys);
}

UiAction SummaryScreen::handle(const Key& key) {
  const Command command = commandOf(key);
  if (scroll_.handle(command)) return {};
  switch (command) {
    case Command::undo:
      return {UiAction::Kind::undo};
    case Command::back:
    case Command::open:
      return {UiAction::Kind::results};
    default:
      return actionBesideList(command);
  }
}

}  // namespace tidra
