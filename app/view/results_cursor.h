// The line that the user is on. It stays with its row or group while findings stream in, the order changes or a filter
// hides others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>

#include "app/view/results_snapshot.h"

namespace tidra {

class ResultsCursor {
 public:
  /// Follows its row or group into a new snapshot. Folded into its group, a row leaves the cursor on the head of that;
  /// a row that is gone, on the nearest of those that followed it and are still there, or else preceded it. Before the
  /// first move the cursor stays on the first line.
  void follow(std::shared_ptr<const ResultsSnapshot> snapshot);

  /// Each stops at the ends. 0 in an empty list.
  std::size_t line() const { return line_; }
  void moveBy(std::ptrdiff_t lines);
  void moveTo(std::size_t line);
  void moveToFirst() { moveTo(0); }
  void moveToLast() { moveTo(SIZE_MAX); }

  /// Goes to the nearest line after it, else before it, of a group that holds none of these rows, if its own group
  /// does: a group of which something goes changes its place in the list.
  void leave(const std::set<RowID>& rows);

  /// The line under the cursor; null in an empty list.
  const ResultsLine* at() const;
  /// The row under the cursor; null on the head of a group and in an empty list.
  const ResultRow* row() const;

 private:
  std::size_t lineIn(const ResultsSnapshot& next) const;

  std::shared_ptr<const ResultsSnapshot> snapshot_ = std::make_shared<ResultsSnapshot>();
  std::size_t line_ = 0;
  bool hasMoved_ = false;
};

}  // namespace tidra
