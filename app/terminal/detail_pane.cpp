#include "app/terminal/detail_pane.h"

#include <algorithm>

#include "app/terminal/theme.h"
#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/model/scan_vocabulary.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// A name in front of a paragraph. Returns the row behind.
std::size_t drawFact(Canvas& canvas, std::size_t row, std::string_view name, std::string_view text, Look look = {}) {
  if (text.empty()) return row;
  constexpr std::size_t names = 12;
  canvas.put(row, 0, name, {.ink = Ink::faint});
  return canvas.putParagraph(row, names, text, look);
}

std::string markText(const ItemMark& mark) {
  switch (mark.kind) {
    case ItemMark::Kind::goes:
      return "";
    case ItemMark::Kind::part:
      return "goes with what it lies in";
    case ItemMark::Kind::review:
      return mark.reason.empty() ? "left to you" : mark.reason;
    case ItemMark::Kind::kept:
      return mark.reason.empty() ? "stays" : reasonText(mark.reason);
    case ItemMark::Kind::unknown:
      return "not checked yet";
  }
  return "";
}

std::string lastActivityText(const ResultRow& row, TimePoint now) {
  if (!row.lastActivity) return "unknown";
  const std::string from = row.isDatedByProject() ? "by the files and commits of its project" : "by its own files";
  return idleText(row.lastActivity, now) + ", " + from;
}

std::string sizeText(const ResultRow& row) {
  std::string freed = ByteFormatting::readable(row.freeableBytes);
  const std::string size = ByteFormatting::readable(row.sizeBytes);
  if (size == freed) return freed;
  std::string text = freed + " of " + size;
  if (row.difference) text += " (" + std::string(describedDifference(*row.difference)) + ")";
  return text;
}

/// Rules name some folders "target/".
std::string_view withoutSlash(std::string_view label) {
  if (label.ends_with('/')) label.remove_suffix(1);
  return label;
}

std::string_view hintName(ItemHint::Kind kind) {
  switch (kind) {
    case ItemHint::Kind::wayBack:
      return "Back with";
    case ItemHint::Kind::afterwards:
      return "After";
    case ItemHint::Kind::careful:
      return "Careful";
    case ItemHint::Kind::plain:
      break;
  }
  return "Hint";
}

/// What a line of a group says below the item: why it stays, or what comes afterwards.
std::string remarkText(const ResultRow& row) {
  if (row.mark.kind == ItemMark::Kind::kept) return markText(row.mark);
  if (row.hint.empty()) return "";
  return asciiLowered(hintName(row.hintKind)) + ": " + row.hint.string();
}

std::string tierText(const ResultRow& row) {
  const char* meaning = isReversible(row.tier) ? ", can be made again" : ", does not come back";
  return asciiLowered(displayTitle(row.tier)) + meaning;
}

/// An item in the list of its group, and a remark below it. Returns the row behind.
std::size_t drawMember(Canvas& canvas, std::size_t row, const ResultRow& item, const UiState& state) {
  constexpr std::size_t sizeEnd = 10;
  constexpr std::size_t name = sizeEnd + 2;
  constexpr std::size_t word = 13;  // with a blank before it
  const bool isKept = item.mark.kind == ItemMark::Kind::kept;
  const bool isProject = state.query.grouping == ResultsGrouping::project;
  if (state.selection.contains(item.id)) canvas.put(row, 0, canvas.glyphs().marked, {.ink = Ink::accent, .bold = true});
  canvas.putRight(row, sizeEnd, ByteFormatting::compact(item.freeableBytes), {.ink = isKept ? Ink::faint : Ink::plain});
  const std::size_t room = canvas.columns() > name + word ? canvas.columns() - name - word : 0;
  canvas.putFitted(row, name, room, isProject ? item.label.view() : item.path, {}, Canvas::Cut::inside);
  canvas.putRight(row, canvas.columns(), isKept ? "kept" : asciiLowered(displayTitle(item.tier)),
                  {.ink = isKept ? Ink::faint : inkOf(item.tier)});
  ++row;
  const std::string remark = remarkText(item);
  if (remark.empty() || !isProject) return row;
  canvas.putFitted(row, name, canvas.columns() - std::min(canvas.columns(), name), remark, {.ink = Ink::faint});
  return row + 1;
}

}  // namespace

std::size_t DetailPane::drawProject(Canvas& canvas, std::size_t row, const std::string& project) const {
  const auto found = projects_.find(project);
  if (found == projects_.end()) return row;
  const ProjectFacts& facts = found->second;
  row = drawFact(canvas, row, "Branch", facts.branch);
  row = drawFact(canvas, row, "Changes", facts.status);
  return drawFact(canvas, row, "Commit", facts.commit);
}

void DetailPane::drawItem(Canvas& canvas, const ResultRow& item, const UiState& state) const {
  std::size_t row = canvas.putParagraph(0, 0, placeText(item.path, state.home), {.bold = true});
  if (lastPathComponent(item.path) != withoutSlash(item.label.view()))
    row = canvas.putParagraph(row, 0, item.label.view(), {.ink = Ink::faint});
  ++row;
  row = drawFact(canvas, row, "Frees", sizeText(item));
  row = drawFact(canvas, row, "Tier", tierText(item), {.ink = inkOf(item.tier)});
  const bool isKept = item.mark.kind == ItemMark::Kind::kept;
  row = drawFact(canvas, row, isKept ? "Kept" : "Note", markText(item.mark),
                 {.ink = isKept ? Ink::attention : Ink::plain});
  row = drawFact(canvas, row, hintName(item.hintKind), item.hint.view());
  row = drawFact(canvas, row, "Last used", lastActivityText(item, state.now));
  if (item.activity) row = drawFact(canvas, row, "Activity", rawValue(*item.activity));
  // The path names the project that it lies in.
  if (!isSameOrInside(item.path, item.group.view()))
    row = drawFact(canvas, row, item.isInSystemGroup() ? "Category" : "Project", item.groupName.view());
  drawProject(canvas, row, item.group.string());
}

void DetailPane::drawGroup(Canvas& canvas, const ResultsGroup& group, const UiState& state) const {
  std::size_t row = canvas.putParagraph(0, 0, group.name.view(), {.bold = true});
  const bool isProject = state.query.grouping == ResultsGrouping::project;
  const std::string place = placeText(group.key.string(), state.home);
  if (isProject && place != group.name.view()) row = canvas.putParagraph(row, 0, place, {.ink = Ink::faint});
  ++row;
  row = drawFact(canvas, row, "Frees", ByteFormatting::readable(group.freeableBytes));
  row = drawFact(canvas, row, "Last used", idleText(group.lastActivity, state.now));
  if (isProject) row = drawProject(canvas, row, group.key.string());
  ++row;
  for (std::size_t i = group.first; i < group.first + group.count && row < canvas.rows(); ++i)
    row = drawMember(canvas, row, *state.list->items[i], state);
}

void DetailPane::draw(Canvas canvas, const UiState& state) const {
  const ResultsLine* line = state.cursor.at();
  if (line == nullptr) return;
  if (const ResultRow* item = state.cursor.row()) return drawItem(canvas, *item, state);
  drawGroup(canvas, state.list->groups[line->group], state);
}

}  // namespace tidra
