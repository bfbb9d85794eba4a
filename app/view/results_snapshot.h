// A list of results at one moment. Immutable: it stays true to its moment while further findings come.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "app/view/result_row.h"

namespace tidra {

enum class MarkState { none, some, all };

struct ResultsGroup {
  RowID id = 0;   // stable
  LentText key;   // a project folder, a system group root, an ecosystem or an activity
  LentText name;  // for display
  std::size_t first = 0;
  std::size_t count = 0;           // of its items
  std::int64_t freeableBytes = 0;  // of what is not kept
  std::size_t markable = 0;
  std::size_t marked = 0;
  std::optional<TimePoint> lastActivity;  // the latest of its items
  bool isFolded = false;

  MarkState marks() const {
    if (marked == 0) return MarkState::none;
    return marked == markable ? MarkState::all : MarkState::some;
  }

  bool operator==(const ResultsGroup&) const = default;
};

/// The head of a group, or one item.
struct ResultsLine {
  static constexpr std::size_t none = SIZE_MAX;

  RowID id = 0;              // of the group or the row
  std::size_t group = none;  // none in a flat list
  std::size_t item = none;   // none for a head

  bool isHead() const { return item == none; }

  bool operator==(const ResultsLine&) const = default;
};

struct ResultsTotals {
  std::size_t items = 0;
  std::int64_t freeableBytes = 0;

  bool operator==(const ResultsTotals&) const = default;
};

/// Sums of freeable bytes leave out what is kept and what lies in another finding. They count hard links between
/// findings once as soon as the scan is done; until then, for stored scans, and after a removal, they are simple sums.
struct ResultsSnapshot {
  std::vector<const ResultRow*> items;  // that pass the filter, by group; those of folded groups too
  std::vector<ResultsGroup> groups;     // none in a flat list
  std::vector<ResultsLine> lines;
  ResultsTotals shown;
  ResultsTotals all;
  ResultsTotals marked;                       // hidden by the filter or not
  std::array<ResultsTotals, 3> markedByTier;  // in the order of the tiers
  std::vector<SharedRows> rows;               // own the items
  std::shared_ptr<const void> classes;        // own the texts of the groups

  const ResultRow* itemOf(const ResultsLine& line) const { return line.isHead() ? nullptr : items[line.item]; }
  /// Returns the line of a row or group; nullopt if it is filtered out or its group is folded.
  std::optional<std::size_t> lineOf(RowID id) const;
};

}  // namespace tidra
