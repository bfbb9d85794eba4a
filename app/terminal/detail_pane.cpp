#include "app/terminal/detail_pane.h"

#include <algorithm>

#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/model/scan_vocabulary.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// A name in front of a paragraph. Returns the row behind.
std::size_t drawFact(Canvas& canvas, std::size_t row, std::string_view name, std::string_view text, Look look = {}) {
  if (text.empty()) return row;
  constexpr std::size_t names = 10;
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
      return mark.reason.empty() ? "stays" : "it " + mark.reason;
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
  const std::string freed = ByteFormatting::readable(row.freeableBytes);
  if (row.sizeBytes == row.freeableBytes) return freed;
  std::string text = freed + " of " + ByteFormatting::readable(row.sizeBytes);
  if (row.difference) text += " (" + std::string(describedDifference(*row.difference)) + ")";
  return text;
}

std::string tierText(const ResultRow& row) {
  const char* meaning = isReversible(row.tier) ? ", can be made again" : ", does not come back";
  return asciiLowered(displayTitle(row.tier)) + meaning;
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
  if (item.label.view() != lastPathComponent(item.path))
    row = canvas.putParagraph(row, 0, item.label.view(), {.ink = Ink::faint});
  ++row;
  row = drawFact(canvas, row, "Frees", sizeText(item));
  const Ink tier = item.tier == ArtifactSafetyTier::safe      ? Ink::good
                   : item.tier == ArtifactSafetyTier::caution ? Ink::attention
                                                              : Ink::bad;
  row = drawFact(canvas, row, "Tier", tierText(item), {.ink = tier});
  const bool isKept = item.mark.kind == ItemMark::Kind::kept;
  row = drawFact(canvas, row, isKept ? "Kept" : "Note", markText(item.mark),
                 {.ink = isKept ? Ink::attention : Ink::plain});
  row = drawFact(canvas, row, "After", item.hintSentence());
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
  for (std::size_t i = group.first; i < group.first + group.count && row < canvas.rows(); ++i, ++row) {
    const ResultRow& item = *state.list->items[i];
    if (state.selection.contains(item.id)) canvas.put(row, 0, canvas.glyphs().marked, {.ink = Ink::accent});
    canvas.putRight(row, 10, ByteFormatting::compact(item.freeableBytes));
    const bool isKept = item.mark.kind == ItemMark::Kind::kept;
    const std::size_t room = canvas.columns() > 24 ? canvas.columns() - 24 : 0;
    canvas.putFitted(row, 11, room, isProject ? item.label.view() : item.path, {}, Canvas::Cut::inside);
    canvas.putRight(row, canvas.columns(), isKept ? "kept" : asciiLowered(displayTitle(item.tier)),
                    {.ink = Ink::faint});
  }
}

void DetailPane::draw(Canvas canvas, const UiState& state) const {
  const ResultsLine* line = state.cursor.at();
  if (line == nullptr) return;
  if (const ResultRow* item = state.cursor.row()) return drawItem(canvas, *item, state);
  drawGroup(canvas, state.list->groups[line->group], state);
}

}  // namespace tidra
