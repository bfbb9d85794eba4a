#include "app/terminal/result_list.h"

#include <algorithm>
#include <string>

#include "app/terminal/layout.h"
#include "app/terminal/theme.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {
namespace {

/// A line of the list without its position.
struct ShownLine {
  std::string_view mark;  // a glyph; empty: not marked
  std::int64_t bytes = 0;
  bool hasBar = false;
  std::string name;
  std::size_t indent = 0;
  std::string age;
  std::string word;
  Look bytesLook;
  Look nameLook;
  Look wordLook;
};

/// The latest of its items.
std::optional<ProjectActivity> activityOf(const ResultsGroup& group, const ResultsSnapshot& list) {
  std::optional<ProjectActivity> latest;
  for (std::size_t i = group.first; i < group.first + group.count; ++i) {
    const auto& activity = list.items[i]->activity;
    if (activity && (!latest || *activity < *latest)) latest = activity;
  }
  return latest;
}

/// The header names what was scanned; here is the way from there.
std::string belowPlace(std::string name, const UiState& state) {
  const bool isBelow = name.size() > state.place.size() + 1 && name.starts_with(state.place) && !state.place.empty() &&
                       name[state.place.size()] == '/';
  return isBelow ? name.substr(state.place.size() + 1) : name;
}

ShownLine headLine(const ResultsGroup& group, const UiState& state, const ScreenGlyphs& glyphs) {
  ShownLine line;
  line.mark = group.marks() == MarkState::all    ? glyphs.marked
              : group.marks() == MarkState::some ? glyphs.partlyMarked
                                                 : std::string_view();
  line.bytes = group.freeableBytes;
  line.hasBar = true;
  line.bytesLook = group.freeableBytes > 0 ? Look{.bold = true} : Look{.ink = Ink::faint};
  line.name = belowPlace(group.name.string(), state);
  if (group.isFolded) line.name += " (" + counted(group.count, "item", "items") + ")";
  line.age = idleText(group.lastActivity, state.now);
  line.nameLook.bold = true;
  if (const auto activity = activityOf(group, *state.list)) {
    line.word = rawValue(*activity);
    line.wordLook.ink = inkOf(*activity);
  }
  return line;
}

/// Within its project by the way from there, elsewhere from what was scanned or from the home folder.
std::string nameOf(const ResultRow& row, const UiState& state, bool isInGroup) {
  const std::string_view group = row.group.view();
  const bool isBelow = isInGroup && row.path.size() > group.size() + 1 && row.path.starts_with(group) &&
                       !group.empty() && row.path[group.size()] == '/';
  return isBelow ? row.path.substr(group.size() + 1) : belowPlace(placeText(row.path, state.home), state);
}

ShownLine itemLine(const ResultRow& row, const UiState& state, const ScreenGlyphs& glyphs) {
  const bool isFlat = state.query.grouping == ResultsGrouping::flat;
  ShownLine line;
  if (state.selection.contains(row.id)) line.mark = glyphs.marked;
  line.bytes = row.freeableBytes;
  line.hasBar = isFlat;
  line.name = nameOf(row, state, state.query.grouping == ResultsGrouping::project);
  line.indent = isFlat ? 0 : 2;
  line.age = idleText(row.lastActivity, state.now);
  const bool isKept = row.mark.kind == ItemMark::Kind::kept;
  line.word = isKept ? "kept" : row.mark.kind == ItemMark::Kind::part ? "part" : asciiLowered(displayTitle(row.tier));
  line.wordLook.ink = isKept ? Ink::faint : inkOf(row.tier);
  // What stays frees nothing.
  if (isKept || row.mark.kind == ItemMark::Kind::part) line.nameLook.ink = line.bytesLook.ink = Ink::faint;
  return line;
}

/// What the longest bar stands for.
std::int64_t largestBytes(const ResultsSnapshot& list) {
  std::int64_t most = 1;
  for (const ResultsGroup& group : list.groups) most = std::max(most, group.freeableBytes);
  if (list.groups.empty()) {
    for (const ResultRow* item : list.items) most = std::max(most, item->freeableBytes);
  }
  return most;
}

void drawTitles(Canvas& canvas, const ResultColumns& columns, const UiState& state) {
  const Look look{.ink = Ink::faint};
  canvas.putRight(0, columns.sizeEnd, "Frees", look);
  const char* name = state.query.grouping == ResultsGrouping::project     ? "Project"
                     : state.query.grouping == ResultsGrouping::ecosystem ? "Ecosystem"
                     : state.query.grouping == ResultsGrouping::activity  ? "Activity"
                                                                          : "Path";
  canvas.putFitted(0, columns.name, columns.nameWidth, name, look);
  canvas.putRight(0, columns.age + columns.ageWidth, "Idle", look);
}

void drawLine(Canvas& canvas, std::size_t row, const ShownLine& line, const ResultColumns& columns, bool isCursor,
              std::int64_t most) {
  if (isCursor) canvas.put(row, 0, canvas.glyphs().cursor, {.ink = Ink::accent, .bold = true});
  canvas.put(row, 1, line.mark, {.ink = Ink::accent, .bold = true});
  canvas.putRight(row, columns.sizeEnd, ByteFormatting::compact(line.bytes), line.bytesLook);
  if (line.hasBar && columns.barWidth > 0) {
    canvas.putBar(row, columns.bar, columns.barWidth, static_cast<double>(line.bytes) / static_cast<double>(most),
                  {.ink = Ink::accent});
  }
  Look name = line.nameLook;
  name.reverse = isCursor;
  const std::size_t indent = std::min(line.indent, columns.nameWidth);
  canvas.putFitted(row, columns.name + indent, columns.nameWidth - indent, line.name, name, Canvas::Cut::inside);
  canvas.putRight(row, columns.age + columns.ageWidth, line.age, {.ink = Ink::faint});
  if (columns.wordWidth > 0) canvas.putFitted(row, columns.word, columns.wordWidth, line.word, line.wordLook);
}

}  // namespace

void ResultList::draw(Canvas canvas, const UiState& state) {
  const ResultColumns columns = ResultColumns::of(canvas.columns());
  visible_ = canvas.rows() > 1 ? canvas.rows() - 1 : 0;
  const auto& lines = state.list->lines;
  first_ = firstVisible(first_, state.cursor.line(), lines.size(), visible_);
  if (!lines.empty()) drawTitles(canvas, columns, state);
  const std::int64_t most = largestBytes(*state.list);
  for (std::size_t i = 0; i < visible_ && first_ + i < lines.size(); ++i) {
    const ResultsLine& line = lines[first_ + i];
    const ResultRow* item = state.list->itemOf(line);
    drawLine(canvas, i + 1,
             item == nullptr ? headLine(state.list->groups[line.group], state, canvas.glyphs())
                             : itemLine(*item, state, canvas.glyphs()),
             columns, first_ + i == state.cursor.line(), most);
  }
}

std::optional<std::size_t> ResultList::lineAt(std::size_t row, const UiState& state) const {
  if (row == 0 || row > visible_ || first_ + row - 1 >= state.list->lines.size()) return std::nullopt;
  return first_ + row - 1;
}

}  // namespace tidra
