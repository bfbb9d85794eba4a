#include "app/terminal/screen_frame.h"

#include "core/base/text.h"
#include "core/model/byte_formatting.h"

namespace tidra {
namespace {

std::string markedText(const UiState& state) {
  if (!state.notice.empty()) return state.notice;
  if (state.rangeStart) return "Marking a range: move, then v; Esc leaves it";
  const ResultsTotals& marked = state.list->marked;
  if (marked.items == 0) return "Nothing is marked";
  return counted(marked.items, "marked, frees ", "marked, frees ") + ByteFormatting::compact(marked.freeableBytes);
}

using KeyWords = std::vector<std::pair<std::string, std::string>>;

/// The last two, which lead out of a screen or to the help, stay where there is no room for all.
void leaveOutMiddle(KeyWords& keys, std::size_t columns) {
  constexpr std::size_t lastOnes = 2;
  const auto width = [&] {
    std::size_t sum = 1;
    for (const auto& [key, word] : keys) sum += displayWidth(key) + 1 + displayWidth(word) + 2;
    return sum;
  };
  while (keys.size() > lastOnes + 1 && width() > columns + 2) {
    keys.erase(keys.end() - static_cast<std::ptrdiff_t>(lastOnes) - 1);
  }
}

std::string scanStatus(const ShownScan& scan) {
  if (!scan.isRunning) return "";
  if (scan.isStopping) return "stopping…";
  const std::string what = scan.phase.empty() ? "scanning…" : scan.phase + "…";
  return what + " " + counted(scan.entries, "entry", "entries") + ", " + counted(scan.findings, "finding", "findings");
}

}  // namespace

void drawHeader(Canvas& canvas, const ScreenLayout& layout, std::string_view title, std::string_view figures,
                std::string_view remark) {
  const std::size_t row = layout.header.row;
  const std::size_t end = layout.header.columns - 1;
  const std::size_t width = displayWidth(figures);
  std::size_t column = canvas.put(row, 1, "Tidra", {.ink = Ink::accent, .bold = true}) + 2;
  const bool bothFit = column + 12 + width < end;
  const std::size_t room = bothFit ? end - width - 1 - column : end - column;
  canvas.putFitted(row, column, room, title, {.bold = true}, Canvas::Cut::inside);
  if (bothFit) canvas.putRight(row, end, figures);
  canvas.putRule(layout.headerRule, {.ink = Ink::faint});
  if (!remark.empty()) {
    canvas.putFitted(layout.headerRule, 3, layout.header.columns - 6, " " + std::string(remark) + " ",
                     {.ink = Ink::faint});
  }
}

void drawKeys(Canvas& canvas, const ScreenLayout& layout, std::vector<std::pair<std::string, std::string>> keys) {
  const std::size_t row = layout.footer.row + 1;
  leaveOutMiddle(keys, layout.footer.columns);
  std::size_t column = 1;
  for (const auto& [key, word] : keys) {
    if (column + displayWidth(key) + 1 + displayWidth(word) > layout.footer.columns) break;
    column = canvas.put(row, column, key, {.bold = true}) + 1;
    column = canvas.put(row, column, word, {.ink = Ink::faint}) + 2;
  }
}

void drawStatus(Canvas& canvas, const ScreenLayout& layout, const UiState& state) {
  const std::size_t row = layout.footer.row;
  const std::size_t end = layout.footer.columns - 1;
  const std::string work = state.removal.empty() ? scanStatus(state.scan) : state.removal;
  const std::string marked = markedText(state);
  const bool bothFit = 1 + displayWidth(marked) + 2 + displayWidth(work) <= end;
  // In a narrow terminal a notice and what is marked come before the work that goes on.
  if (!bothFit && state.notice.empty() && state.list->marked.items == 0) {
    canvas.putFitted(row, 1, end - 1, work, {.ink = Ink::faint});
    return;
  }
  canvas.putFitted(row, 1, end - 1, marked,
                   {.ink = state.notice.empty() ? Ink::plain : Ink::attention, .bold = state.list->marked.items > 0});
  if (bothFit) canvas.putRight(row, end, work, {.ink = state.removal.empty() ? Ink::faint : Ink::plain});
}

std::vector<std::pair<std::string, std::string>> keysOf(const std::vector<Command>& commands) {
  std::vector<std::pair<std::string, std::string>> keys;
  for (const Command command : commands) {
    const KeyBinding& row = bindingOf(command);
    keys.emplace_back(row.keys, row.footer);
  }
  return keys;
}

void drawTooSmall(Canvas& canvas) { canvas.putParagraph(0, 0, "Tidra needs 40 columns and 10 rows; q quits."); }

}  // namespace tidra
