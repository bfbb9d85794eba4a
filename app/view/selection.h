// What the user has marked for a removal. Only findings are marked, never a folder around them; none beforehand.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "app/view/result_row.h"

namespace tidra {

class ResultsView;
struct ResultsSnapshot;

/// Marks stay with the id of their row, also while a list hides it.
class Selection {
 public:
  bool contains(RowID id) const { return !marked_.empty() && marked_.contains(id); }
  bool empty() const { return marked_.empty(); }
  std::size_t size() const { return marked_.size(); }

  const std::unordered_set<RowID>& ids() const { return marked_; }

  /// Marks a row that may be marked. Returns whether it is marked now.
  bool mark(const ResultRow& row);
  void unmark(RowID id) { marked_.erase(id); }
  void clear() { marked_.clear(); }

  /// An item: marks it, or no longer. The head of a group: marks all of its items that the filter shows and that may be
  /// marked, or none if all of these are marked. Does nothing behind the last line.
  void toggle(const ResultsSnapshot& snapshot, std::size_t line);
  /// Marks the items of these lines, in any order, both included; the head of a folded group stands for its items.
  void markRange(const ResultsSnapshot& snapshot, std::size_t from, std::size_t to);
  /// What the filter shows, folded or not.
  void markShown(const ResultsSnapshot& snapshot);
  void invertShown(const ResultsSnapshot& snapshot);

  /// Marks that are no longer there.
  struct [[nodiscard]] Dropped {
    std::size_t count = 0;

    /// "2 marked items are gone or must stay now"; empty for none.
    std::string sentence() const;
  };
  /// Drops the marks of rows that are gone or may no longer be marked. Call when a scan has ended.
  Dropped recheck(const ResultsView& view);

  /// The marked rows, in the order of the view's; valid until it changes.
  std::vector<const ResultRow*> rowsIn(const ResultsView& view) const;
  /// Their paths, for a removal.
  std::set<std::string> pathsIn(const ResultsView& view) const;

 private:
  std::unordered_set<RowID> marked_;
};

}  // namespace tidra
