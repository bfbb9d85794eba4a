#include "app/terminal/results_screen.h"

#include <utility>

#include "app/terminal/results_filter_keys.h"
#include "app/terminal/screen_frame.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"

namespace tidra {
namespace {

std::string figuresText(const UiState& state) {
  std::string text = ByteFormatting::compact(state.list->all.freeableBytes) + " could be freed";
  if (state.freeBytes) text += " · " + ByteFormatting::compact(*state.freeBytes) + " free";
  return text;
}

std::string remarkText(const UiState& state) {
  std::vector<std::string> parts;
  if (!state.banner.empty()) parts.push_back(state.banner);
  if (const std::string filter = filterText(state.query.filter); !filter.empty()) parts.push_back(filter);
  const ResultsQuery usual;
  if (state.query.sort != usual.sort || state.query.reversed) parts.push_back(sortText(state.query));
  return joined(parts, " · ");
}

void drawEmpty(Canvas canvas, const UiState& state) {
  std::string text = "Nothing was found that could be freed below " + state.place + ".";
  if (state.view.size() > 0) text = "No finding passes the filter; Esc takes it off.";
  if (state.scan.isRunning && state.view.size() == 0) text = "Looking through the folders. What is found appears here.";
  canvas.part({3, 2, canvas.columns() - 6, canvas.rows()}).putParagraph(0, 0, text, {.ink = Ink::faint});
}

std::vector<Command> footerCommands(const UiState& state, bool isDetail) {
  std::vector<Command> commands{Command::mark,  Command::review, Command::filterText, Command::sort,
                                Command::group, Command::undo,   Command::help,       Command::quit};
  if (state.isReadOnly)
    commands = {Command::open, Command::filterText, Command::sort, Command::group, Command::help, Command::quit};
  if (isDetail) commands = {Command::mark, Command::review, Command::help, Command::quit};
  return commands;
}

/// Why the line cannot be marked; empty if it can.
std::string obstacleOf(const ResultRow& row, const UiState& state) {
  if (row.isMarkable()) return "";
  switch (row.mark.kind) {
    case ItemMark::Kind::part:
      return "It goes with the finding that it lies in";
    case ItemMark::Kind::unknown:
      return state.scan.isRunning ? "It can be marked when the scan has checked it"
                                  : "The scan was stopped before its checks; r scans again";
    default:
      return "It stays" + (row.mark.reason.empty() ? "" : ": it " + row.mark.reason);
  }
}

UiAction actionOf(Command command, const UiState& state) {
  using Kind = UiAction::Kind;
  switch (command) {
    case Command::undo:
      return {Kind::undo};
    case Command::openFolder:
      return {Kind::openFolder, pathUnderCursor(state)};
    case Command::copyPath:
      return {Kind::copyPath, pathUnderCursor(state)};
    case Command::exclude:
      return {Kind::exclude, pathUnderCursor(state)};
    case Command::scanAgain:
      return {Kind::scanAgain, pathUnderCursor(state)};
    case Command::scanEverything:
      return {Kind::scanEverything};
    case Command::quit:
      return {Kind::quit};
    case Command::interrupt:
      return {Kind::interrupt};
    case Command::suspend:
      return {Kind::suspend};
    case Command::redraw:
      return {Kind::redraw};
    default:
      return {screenOf(command).value_or(Kind::none)};
  }
}

/// Changes what the list shows. Returns whether the command does that.
bool changeQuery(Command command, UiState& state) {
  switch (command) {
    case Command::filterKept:
      switchKept(state.query.filter);
      break;
    case Command::filterTier:
      switchTier(state.query.filter);
      break;
    case Command::filterEcosystem:
      switchEcosystem(state.query.filter, state.view);
      break;
    case Command::sort:
      switchSort(state.query);
      state.notice = "Sorted " + sortText(state.query);
      break;
    case Command::reverse:
      state.query.reversed = !state.query.reversed;
      state.notice = "Sorted " + sortText(state.query);
      break;
    case Command::group:
      switchGrouping(state.query);
      state.notice = "Grouped " + groupingText(state.query.grouping);
      if (state.query.grouping == ResultsGrouping::flat) state.notice = "Not grouped";
      break;
    default:
      return false;
  }
  state.refresh();
  return true;
}

}  // namespace

std::string pathUnderCursor(const UiState& state) {
  if (const ResultRow* row = state.cursor.row()) return row->path;
  return projectUnderCursor(state);
}

std::string projectUnderCursor(const UiState& state) {
  if (const ResultRow* row = state.cursor.row()) return row->isDatedByProject() ? row->group.string() : "";
  const ResultsLine* line = state.cursor.at();
  const bool isProject = line != nullptr && state.query.grouping == ResultsGrouping::project;
  if (!isProject || state.list->groups[line->group].key.view().substr(0, 1) != "/") return "";
  return state.list->groups[line->group].key.string();
}

void ResultsScreen::draw(Canvas canvas, const UiState& state) {
  const auto layout = ScreenLayout::of({canvas.columns(), canvas.rows()});
  if (!layout) return drawTooSmall(canvas);
  drawHeader(canvas, *layout, state.place, figuresText(state), remarkText(state));
  const bool onlyDetail = showsDetail_ && !state.list->lines.empty();
  if (onlyDetail) {
    detail_.draw(canvas.part({2, layout->content.row, layout->content.columns - 4, layout->content.rows}), state);
  } else {
    list_.draw(canvas.part(layout->list), state);
    if (state.list->lines.empty()) drawEmpty(canvas.part(layout->list), state);
    if (layout->detail) {
      canvas.part({layout->list.columns, layout->content.row, 1, layout->content.rows})
          .putColumn(0, {.ink = Ink::faint});
      detail_.draw(canvas.part(*layout->detail), state);
    }
  }
  if (filter_) {
    filter_->draw(canvas, layout->footer.row);
    drawKeys(canvas, *layout, {{"Enter", "keep the filter"}, {"Esc", "take it off"}});
    return;
  }
  drawStatus(canvas, *layout, state);
  auto keys = keysOf(footerCommands(state, onlyDetail));
  if (onlyDetail) keys.insert(keys.begin(), {"←", "back"});
  if (state.scan.isRunning) keys.insert(keys.begin(), {"Esc", "stop"});
  drawKeys(canvas, *layout, keys);
}

std::vector<std::string> ResultsScreen::detailTexts(const UiState& state) const {
  // As tall as its group is long.
  Frame frame({200, 40 + state.list->items.size()});
  detail_.draw(Canvas(frame, ScreenGlyphs{}), state);
  std::vector<std::string> texts;
  for (std::size_t row = 0; row < frame.size().rows; ++row) {
    if (std::string line = frame.line(row); !line.empty()) texts.push_back(std::move(line));
  }
  return texts;
}

UiAction ResultsScreen::move(Command command, UiState& state) {
  const auto page = static_cast<std::ptrdiff_t>(std::max<std::size_t>(list_.visibleLines(), 2) - 1);
  if (command == Command::up) state.cursor.moveBy(-1);
  if (command == Command::down) state.cursor.moveBy(1);
  if (command == Command::pageUp) state.cursor.moveBy(-page);
  if (command == Command::pageDown) state.cursor.moveBy(page);
  if (command == Command::first) state.cursor.moveToFirst();
  if (command == Command::last) state.cursor.moveToLast();
  return {};
}

UiAction ResultsScreen::click(const Key& key, UiState& state) {
  const auto layout = ScreenLayout::of({80, 24});  // the header has as many rows at every size
  if (key.at.row < layout->content.row) return {};
  if (const auto line = list_.lineAt(key.at.row - layout->content.row, state)) state.cursor.moveTo(*line);
  return key.kind == Key::Kind::doubleClick ? open(state) : UiAction{};
}

UiAction ResultsScreen::open(UiState& state) {
  const ResultsLine* line = state.cursor.at();
  if (line == nullptr) return {};
  if (line->isHead()) {
    const ResultsGroup& group = state.list->groups[line->group];
    if (group.isFolded) {
      state.query.folded.erase(line->id);
      state.refresh();
    } else {
      state.cursor.moveBy(1);
    }
    return {};
  }
  return showDetail(state);
}

UiAction ResultsScreen::showDetail(const UiState& state) {
  showsDetail_ = state.cursor.at() != nullptr;
  const std::string project = projectUnderCursor(state);
  return project.empty() || detail_.knows(project) ? UiAction{} : UiAction{UiAction::Kind::readProject, project};
}

UiAction ResultsScreen::back(UiState& state) {
  if (std::exchange(showsDetail_, false)) return {};
  const ResultsLine* line = state.cursor.at();
  if (line == nullptr || line->group == ResultsLine::none) return {};
  const RowID group = state.list->groups[line->group].id;
  if (line->isHead()) {
    state.query.folded.insert(group);
    state.refresh();
  } else if (const auto head = state.list->lineOf(group)) {
    state.cursor.moveTo(*head);
  }
  return {};
}

UiAction ResultsScreen::escape(UiState& state) {
  if (std::exchange(showsDetail_, false)) return {};
  if (state.rangeStart) {
    state.rangeStart.reset();
  } else if (state.isFiltered()) {
    state.query.filter = {};
    state.refresh();
  } else if (state.scan.isRunning) {
    return {UiAction::Kind::stopScan};
  }
  return {};
}

UiAction ResultsScreen::typed(const Key& key, UiState& state) {
  const LinePrompt::Result result = filter_->handle(key);
  if (result == LinePrompt::Result::changed) state.query.filter.text = filter_->text();
  if (result == LinePrompt::Result::cancelled) state.query.filter.text.clear();
  if (result == LinePrompt::Result::accepted || result == LinePrompt::Result::cancelled) filter_.reset();
  if (!key.isPasted) state.refresh();  // once, behind a long text
  return {};
}

void ResultsScreen::mark(UiState& state) {
  const ResultsLine* line = state.cursor.at();
  if (line == nullptr) return;
  const ResultRow* row = state.cursor.row();
  if (row != nullptr) state.notice = obstacleOf(*row, state);
  if (line->isHead() && state.list->groups[line->group].markable == 0)
    state.notice =
        state.scan.isRunning ? "It can be marked when the scan has checked it" : "Nothing in it can be marked";
  state.selection.toggle(*state.list, state.cursor.line());
  state.refresh();
  if (row != nullptr && state.notice.empty()) state.cursor.moveBy(1);
}

void ResultsScreen::markRange(UiState& state) {
  const ResultsLine* line = state.cursor.at();
  if (line == nullptr) return;
  if (!state.rangeStart) {
    state.rangeStart = line->id;
    return;
  }
  const auto from = state.list->lineOf(*state.rangeStart);
  state.selection.markRange(*state.list, from.value_or(state.cursor.line()), state.cursor.line());
  state.rangeStart.reset();
  state.refresh();
}

/// Returns whether the command does that.
bool ResultsScreen::changeMarks(Command command, UiState& state) {
  switch (command) {
    case Command::mark:
      mark(state);
      return true;
    case Command::markRange:
      markRange(state);
      return true;
    case Command::markShown:
      state.selection.markShown(*state.list);
      break;
    case Command::markNone:
      state.selection.clear();
      break;
    default:
      return false;
  }
  state.refresh();
  return true;
}

UiAction ResultsScreen::handle(const Key& key, UiState& state) {
  state.notice.clear();
  if (filter_) return typed(key, state);
  if (key.kind == Key::Kind::click || key.kind == Key::Kind::doubleClick) return click(key, state);
  if (key.kind == Key::Kind::wheelUp || key.kind == Key::Kind::wheelDown) {
    constexpr std::ptrdiff_t linesOfWheel = 3;
    state.cursor.moveBy(key.kind == Key::Kind::wheelUp ? -linesOfWheel : linesOfWheel);
    return {};
  }
  const Command command = commandOf(key);
  if (changeQuery(command, state) || changeMarks(command, state)) return {};
  switch (command) {
    case Command::up:
    case Command::down:
    case Command::pageUp:
    case Command::pageDown:
    case Command::first:
    case Command::last:
      return move(command, state);
    case Command::open:
      return open(state);
    case Command::back:
      return back(state);
    case Command::details:
      return std::exchange(showsDetail_, false) ? UiAction{} : showDetail(state);
    case Command::filterText:
      filter_.emplace("Filter:", state.query.filter.text);
      return {};
    case Command::review:
      if (state.isReadOnly) state.notice = "Opened with --read-only: nothing is removed";
      return state.isReadOnly ? UiAction{} : UiAction{UiAction::Kind::review};
    case Command::escape:
      return escape(state);
    default:
      return actionOf(command, state);
  }
}

}  // namespace tidra
