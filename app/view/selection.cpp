#include "app/view/selection.h"

#include <algorithm>
#include <functional>

#include "app/view/results_snapshot.h"
#include "app/view/results_view.h"
#include "core/base/text.h"

namespace tidra {
namespace {

using Visit = std::function<void(const ResultRow&)>;

void visitGroup(const ResultsSnapshot& snapshot, const ResultsGroup& group, const Visit& visit) {
  for (std::size_t i = group.first; i < group.first + group.count; ++i) visit(*snapshot.items[i]);
}

}  // namespace

bool Selection::mark(const ResultRow& row) {
  if (!row.isMarkable()) return false;
  marked_.insert(row.id);
  return true;
}

void Selection::toggle(const ResultsSnapshot& snapshot, std::size_t line) {
  if (line >= snapshot.lines.size()) return;
  const ResultsLine& at = snapshot.lines[line];
  if (!at.isHead()) {
    if (marked_.erase(at.id) == 0) mark(*snapshot.items[at.item]);
    return;
  }
  std::size_t added = 0;
  const ResultsGroup& group = snapshot.groups[at.group];
  visitGroup(snapshot, group, [&](const ResultRow& row) {
    if (!contains(row.id) && mark(row)) ++added;
  });
  if (added == 0) visitGroup(snapshot, group, [&](const ResultRow& row) { unmark(row.id); });
}

void Selection::markRange(const ResultsSnapshot& snapshot, std::size_t from, std::size_t to) {
  if (from > to) std::swap(from, to);
  for (std::size_t i = from; i <= to && i < snapshot.lines.size(); ++i) {
    const ResultsLine& line = snapshot.lines[i];
    if (!line.isHead()) {
      mark(*snapshot.items[line.item]);
    } else if (snapshot.groups[line.group].isFolded) {
      visitGroup(snapshot, snapshot.groups[line.group], [&](const ResultRow& row) { mark(row); });
    }
  }
}

void Selection::markShown(const ResultsSnapshot& snapshot) {
  for (const ResultRow* row : snapshot.items) mark(*row);
}

void Selection::invertShown(const ResultsSnapshot& snapshot) {
  for (const ResultRow* row : snapshot.items) {
    if (marked_.erase(row->id) == 0) mark(*row);
  }
}

Selection::Dropped Selection::recheck(const ResultsView& view) {
  return {std::erase_if(marked_, [&](RowID id) {
    const ResultRow* row = view.find(id);
    return row == nullptr || !row->isMarkable();
  })};
}

std::string Selection::Dropped::sentence() const {
  if (count == 0) return {};
  return counted(count, "marked item is gone or must stay now", "marked items are gone or must stay now");
}

std::vector<const ResultRow*> Selection::rowsIn(const ResultsView& view) const {
  std::vector<const ResultRow*> rows;
  for (std::size_t i = 0; !empty() && i < view.size(); ++i) {
    const ResultRow& row = view.row(i);
    if (contains(row.id) && view.find(row.id) == &row) rows.push_back(&row);
  }
  return rows;
}

std::set<std::string> Selection::pathsIn(const ResultsView& view) const {
  std::set<std::string> paths;
  for (const ResultRow* row : rowsIn(view)) paths.insert(row->path);
  return paths;
}

}  // namespace tidra
