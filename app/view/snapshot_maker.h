// Filters, sorts and groups the rows of a ResultsView.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "app/view/results_query.h"
#include "app/view/results_snapshot.h"
#include "app/view/results_view.h"
#include "app/view/selection.h"

namespace tidra {

/// The number of the class of unknown activity, behind those of ProjectActivity.
inline constexpr std::size_t unknownActivity = 4;

/// Returns a word as it is searched for in the texts of a ResultsView.
std::string searchText(std::string_view word);

class SnapshotMaker {
 public:
  SnapshotMaker(const ResultsView& view, const ResultsQuery& query, const Selection& selection);

  std::shared_ptr<const ResultsSnapshot> make();

 private:
  using Facts = ResultsView::Facts;

  bool isMarked(std::uint32_t row) const { return !isMarked_.empty() && isMarked_[row]; }
  bool passes(std::uint32_t row) const;
  std::vector<std::uint32_t> orderedRows() const;
  std::size_t classOf(const Facts& facts) const;
  const RowClass& classAt(std::size_t number) const;
  std::size_t rankOf(std::size_t number) const;
  std::size_t classCount() const;

  void makeGroups(const std::vector<std::uint32_t>& ordered);
  void countIn(ResultsGroup& group, std::uint32_t row) const;
  void sumGroups();
  std::vector<std::size_t> orderOfGroups() const;
  void arrange(const std::vector<std::uint32_t>& ordered);
  void addLines();
  void addTotals(const std::vector<std::uint32_t>& ordered);

  /// Returns the totals of each part. `partOf` is the part of each row, or CombinedUse::noPart.
  std::vector<ResultsTotals> totalsOf(std::vector<std::size_t> partOf, std::size_t parts) const;
  /// Returns what removing the rows of each part frees. `partOf` as above.
  std::vector<std::int64_t> freeableOfParts(const std::vector<std::size_t>& partOf, std::size_t parts) const;

  const ResultsView& view_;
  const ResultsQuery& query_;
  std::vector<std::string> words_;       // of the filter
  std::vector<bool> isMarked_;           // of each row; empty if none is
  std::vector<bool> hasEcosystem_;       // of each class, whether the filter shows it
  std::vector<std::size_t> groupOfRow_;  // noPart for a row that does not pass
  std::vector<std::size_t> groupClass_;  // of each group
  std::shared_ptr<ResultsSnapshot> snapshot_ = std::make_shared<ResultsSnapshot>();
};

}  // namespace tidra
