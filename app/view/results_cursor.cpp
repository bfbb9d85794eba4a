#include "app/view/results_cursor.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tidra {
namespace {

std::size_t lastLine(const ResultsSnapshot& snapshot) { return snapshot.lines.empty() ? 0 : snapshot.lines.size() - 1; }

std::optional<std::size_t> headOfItem(const ResultsSnapshot& snapshot, RowID id) {
  const auto item =
      std::find_if(snapshot.items.begin(), snapshot.items.end(), [id](const ResultRow* row) { return row->id == id; });
  if (item == snapshot.items.end()) return std::nullopt;
  const auto place = static_cast<std::size_t>(item - snapshot.items.begin());
  for (const ResultsGroup& group : snapshot.groups) {
    if (place >= group.first && place < group.first + group.count) return snapshot.lineOf(group.id);
  }
  return std::nullopt;
}

}  // namespace

std::size_t ResultsCursor::lineIn(const ResultsSnapshot& next) const {
  const auto& lines = snapshot_->lines;
  if (!hasMoved_ || lines.empty()) return 0;
  const RowID id = lines[line_].id;
  if (const auto line = next.lineOf(id)) return *line;
  if (const auto head = headOfItem(next, id)) return *head;
  std::unordered_map<RowID, std::size_t> lineOf;
  for (std::size_t i = 0; i < next.lines.size(); ++i) lineOf.emplace(next.lines[i].id, i);
  for (std::size_t i = line_ + 1; i < lines.size(); ++i) {
    if (const auto line = lineOf.find(lines[i].id); line != lineOf.end()) return line->second;
  }
  for (std::size_t i = line_; i-- > 0;) {
    if (const auto line = lineOf.find(lines[i].id); line != lineOf.end()) return line->second;
  }
  return std::min(line_, lastLine(next));
}

void ResultsCursor::follow(std::shared_ptr<const ResultsSnapshot> snapshot) {
  line_ = lineIn(*snapshot);
  snapshot_ = std::move(snapshot);
}

void ResultsCursor::moveTo(std::size_t line) {
  hasMoved_ = true;
  line_ = std::min(line, lastLine(*snapshot_));
}

void ResultsCursor::moveBy(std::ptrdiff_t lines) {
  const auto back = lines < 0 ? static_cast<std::size_t>(-lines) : 0;
  const auto forward = lines > 0 ? std::min(static_cast<std::size_t>(lines), snapshot_->lines.size()) : 0;
  moveTo(line_ - std::min(line_, back) + forward);
}

void ResultsCursor::leave(const std::set<RowID>& rows) {
  const auto isAmong = [&](const ResultRow* row) { return rows.contains(row->id); };
  std::vector<bool> isLeftGroup;
  for (const ResultsGroup& group : snapshot_->groups) {
    const auto first = snapshot_->items.begin() + static_cast<std::ptrdiff_t>(group.first);
    isLeftGroup.push_back(std::any_of(first, first + static_cast<std::ptrdiff_t>(group.count), isAmong));
  }
  const auto isLeft = [&](const ResultsLine& line) {
    return line.group == ResultsLine::none ? isAmong(snapshot_->items[line.item]) : isLeftGroup[line.group];
  };
  const auto& lines = snapshot_->lines;
  if (lines.empty() || !isLeft(lines[line_])) return;
  const auto here = lines.begin() + static_cast<std::ptrdiff_t>(line_);
  auto next = std::find_if_not(here, lines.end(), isLeft);
  if (next == lines.end()) {
    const auto before = std::find_if_not(std::make_reverse_iterator(here), lines.rend(), isLeft);
    if (before == lines.rend()) return;
    next = std::prev(before.base());
  }
  moveTo(static_cast<std::size_t>(next - lines.begin()));
}

const ResultsLine* ResultsCursor::at() const { return snapshot_->lines.empty() ? nullptr : &snapshot_->lines[line_]; }

const ResultRow* ResultsCursor::row() const { return at() == nullptr ? nullptr : snapshot_->itemOf(*at()); }

}  // namespace tidra
